// Expectations on a stream clock (`expect stream H ...`).
#include <cstdint>
#include <string>

#include "Expectations.h"
#include "Journal.h"
#include "RunContext.h"
#include "TIStreamClock.h"
#include "TimeValues.h"

namespace daksim::steps {

namespace {

// The step's stream clock, or a failed verdict and null.
TIStreamClock* Clock(RunContext& run, const Step& step)
{
    TIStreamClock* clock = run.Stream(step);
    if (clock == nullptr) {
        run.Fail(step, "a stream clock " + HandleText(step.profileId, step.subId),
                 "null from TIStreamClock::Instance");
    }
    return clock;
}

std::string Named(const Step& step, const std::string& what)
{
    return "stream " + HandleText(step.profileId, step.subId) + " " + what;
}

}  // namespace

void ExpectStreamReading(RunContext& run, const Step& step)
{
    TIStreamClock* clock = Clock(run, step);
    if (clock == nullptr) {
        return;
    }
    const bool system = step.kind == StepKind::ExpectStreamSystem;
    bool isSet = false;
    const unsigned long reading =
        system ? clock->StreamClockOfSystem(&isSet) : clock->StreamClock(&isSet);
    const auto actual = static_cast<int64_t>(static_cast<uint32_t>(reading));
    const int64_t expected = Resolve(step.time);
    std::string wanted = Named(
        step, std::string(system ? "system " : "clock ") + ExpectedTimeText(step.time, expected));
    bool holds = Within(actual, step.time, expected);
    if (step.isSet) {
        wanted += std::string(" set=") + (*step.isSet ? "1" : "0");
        holds = holds && isSet == *step.isSet;
    }
    run.Check(step, holds, wanted, TimeText(actual) + " set=" + (isSet ? "1" : "0"));
}

void ExpectStreamMode(RunContext& run, const Step& step)
{
    if (TIStreamClock* clock = Clock(run, step)) {
        const int mode = clock->GetMode();
        run.Check(step, mode == step.mode, Named(step, "mode " + std::to_string(step.mode)),
                  std::to_string(mode));
    }
}

void ExpectStreamDst(RunContext& run, const Step& step)
{
    if (TIStreamClock* clock = Clock(run, step)) {
        const bool dst = clock->StreamDST();
        run.Check(step, dst == step.flag, Named(step, step.flag ? "dst 1" : "dst 0"),
                  dst ? "1" : "0");
    }
}

void ExpectStreamDvbOffset(RunContext& run, const Step& step)
{
    TIStreamClock* clock = Clock(run, step);
    if (clock == nullptr) {
        return;
    }
    unsigned long toc = 0;
    int next = 0;
    int local = 0;
    const bool held = clock->GetDVBTimeOffset(toc, next, local);
    const std::string got =
        held ? std::to_string(toc) + " " + std::to_string(next) + " " + std::to_string(local)
             : "none";
    if (step.kind == StepKind::ExpectStreamNoDvbOffset) {
        run.Check(step, !held, Named(step, "dvboffset none"), got);
        return;
    }
    const std::string wanted = std::to_string(step.time.seconds) + " " + std::to_string(step.next) +
                               " " + std::to_string(step.local);
    run.Check(step,
              held && static_cast<int64_t>(toc) == step.time.seconds && next == step.next &&
                  local == step.local,
              Named(step, "dvboffset " + wanted), got);
}

}  // namespace daksim::steps
