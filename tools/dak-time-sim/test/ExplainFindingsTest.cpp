// What the findings make of the events of a log: a drift rate only where
// the corrections it rests on are hours apart, every fault of the platform
// the log shows, and what the log cannot tell said first.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "Findings.h"
#include "LibraryMessages.h"
#include "Wording.h"

namespace daksim::explain {
namespace {

constexpr int64_t kUtc = 1709632800;  // 2024-03-05T10:00:00Z

std::string Printed(const Findings& findings)
{
    char* text = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&text, &size);
    findings.Print(out);
    std::fclose(out);
    std::string printed(text, size);
    std::free(text);
    return printed;
}

At AtSecond(uint64_t line, uint64_t second)
{
    At at;
    at.line = line;
    at.moment.elapsedMs = second * 1000;
    at.moment.clock = static_cast<uint32_t>(kUtc + static_cast<int64_t>(second));
    return at;
}

// The findings after syncs that set the platform clock from the hardware
// clock, each {second, how far the hardware clock was ahead}.
std::string AfterCorrections(const std::vector<std::pair<uint64_t, int64_t>>& corrections)
{
    Findings findings(60);
    uint64_t line = 0;
    for (const auto& [second, ahead] : corrections) {
        Decisions::Sync sync;
        sync.system = kUtc + static_cast<int64_t>(second);
        sync.rtc = *sync.system + ahead;
        sync.decision = "platform clock set from the hardware clock";
        findings.Sync(sync, AtSecond(line += 10, second));
    }
    return Printed(findings);
}

TEST(ExplainFindingsDrift, OnlyFromCorrectionsHoursApart)
{
    const std::string tooClose = AfterCorrections({{0, 5}, {30, -5}});
    EXPECT_EQ(tooClose.find("drifts"), std::string::npos) << tooClose;
    EXPECT_NE(tooClose.find("2 sync corrections: too close together to tell a drift (30s apart)"),
              std::string::npos)
        << tooClose;

    const std::string drifting = AfterCorrections({{0, 2}, {4 * 3600, 2}});
    EXPECT_NE(drifting.find("the hardware clock drifts +12.0 s a day, over 4h 0m 0s"),
              std::string::npos)
        << drifting;

    const std::string unsteady = AfterCorrections({{0, 2}, {4 * 3600, 2}, {8 * 3600, -3}});
    EXPECT_EQ(unsteady.find("drifts"), std::string::npos) << unsteady;
    EXPECT_NE(unsteady.find("both ways over 8h 0m 0s: no steady drift"), std::string::npos)
        << unsteady;
}

// A line of message `format` as the library logs it, with `text`.
dakhost::LogLine Line(const char* format, const std::string& text,
                      dakhost::Via via = dakhost::Via::Print)
{
    dakhost::LogLine line;
    line.function = dak::MessageOf(format).function;
    line.level = 1;
    line.via = via;
    line.text = text;
    return line;
}

TEST(ExplainFindingsFaults, EveryFaultOfThePlatformWithItsLines)
{
    Findings findings(60);
    namespace msg = dak::msg;
    const dakhost::LogLine faults[] = {
        Line(msg::kClockRefused, LibraryText(msg::kClockRefused, 7)),
        Line(msg::kClockReadFailed, LibraryText(msg::kClockReadFailed, 3)),
        Line(msg::kClockReadFailed, LibraryText(msg::kClockReadFailed, 3)),
        Line(msg::kRtcWriteFail, LibraryText(msg::kRtcWriteFail)),
        Line(msg::kSettingChanged, LibraryText(msg::kSettingChanged, 1, 0)),
        Line(msg::kInitNoMutex, LibraryText(msg::kInitNoMutex)),
        Line(msg::kSetNotCreated, LibraryText(msg::kSetNotCreated)),
    };
    uint64_t number = 40;
    for (const dakhost::LogLine& line : faults) {
        findings.Log(line, AtSecond(++number, 0));
    }
    // The copy of a message logged twice counts once.
    dakhost::LogLine copy = faults[0];
    copy.via = dakhost::Via::PrintF;
    findings.Log(copy, AtSecond(++number, 0));
    EXPECT_EQ(findings.CountOf(Kind::ClockRefused), 1U);
    EXPECT_EQ(findings.CountOf(Kind::ClockUnreadable), 2U);
    EXPECT_EQ(findings.CountOf(Kind::RtcUnwritable), 1U);
    EXPECT_EQ(findings.CountOf(Kind::SendRefused), 1U);
    EXPECT_EQ(findings.CountOf(Kind::NotCreated), 2U);
    const std::string printed = Printed(findings);
    EXPECT_NE(printed.find("the platform clock refused a setting, 1 time (line 41)"),
              std::string::npos)
        << printed;
    EXPECT_NE(printed.find("the platform clock could not be read, 2 times (lines 42, 43)"),
              std::string::npos)
        << printed;
    EXPECT_EQ(printed.find("nothing out of the ordinary"), std::string::npos) << printed;
}

TEST(ExplainFindingsFaults, WhatItCannotTellFirstThenWhatItFinds)
{
    Findings findings(60);
    findings.Undecided("the syncs", AtSecond(1, 0));
    SettingEvent event;
    event.clockBefore = kUtc + 10;  // as the rebuilt clock tells it
    event.setting.type = 1;
    event.setting.utc = kUtc + 3600;
    event.setting.accepted = true;
    findings.Setting(event, AtSecond(2, 10));
    const std::string printed = Printed(findings);
    EXPECT_EQ(printed.find("-- findings\n  cannot tell: the syncs\n"), 0U) << printed;
    EXPECT_EQ(findings.CountOf(Kind::Jump), 1U) << printed;
}

TEST(ExplainWording, CountsAndDurations)
{
    EXPECT_EQ(Counted(1, "setting", "settings"), "1 setting");
    EXPECT_EQ(Counted(0, "setting", "settings"), "0 settings");
    EXPECT_EQ(Duration(0), "0s");
    EXPECT_EQ(Duration(3600), "1h 0m 0s");
    EXPECT_EQ(Duration(86400 + 61), "1d 0h 1m 1s");
    EXPECT_EQ(Move(-1800), "back 30m 0s");
    EXPECT_EQ(Move(85985431), "forward 995d 4h 50m 31s");
    EXPECT_EQ(Move(0), "not at all");
}

}  // namespace
}  // namespace daksim::explain
