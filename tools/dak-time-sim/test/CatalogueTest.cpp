// The library's message catalogue against what the library logs: a run
// drives the library through its interfaces (and the host platform's
// faults) until it has logged every message of the catalogue it can be made
// to log, and every line it logged is read back, as printed and behind
// another platform's prefix, by the reader explain uses.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "Common/Messages.h"
#include "LibraryMessages.h"
#include "Parser.h"
#include "Recogniser.h"
#include "Runner.h"
#include "Stamp.h"

namespace daksim {
namespace {

using explain::Message;
using explain::Recogniser;

// Steps that make the library log each of its messages, failures included.
constexpr const char* kEveryMessage = R"(## Before start-up, then start-up with a failing mutex
set factory off
set tz CET-1CEST,M3.5.0,M10.5.0/3
settime 2024-03-05T07:00:00Z manual
networktime
init
idle
manager exit
set factory on
fail mutex 1
init
idle
manager exit
fail mutex 0
set clockmode 1
set power off
set reason micom
set rtc 2101-06-01T00:00:00Z
init
init
idle
manager exit
set clockmode 0
fail rtcread 1
init
idle
fail rtcread 0

## Settings refused and accepted, the platform clock failing
settime 2101-01-01T00:00:00Z manual
settime 2000-01-01T00:00:00Z manual
fail clockget 5
gettime
fail clockget 0
fail clockset 3
settime 2024-03-05T07:00:00Z manual
idle
fail clockset 0
set eventmanager off
settime 2024-03-05T07:00:00Z manual
idle
set eventmanager on
releasetime

## The hardware clock
set rtc absent
settime 2024-03-05T07:00:00Z manual
idle
set rtc 2024-03-05T07:00:00Z
fail rtcwrite 1
settime 2024-03-05T07:00:00Z manual
idle
fail rtcwrite 0
set rtc raw 124 13 5 7 0 0
sync
set rtc absent
sync
set rtc 2024-03-05T07:00:00Z
fail rtcread 1
sync
fail rtcread 0
set option24 4
set rtc 2024-03-05T08:00:00Z
sync
set option24 none
sync
idle

## Network time and the offsets
set networkset 0
networktime
set processclock 2024-03-05T07:10:00Z
set networkset 1
networktime
idle
fail processclock 1
networktime
idle
fail processclock 0
set clockmode 1
networktime
idle
set clockmode 0
set tzagent none
streams init
stream 1/0 set 2024-03-05T07:20:00Z
idle
set tzagent 1=60
set networkset 1
networktime
idle
stream 1/0 set 2024-03-05T07:30:00Z
idle
networktime
settime 2024-03-05T07:40:00Z manual
set presentation 1

## Stream clocks
set firststt 0
stream 2/0 set 2024-03-05T07:50:00Z
stream 2/0 set 2000-01-01T00:00:00Z
stream 2/0 mode 1
stream 2/0 set 2024-03-05T08:00:00Z mode=0
set updateagent deny
stream 2/0 set 2024-03-05T08:00:00Z mode=1
set updateagent allow
set clockmode 1
stream 2/0 set 2024-03-05T08:00:00Z mode=1
set clockmode 0
stream 2/0 dst 1 mode=1
expect stream 2/0 dst 1
stream 2/0 dvboffset 2024-03-31T01:00:00Z 60 0
fail monotonic 1
expect stream 2/0 clock 0 set=1
expect stream 2/0 system 0 set=1
stream 2/0 set 2024-03-05T08:00:00Z mode=1
fail monotonic 0
fail mutex 1
stream 3/0 set 2024-03-05T08:00:00Z
fail mutex 0
set factory off
stream 4/0 set 2024-03-05T08:00:00Z
set factory on
streams exit
manager exit
)";

// Messages no run can make the library log: each needs an allocation to
// fail, the process clock to fail between two reads a moment apart, or the
// C library's time functions to fail on a time just read.
bool OutOfReach(unsigned id)
{
    switch (id) {
        case Id(dak::msg::kStepFailed):
        case Id(dak::msg::kInitUndone):
        case Id(dak::msg::kInitNoAlarm):
        case Id(dak::msg::kDstNoTime):
        case Id(dak::msg::kDstNoTimeShort):
        case Id(dak::msg::kDstNoLocal):
        case Id(dak::msg::kDstNoLocalShort):
        case Id(dak::msg::kDstNoMktime):
        case Id(dak::msg::kDstNoMktimeShort):
        case Id(dak::msg::kAssertRegistryMutex):
        case Id(dak::msg::kAssertRegistryMap):
            return true;
        default:
            return false;
    }
}

std::string Printed(const std::string& name, const std::string& text)
{
    auto parsed = ParseScript(name, text);
    if (const auto* error = std::get_if<ParseError>(&parsed)) {
        ADD_FAILURE() << error->Format(name);
        return {};
    }
    FILE* out = std::tmpfile();
    if (out == nullptr) {
        ADD_FAILURE() << "no temporary file";
        return {};
    }
    {
        Runner runner(out, RunOptions{});
        (void)runner.Run(std::get<Script>(parsed));
    }
    std::string printed(static_cast<size_t>(std::ftell(out)), '\0');
    std::rewind(out);
    EXPECT_EQ(std::fread(printed.data(), 1, printed.size(), out), printed.size());
    std::fclose(out);
    return printed;
}

// Whether `line` is one of the outputs the catalogue gives message `id`.
bool Emits(unsigned id, const dakhost::LogLine& line)
{
    const dak::LogMessage& message = dak::kMessages[id];
    const auto emits = [&line](const dak::LogEmission& emission) {
        return emission.level == line.level &&
               static_cast<int>(emission.output) == static_cast<int>(line.via);
    };
    return emits(message.first) || emits(message.second);
}

TEST(Catalogue, EveryMessageTheLibraryLogsIsReadBackAsItself)
{
    const std::string printed = Printed("every-message.scn", kEveryMessage);
    std::istringstream lines(printed);
    Recogniser asPrinted;
    Recogniser behindAPrefix;
    std::set<unsigned> logged;
    size_t count = 0;
    for (std::string text; std::getline(lines, text);) {
        const auto stamp = explain::ReadStamp(text);
        if (!stamp) {
            continue;
        }
        const std::string_view rest = std::string_view(text).substr(stamp->length);
        const std::optional<Message> line = asPrinted.Read(rest, true);
        if (!line ||
            (line->line.via == dakhost::Via::Assert && line->line.function.rfind("src/", 0) != 0)) {
            continue;  // the simulator's own line, or the platform's assertion
        }
        ++count;
        const dakhost::LogLine& truth = line->line;
        // Printed: known by its function and text, whole, through an output
        // and at a level the catalogue gives it.
        ASSERT_NE(line->id, kNoMessage) << text;
        const LibraryMessage known = Identify(truth.function, truth.text);
        EXPECT_TRUE(known.whole) << text;
        EXPECT_TRUE(Emits(line->id, truth)) << text;
        const dak::LogMessage& message = dak::kMessages[line->id];
        if (truth.via != dakhost::Via::Assert && truth.via != dakhost::Via::Stdout) {
            EXPECT_EQ(truth.function, message.function) << text;
        }
        logged.insert(line->id);

        // Behind another platform's prefix: the same message, from its start.
        const std::string foreign =
            "<14>Mar  5 06:30:00 tv-set tvservice[812]: DAK(18) " + truth.text;
        const std::optional<Message> read = behindAPrefix.Read(foreign);
        ASSERT_TRUE(read) << foreign;
        EXPECT_EQ(read->id, line->id) << foreign;
        EXPECT_EQ(read->line.text, truth.text) << foreign;
    }
    EXPECT_GT(count, 100U) << printed;
    EXPECT_EQ(behindAPrefix.Damaged(), 0U);
    for (unsigned id = 0; id < dak::kMessageCount; ++id) {
        if (!OutOfReach(id)) {
            EXPECT_EQ(logged.count(id), 1U) << "never logged: " << dak::kMessages[id].text;
        } else {
            EXPECT_EQ(logged.count(id), 0U) << "logged after all: " << dak::kMessages[id].text;
        }
    }
}

// What a reader needs of every message: a start it can be found by, holding
// one of the words the recogniser looks for first, and no other message
// that a text of it would be taken for.
TEST(Catalogue, EachMessageIsFoundByItsOwnStart)
{
    for (unsigned id = 0; id < dak::kMessageCount; ++id) {
        const dak::LogMessage& message = dak::kMessages[id];
        EXPECT_FALSE(StartOf(id).empty()) << message.text;
        // A text of the message, each conversion filled in.
        std::string text;
        for (const char* c = message.text; *c != '\0'; ++c) {
            if (*c != '%') {
                text += *c;
                continue;
            }
            while (c[1] == 'l' || c[1] == 'h') {
                ++c;
            }
            ++c;
            text += *c == 's' ? "Reason_micom" : *c == 'u' ? "42" : "-42";
        }
        const LibraryMessage known = Identify(message.function, text);
        EXPECT_EQ(known.id, id) << text;
        EXPECT_TRUE(known.whole) << text;
        Recogniser recogniser;
        const auto read = recogniser.Read("platform: " + text);
        ASSERT_TRUE(read) << "not found behind a prefix: " << text;
        EXPECT_EQ(read->id, id) << text;
    }
}

}  // namespace
}  // namespace daksim
