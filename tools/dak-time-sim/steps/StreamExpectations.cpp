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
TIStreamClock* Clock(RunContext& run, const Step& step, const args::StreamHandle& handle)
{
    TIStreamClock* clock = run.Stream(handle);
    if (clock == nullptr) {
        run.Fail(step, "a stream clock " + HandleText(handle), "null from TIStreamClock::Instance");
    }
    return clock;
}

std::string Named(const args::StreamHandle& handle, const std::string& what)
{
    return "stream " + HandleText(handle) + " " + what;
}

}  // namespace

void ExpectStreamReading(RunContext& run, const Step& step, const args::Reading& reading)
{
    TIStreamClock* clock = Clock(run, step, reading.handle);
    if (clock == nullptr) {
        return;
    }
    const bool system = step.kind == StepKind::ExpectStreamSystem;
    bool isSet = false;
    const unsigned long read =
        system ? clock->StreamClockOfSystem(&isSet) : clock->StreamClock(&isSet);
    const auto actual = static_cast<int64_t>(static_cast<uint32_t>(read));
    const int64_t expected = Resolve(reading.time);
    std::string wanted = Named(reading.handle, std::string(system ? "system " : "clock ") +
                                                   ExpectedTimeText(reading.time, expected));
    bool holds = Within(actual, reading.time, expected);
    if (reading.isSet) {
        wanted += std::string(" set=") + (*reading.isSet ? "1" : "0");
        holds = holds && isSet == *reading.isSet;
    }
    run.Check(step, holds, wanted, TimeText(actual) + " set=" + (isSet ? "1" : "0"));
}

void ExpectStreamMode(RunContext& run, const Step& step, const args::StreamMode& mode)
{
    if (TIStreamClock* clock = Clock(run, step, mode.handle)) {
        const int got = clock->GetMode();
        run.Check(step, got == mode.mode, Named(mode.handle, "mode " + std::to_string(mode.mode)),
                  std::to_string(got));
    }
}

void ExpectStreamDst(RunContext& run, const Step& step, const args::StreamDst& dst)
{
    if (TIStreamClock* clock = Clock(run, step, dst.handle)) {
        const bool got = clock->StreamDST();
        run.Check(step, got == dst.dst, Named(dst.handle, dst.dst ? "dst 1" : "dst 0"),
                  got ? "1" : "0");
    }
}

namespace {

// The clock's DVB offset as "TOC NEXT LOCAL", or "none"; whether it holds one.
bool HeldOffset(TIStreamClock& clock, args::DvbOffset& held, std::string& text)
{
    unsigned long toc = 0;
    const bool holds = clock.GetDVBTimeOffset(toc, held.next, held.local);
    held.timeOfChange = static_cast<int64_t>(toc);
    text = holds ? std::to_string(toc) + " " + std::to_string(held.next) + " " +
                       std::to_string(held.local)
                 : "none";
    return holds;
}

}  // namespace

void ExpectStreamDvbOffset(RunContext& run, const Step& step, const args::DvbOffset& offset)
{
    TIStreamClock* clock = Clock(run, step, offset.handle);
    if (clock == nullptr) {
        return;
    }
    args::DvbOffset held;
    std::string got;
    const bool holds = HeldOffset(*clock, held, got);
    const std::string wanted = std::to_string(offset.timeOfChange) + " " +
                               std::to_string(offset.next) + " " + std::to_string(offset.local);
    run.Check(step,
              holds && held.timeOfChange == offset.timeOfChange && held.next == offset.next &&
                  held.local == offset.local,
              Named(offset.handle, "dvboffset " + wanted), got);
}

void ExpectStreamNoDvbOffset(RunContext& run, const Step& step, const args::Stream& stream)
{
    TIStreamClock* clock = Clock(run, step, stream.handle);
    if (clock == nullptr) {
        return;
    }
    args::DvbOffset held;
    std::string got;
    run.Check(step, !HeldOffset(*clock, held, got), Named(stream.handle, "dvboffset none"), got);
}

}  // namespace daksim::steps
