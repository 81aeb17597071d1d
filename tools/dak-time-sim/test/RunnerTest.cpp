// The runner driven as the program drives it, against the host platform: a
// file that uses every kind of step, files run one after another in one
// process, and what a failed step leaves in the tally.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>
#include <variant>

#include "Parser.h"
#include "Runner.h"
#include "StepTable.h"

namespace daksim {
namespace {

// One step of every kind but `stream H play` (CaptureStreamsTest replays
// captures), each expectation written to hold.
constexpr const char* kEveryKind = R"(## Every kind of step, each held
set tz UTC0
set power off
set reason micom
set dst 0
set offset 0
set region 1
set firststt 2024-03-05T06:00:00Z
set clockmode 0
set networkset 0
set presentation 0
set option24 none
set rtc 2024-03-05T06:30:00Z
set clock 2024-03-05T06:00:00Z
set processclock 2024-03-05T06:30:00Z
set tzagent 1=60
set updateagent allow
set eventmanager on
set factory on
fail rtcread 0
fail rtcwrite 0
fail clockget 0
fail clockset 0
fail monotonic 0
fail processclock 0
fail send 0
fail mutex 0
fail taskcreate 0
init
idle
expect running 1
expect registered 1
expect clock 2024-03-05T06:30:00Z
expect rtc 2024-03-05T06:30:00Z
expect signals 1
expect signal 1 type=init
expect subscribed networktime 0
expect setting reason micom
expect setting firststt 2024-03-05T06:00:00Z
expect autoclock max
gettime
expect result 2024-03-05T06:30:00Z
settime 2024-03-05T07:00:00Z manual
sync
mark
advance 30s
expect nolog "no such text"
streams init
stream 1/0 set 2024-03-05T07:00:10Z
stream 1/0 mode 2
expect stream 1/0 mode 2
stream 1/0 dst 0
expect stream 1/0 dst 0
stream 1/0 dvboffset 2024-03-31T01:00:00Z 60 0
expect stream 1/0 dvboffset 2024-03-31T01:00:00Z 60 0
expect stream 1/0 clock 2024-03-05T07:00:10Z~1
expect stream 1/0 system 2024-03-05T07:00:40Z~60
stream 1/0 reset
expect stream 1/0 dvboffset none
streams exit
networktime
releasetime
set rtc absent
set rtc raw 124 2 5 7 0 0
manager exit
expect log "sub="
)";

Script Parse(const std::string& name, const std::string& text)
{
    auto parsed = ParseScript(name, text);
    if (const auto* error = std::get_if<ParseError>(&parsed)) {
        ADD_FAILURE() << error->Format(name);
        return {};
    }
    return std::get<Script>(parsed);
}

// What a run printed, and its tally.
struct Printed {
    std::string text;
    Tally tally;
};

// Runs `scripts` in turn with one runner, as `dak-time-sim A B ...` does;
// what each printed.
std::vector<Printed> RunAll(const std::vector<Script>& scripts, RunOptions options)
{
    FILE* out = std::tmpfile();
    EXPECT_NE(out, nullptr);
    std::vector<Printed> printed;
    if (out == nullptr) {
        return printed;
    }
    Runner runner(out, options);
    for (const Script& script : scripts) {
        const long start = std::ftell(out);
        Printed run;
        run.tally = runner.Run(script);
        const long end = std::ftell(out);
        run.text.resize(static_cast<size_t>(end - start));
        std::fseek(out, start, SEEK_SET);
        EXPECT_EQ(std::fread(run.text.data(), 1, run.text.size(), out), run.text.size());
        std::fseek(out, end, SEEK_SET);
        printed.push_back(std::move(run));
    }
    std::fclose(out);
    return printed;
}

TEST(RunnerTest, EveryStepKindReachesItsHandlerWithItsValues)
{
    const Script script = Parse("every-kind.scn", kEveryKind);
    std::set<StepKind> used;
    for (const Step& step : script.steps) {
        used.insert(step.kind);
    }
    // A kind added to the format belongs in this file too.
    for (int k = 0; k <= static_cast<int>(StepKind::ExpectRegistered); ++k) {
        const auto kind = static_cast<StepKind>(k);
        if (kind == StepKind::Heading) {
            EXPECT_EQ(HandlerOf(kind), nullptr);
            continue;
        }
        EXPECT_NE(HandlerOf(kind), nullptr) << "kind " << k;
        if (kind != StepKind::StreamPlay) {
            EXPECT_EQ(used.count(kind), 1U) << "kind " << k << " is not in the file";
        }
    }

    const auto printed = RunAll({script}, RunOptions{});
    ASSERT_EQ(printed.size(), 1U);
    EXPECT_EQ(printed[0].tally.failed, 0) << printed[0].text;
    EXPECT_EQ(printed[0].tally.passed, 19);
    EXPECT_EQ(printed[0].text.find("FAIL"), std::string::npos) << printed[0].text;
}

TEST(RunnerTest, EachFileStartsFromAFreshPlatformAndLibrary)
{
    // The second run of a file follows the first in the same process, with
    // its manager, stream clocks, settings and faults: it must print what the
    // first printed, under the fixed rule and under a seed.
    const Script script = Parse("every-kind.scn", kEveryKind);
    for (const std::optional<uint32_t> seed :
         {std::optional<uint32_t>(), std::optional<uint32_t>(7)}) {
        RunOptions options;
        options.seed = seed;
        const auto printed = RunAll({script, script}, options);
        ASSERT_EQ(printed.size(), 2U);
        EXPECT_EQ(printed[0].text, printed[1].text) << "seed " << seed.value_or(0);
        EXPECT_EQ(printed[1].tally.failed, 0);
    }
}

TEST(RunnerTest, FailedStepsAndExpectationsAreTalliedWithTheirLines)
{
    const Script script = Parse("bad.scn",
                                "set clock 2024-03-05T07:00:00Z\n"
                                "streams init\n"
                                "stream 1/0 set 2024-03-05T07:00:10Z\n"
                                "manager exit\n"
                                "stream 1/0 set 2024-03-05T07:00:20Z\n"
                                "expect clock 2000-01-01T00:00:00Z\n"
                                "streams exit\n"
                                "expect clock 2024-03-05T07:00:00Z\n");
    RunOptions options;
    options.quiet = true;
    const auto printed = RunAll({script}, options);
    ASSERT_EQ(printed.size(), 1U);
    const Tally& tally = printed[0].tally;
    EXPECT_EQ(tally.passed, 1);
    EXPECT_EQ(tally.failed, 2);
    ASSERT_EQ(tally.failures.size(), 2U);
    EXPECT_EQ(tally.failures[0].line, 5);
    EXPECT_EQ(tally.failures[0].step, "stream 1/0 set 2024-03-05T07:00:20Z");
    EXPECT_EQ(tally.failures[1].line, 6);
    // A stream clock still holding the exited manager is not fed: the step
    // says why and what to do.
    EXPECT_NE(printed[0].text.find("FAIL bad.scn:5: step refused: stream 1/0 still holds the "
                                   "manager destroyed by 'manager exit' at line 4; run 'streams "
                                   "exit' or 'stream 1/0 reset' first"),
              std::string::npos)
        << printed[0].text;
    EXPECT_NE(printed[0].text.find("FAIL bad.scn:6: expected clock 2000-01-01T00:00:00Z, got "
                                   "2024-03-05T07:00:00Z (1709622000)"),
              std::string::npos);
}

}  // namespace
}  // namespace daksim
