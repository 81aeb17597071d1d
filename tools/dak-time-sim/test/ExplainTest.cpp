// The parts of `dak-time-sim explain` that read a log: time stamps, the
// library's messages behind any prefix, lines of any length and
// compression, and what the rebuilt state and the findings make of them.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "Findings.h"
#include "LineReader.h"
#include "LineReaderFixture.h"
#include "LogFeed.h"
#include "Rebuild.h"
#include "Recogniser.h"
#include "Stamp.h"

namespace daksim::explain {
namespace {

constexpr int64_t k20240305T063000 = 1709620200;

TEST(ExplainStamp, ReadsTheCommonForms)
{
    auto iso = ReadStamp("2024-03-05T06:30:00.123Z tv: text");
    ASSERT_TRUE(iso);
    EXPECT_EQ(iso->kind, Stamp::Kind::Calendar);
    EXPECT_EQ(iso->ms, k20240305T063000 * 1000 + 123);
    EXPECT_EQ(iso->length, 24U);

    auto zoned = ReadStamp("2024-03-05T07:30:00+01:00 x");
    ASSERT_TRUE(zoned);
    EXPECT_EQ(zoned->ms, k20240305T063000 * 1000);

    auto spaced = ReadStamp("2024-03-05 06:30:00.5 x");
    ASSERT_TRUE(spaced);
    EXPECT_EQ(spaced->ms, k20240305T063000 * 1000 + 500);

    auto syslog = ReadStamp("<14>Mar  5 06:30:01 tv-set x");
    ASSERT_TRUE(syslog);
    EXPECT_EQ(syslog->kind, Stamp::Kind::Syslog);
    EXPECT_EQ(syslog->ms % 86400000, (6 * 3600 + 30 * 60 + 1) * 1000);

    auto kernel = ReadStamp("[ 1234.567890] rtc: x");
    ASSERT_TRUE(kernel);
    EXPECT_EQ(kernel->kind, Stamp::Kind::Uptime);
    EXPECT_EQ(kernel->ms, 1234567);

    auto simulator = ReadStamp("2024-03-05T06:30:00Z +1d 00:00:30.250      [4 Print f] x");
    ASSERT_TRUE(simulator);
    EXPECT_EQ(simulator->kind, Stamp::Kind::Simulator);
    EXPECT_EQ(simulator->clock, k20240305T063000);
    EXPECT_EQ(simulator->ms, (86400 + 30) * 1000 + 250);
}

TEST(ExplainStamp, RefusesWhatIsNoStamp)
{
    EXPECT_FALSE(ReadStamp(""));
    EXPECT_FALSE(ReadStamp("<14>"));
    EXPECT_FALSE(ReadStamp("2024-13-05T06:30:00Z"));
    EXPECT_FALSE(ReadStamp("2024-03-05T25:30:00Z"));
    EXPECT_FALSE(ReadStamp("Foo  5 06:30:00 x"));
    EXPECT_FALSE(ReadStamp("[ 12a.5] x"));
    EXPECT_FALSE(ReadStamp("tvservice: 2024-03-05T06:30:00Z"));
}

TEST(ExplainRecogniser, FindsAMessageBehindAnyPrefixAndColour)
{
    Recogniser recogniser;
    const auto message = recogniser.Read(
        "tvservice[812]: <DAK> I t_SetSystemTime:142 [TCSystemTimeManager::t_SetSystemTime]  "
        "SetSystemClock \x1b[1;36m UTC = 1709620200, SetType_stream, offset =0\x1b[0m");
    ASSERT_TRUE(message);
    EXPECT_EQ(message->line.function, "t_SetSystemTime");
    EXPECT_EQ(message->line.via, dakhost::Via::Print);
    EXPECT_EQ(message->line.level, 1);
    EXPECT_EQ(message->line.text,
              "[TCSystemTimeManager::t_SetSystemTime]  SetSystemClock  UTC = 1709620200, "
              "SetType_stream, offset =0");

    // Its PrintF twin has a text of its own.
    const auto twin = recogniser.Read(
        "x: t_SetSystemTime \x1b[1;36m UTC = 1709620200, "
        "SetType_stream, offset =0\x1b[0m");
    ASSERT_TRUE(twin);
    EXPECT_EQ(twin->line.via, dakhost::Via::PrintF);

    EXPECT_FALSE(recogniser.Read("kernel: usb 1-1: new high-speed USB device"));
    EXPECT_FALSE(recogniser.Read("EPG: the SystemTime of the stream is unknown"));
}

TEST(ExplainRecogniser, TakesTheSecondOfAPairAsTheCopy)
{
    Recogniser recogniser;
    const char* text = "a: [TCSystemTimeManager::t_IsPossibleUpdateTime]  Reason_init, result=0";
    const auto first = recogniser.Read(text);
    const auto second = recogniser.Read(text);
    const auto third = recogniser.Read(text);  // the next pair begins
    ASSERT_TRUE(first && second && third);
    EXPECT_EQ(first->line.via, dakhost::Via::Print);
    EXPECT_EQ(second->line.via, dakhost::Via::PrintF);
    EXPECT_EQ(third->line.via, dakhost::Via::Print);
}

TEST(ExplainRecogniser, ReadsTheSimulatorsBracketsAndNothingElseOfItsOutput)
{
    Recogniser recogniser;
    const auto printed =
        recogniser.Read("    [4 PrintF t_SyncSystemTime] SyncSystemTime UTC=1, ret=1", true);
    ASSERT_TRUE(printed);
    EXPECT_EQ(printed->line.level, 4);
    EXPECT_EQ(printed->line.via, dakhost::Via::PrintF);
    EXPECT_EQ(printed->line.function, "t_SyncSystemTime");
    EXPECT_EQ(printed->line.text, "SyncSystemTime UTC=1, ret=1");
    // A step or a result that quotes a library text is not the library's line.
    EXPECT_FALSE(recogniser.Read("  > expect log \"SyncSystemTime UTC=\"", true));
    EXPECT_FALSE(recogniser.Read("  FAIL a.scn:3: expected a line \"SyncSystemTime UTC=\"", true));
    // The simulator's stamp before another prefix.
    const auto other =
        recogniser.Read("  tv: [TCSystemTimeManager::t_SetSystemTime] UTC = 1,  SetType_net", true);
    ASSERT_TRUE(other);
    EXPECT_EQ(other->line.function, "t_SetSystemTime");
}

TEST_F(ExplainLineReader, ReadsLinesOfAnyEndAndCutsTheTooLong)
{
    const std::string enormous(LineReader::kMaxLine * 3, 'x');
    Write("plain.log", "one\r\ntwo\n" + enormous + "\nthree\n" + enormous + "x");
    size_t cut = 0;
    const auto lines = ReadAll("plain.log", cut);
    EXPECT_EQ(lines, (std::vector<std::string>{"one", "two", "", "three", ""}));
    EXPECT_EQ(cut, 2U);

    Write("empty.log", "");
    EXPECT_TRUE(ReadAll("empty.log", cut).empty());

    LineReader reader;
    std::string problem;
    EXPECT_FALSE(reader.Open(Path("no-such.log"), problem));
    EXPECT_NE(problem.find("cannot read the log"), std::string::npos);
}

TEST_F(ExplainLineReader, ReadsGzipAsItIs)
{
    std::ostringstream content;
    for (int i = 0; i < 20000; ++i) {
        content << "line " << i << "\n";
    }
    gzFile file = gzopen(Path("log.gz").c_str(), "wb");
    ASSERT_NE(file, nullptr);
    const std::string text = content.str();
    ASSERT_EQ(gzwrite(file, text.data(), static_cast<unsigned>(text.size())),
              static_cast<int>(text.size()));
    gzclose(file);
    size_t cut = 0;
    const auto lines = ReadAll("log.gz", cut);
    ASSERT_EQ(lines.size(), 20000U);
    EXPECT_EQ(lines.back(), "line 19999");
}

// Collects what the rebuilt state tells.
struct Collect : Listener {
    std::vector<SettingEvent> settings;
    std::vector<Decisions::Sync> syncs;
    std::vector<TableEvent> tables;
    std::vector<std::string> undecided;
    void Setting(const SettingEvent& event, const At& /*at*/) override
    {
        settings.push_back(event);
    }
    void Sync(const Decisions::Sync& sync, const At& /*at*/) override { syncs.push_back(sync); }
    void Table(const TableEvent& table, const At& /*at*/) override { tables.push_back(table); }
    void Undecided(const std::string& what, const At& /*at*/) override
    {
        undecided.push_back(what);
    }
};

// Feeds lines "STAMP text" to a rebuilt state and the findings.
void Feed(Rebuild& rebuild, const std::vector<std::string>& lines)
{
    Recogniser recogniser;
    rebuild.BeginFile("set.log", 0, false);
    uint64_t number = 0;
    for (const std::string& line : lines) {
        ++number;
        const auto stamp = ReadStamp(line);
        const auto message = recogniser.Read(std::string_view(line).substr(stamp->length));
        rebuild.Line(number, stamp, message ? &*message : nullptr);
    }
    rebuild.EndFile(number);
}

TEST(ExplainRebuild, ASyncCorrectionAndTheSettingItAsks)
{
    Collect collect;
    Rebuild rebuild(collect);
    const char* const log[] = {
        "2024-03-05 07:01:00.000 p: SyncSystemTime UTC=1709622060,  Reason_micom, ret=1,  "
        "AutoType_max, offset=0, dst=0",
        "2024-03-05 07:01:00.001 p: [TCSystemTimeManager::t_IsPossibleUpdateTime]  "
        "Reason_micom, result=1",
        "2024-03-05 07:01:00.002 p: [TCSystemTimeManager::t_GetRTCTime] _time=1709622065 x",
        "2024-03-05 07:01:00.003 p: [TCSystemTimeManager::t_SyncSystemTime] UTC=1709622060, "
        "rtcTime=1709622065, sub=5",
        "2024-03-05 07:01:00.004 p: [TCSystemTimeManager::t_SetSystemTime] UTC = 1709622065,  "
        "SetType_sync",
        "2024-03-05 07:01:00.005 p: [TCSystemTimeManager::GetSystemTime]  UTC = 1709622060",
        "2024-03-05 07:01:00.006 p: [TCSystemTimeManager::t_SetSystemTime]  SetSystemClock  "
        "UTC = 1709622065, SetType_sync, offset =0",
    };
    Feed(rebuild, std::vector<std::string>(std::begin(log), std::end(log)));
    ASSERT_EQ(collect.syncs.size(), 1U);
    EXPECT_EQ(collect.syncs[0].decision, "platform clock set from the hardware clock");
    ASSERT_EQ(collect.settings.size(), 1U);
    const SettingEvent& setting = collect.settings[0];
    EXPECT_TRUE(setting.setting.accepted);
    EXPECT_EQ(setting.setting.type, 5);
    EXPECT_EQ(setting.origin, Origin::Sync);
    EXPECT_EQ(setting.clockBefore, 1709622060);
    EXPECT_EQ(setting.setting.reasonBefore, 1);
    EXPECT_EQ(setting.setting.reasonAfter, 1);
    EXPECT_TRUE(collect.undecided.empty());
}

TEST(ExplainRebuild, ALevelOneLogSaysWhatItCannotTell)
{
    Collect collect;
    Rebuild rebuild(collect);
    Feed(rebuild, {"2024-03-05 06:30:00.000 p: [TCSystemTimeManager::t_SetSystemTime]  "
                   "SetSystemClock  UTC = 1709620220, SetType_stream, offset =0"});
    ASSERT_EQ(collect.settings.size(), 1U);
    EXPECT_EQ(collect.settings[0].setting.type, 1);
    EXPECT_FALSE(collect.settings[0].reasonsKnown);
    ASSERT_EQ(collect.undecided.size(), 1U);
    EXPECT_NE(collect.undecided[0].find("no line above level 1"), std::string::npos);
}

// The boots a log's lines make, and what the log could not tell.
struct Boots {
    int count = 0;
    std::vector<std::string> undecided;
    size_t Said(const std::string& what) const
    {
        return static_cast<size_t>(std::count_if(
            undecided.begin(), undecided.end(),
            [&](const std::string& said) { return said.find(what) != std::string::npos; }));
    }
};

Boots BootsOf(const std::vector<std::string>& lines)
{
    Collect collect;
    Rebuild rebuild(collect);
    LogFeed feed(rebuild, "set.log");
    uint64_t number = 0;
    for (const std::string& line : lines) {
        feed.Line(++number, line);
    }
    feed.End(number);
    return {feed.Boots(), collect.undecided};
}

TEST(ExplainBoots, ALevelOneLogsStartUpAgain)
{
    // The manager's stop is not logged at level 1.
    const std::string init =
        " p: DAK(18)/L1 [TCSystemTimeManager::Init] isMasterPowerOn:0 "
        "ExistBackupBattery:0";
    const std::string set =
        " p: DAK(18)/L1 [TCSystemTimeManager::t_SetSystemTime]  "
        "SetSystemClock  UTC = 1709620210, SetType_manual, offset =0";
    const std::string unknown = "whether the start-up on line 3 is a new boot";
    // The uptime runs on: the library started again in the same boot.
    const Boots restart =
        BootsOf({"[   10.000000]" + init, "[   20.000000]" + set, "[   30.000000]" + init});
    EXPECT_EQ(restart.count, 1);
    EXPECT_EQ(restart.Said("new boot"), 0U);
    const Boots uptime =
        BootsOf({"[   10.000000]" + init, "[   20.000000]" + set, "[    1.000000]" + init});
    EXPECT_EQ(uptime.count, 2);
    EXPECT_EQ(uptime.Said(unknown), 0U);
    // Wall stamps that run on cannot tell: taken for a new boot, and said.
    const Boots wall = BootsOf({"2024-03-05T06:30:00Z" + init, "2024-03-05T06:30:10Z" + set,
                                "2024-03-05T06:31:00Z" + init});
    EXPECT_EQ(wall.count, 2);
    EXPECT_EQ(wall.Said(unknown), 1U);
    // The set's clock went back with no setting of the library's: the set
    // started again from its hardware clock.
    const Boots back = BootsOf({"2024-03-05T06:30:00Z" + init, "2024-03-05T06:30:10Z" + set,
                                "2024-01-01T00:00:00Z" + init});
    EXPECT_EQ(back.count, 2);
    EXPECT_EQ(back.Said(unknown), 0U);
    // A setting line cut short and run into tells no work done: the second
    // start-up is the same start-up's copy, no new boot.
    const Boots damaged =
        BootsOf({"2024-03-05T06:30:00Z" + init,
                 "2024-03-05T06:30:10Z p: DAK(18)/L1 [TCSystemTimeManager::t_SetSystemTime]  "
                 "SetSystemClock  UTC = 17096"
                 "2024-03-05T06:30:10Z dbus-daemon[301]: Activated",
                 "2024-03-05T06:31:00Z" + init});
    EXPECT_EQ(damaged.count, 1);
}

TEST(ExplainFindings, JumpsRefusedTablesAndDrift)
{
    Findings findings(60);
    Rebuild rebuild(findings);
    std::vector<std::string> lines;
    // Three tables out of range in a row.
    for (int i = 0; i < 3; ++i) {
        lines.emplace_back("2024-03-05 06:00:0" + std::to_string(i) +
                           ".000 p: [TCStreamClock::SetStreamClock] utc 900000000, isScan:0, "
                           "clockMode:0");
        lines.emplace_back("2024-03-05 06:00:0" + std::to_string(i) +
                           ".000 p: TCStreamClockManager::SetStreamClock, Invalid UTC[900000000 "
                           "<978307199  - 4102444800>]");
    }
    // A setting an hour ahead of the clock.
    lines.emplace_back(
        "2024-03-05 06:30:00.000 p: [TCSystemTimeManager::t_SetSystemTime] UTC = "
        "1709623800,  SetType_stream");
    lines.emplace_back(
        "2024-03-05 06:30:00.000 p: [TCSystemTimeManager::GetSystemTime]  UTC = "
        "1709620200");
    lines.emplace_back(
        "2024-03-05 06:30:00.000 p: [TCSystemTimeManager::t_SetSystemTime]  "
        "SetSystemClock  UTC = 1709623800, SetType_stream, offset =0");
    // Two corrections of 5 s a day apart: the hardware clock loses 5 s a day.
    for (const char* day : {"05", "06"}) {
        lines.emplace_back(std::string("2024-03-") + day +
                           " 08:00:00.000 p: SyncSystemTime UTC=1, Reason_micom, ret=1, "
                           "AutoType_max, offset=0, dst=0");
        lines.emplace_back(std::string("2024-03-") + day +
                           " 08:00:00.000 p: [TCSystemTimeManager::t_SyncSystemTime] "
                           "UTC=1709700000, rtcTime=1709699995, sub=5");
        lines.emplace_back(std::string("2024-03-") + day +
                           " 08:00:00.000 p: [TCSystemTimeManager::t_OnEvent] try to set system "
                           "time");
    }
    Feed(rebuild, lines);
    EXPECT_EQ(findings.CountOf(Kind::RefusedTables), 1U);
    EXPECT_EQ(findings.CountOf(Kind::Jump), 1U);
    EXPECT_EQ(findings.CountOf(Kind::Backwards), 0U);
    EXPECT_EQ(findings.CountOf(Kind::Drift), 2U);
    char* text = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&text, &size);
    findings.Print(out);
    std::fclose(out);
    const std::string printed(text, size);
    std::free(text);
    EXPECT_NE(printed.find("the largest forward 1h 0m 0s; by SetType_stream 1"), std::string::npos)
        << printed;
    EXPECT_NE(printed.find("drifts -5.0 s a day"), std::string::npos) << printed;
}

TEST(ExplainFindings, BackwardsReasonInitAndTheSources)
{
    Findings findings(60);
    Rebuild rebuild(findings);
    const char* const log[] = {
        // Start-up on Reason_init, two hours before the stream takes over.
        "2024-03-05 06:00:00.000 p: InitSystemTime  UTC=1709618400, Reason_init, AutoType_max, "
        "SetType_init,   isMasterPowerOn=1",
        "2024-03-05 08:00:00.000 p: [TCSystemTimeManager::t_SetSystemTime] UTC = 1709625600,  "
        "SetType_stream",
        "2024-03-05 08:00:00.000 p: [TCSystemTimeManager::GetSystemTime]  UTC = 1709625610",
        "2024-03-05 08:00:00.000 p: [TCSystemTimeManager::t_SetSystemTime]  SetSystemClock  "
        "UTC = 1709625600, SetType_stream, offset =0",
        "2024-03-05 09:00:00.000 p: [TCSystemTimeManager::GetSystemTime]  UTC = 1709629200",
    };
    Feed(rebuild, std::vector<std::string>(std::begin(log), std::end(log)));
    EXPECT_EQ(findings.CountOf(Kind::ReasonInit), 1U);
    EXPECT_EQ(findings.CountOf(Kind::Backwards), 1U);  // 10 s back
    EXPECT_EQ(findings.CountOf(Kind::Jump), 0U);
    char* text = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&text, &size);
    findings.Print(out);
    std::fclose(out);
    const std::string printed(text, size);
    std::free(text);
    EXPECT_NE(printed.find("2h 0m 0s on Reason_init"), std::string::npos) << printed;
    EXPECT_NE(printed.find("AutoType_stream 1h 0m 0s, AutoType_max 2h 0m 0s"), std::string::npos)
        << printed;
}

}  // namespace
}  // namespace daksim::explain
