#include "StepTable.h"

#include <array>
#include <cstddef>

#include "CaptureSteps.h"
#include "Expectations.h"
#include "LibrarySteps.h"
#include "PlatformSteps.h"
#include "RunContext.h"
#include "TimeSteps.h"

namespace daksim {

namespace {

template <class Handler>
struct ArgsOf;

template <class Args>
struct ArgsOf<void (*)(RunContext&, const Step&, const Args&)> {
    using Type = Args;
};

// The handler `F` given the step's record. The parser makes each kind with
// its record, so a step of another shape is this program's own fault: it
// fails the step rather than run it on values it does not have.
template <auto F>
void Call(RunContext& run, const Step& step)
{
    using Args = typename ArgsOf<decltype(F)>::Type;
    if (const Args* values = step.Get<Args>()) {
        F(run, step, *values);
    } else {
        run.Fail(step, "the step's values", "a step read with the values of another");
    }
}

struct StepRow {
    StepKind kind;
    StepHandler handler;
};

using K = StepKind;
namespace s = steps;

// clang-format off
constexpr StepRow kRows[] = {
    {K::Heading, nullptr},

    // platform
    {K::SetReason, Call<s::SetReason>},
    {K::SetDst, Call<s::SetDst>},
    {K::SetOffset, Call<s::SetOffset>},
    {K::SetRegion, Call<s::SetRegion>},
    {K::SetFirstStt, Call<s::SetFirstStt>},
    {K::SetClockMode, Call<s::SetClockMode>},
    {K::SetNetworkSet, Call<s::SetNetworkSet>},
    {K::SetPresentation, Call<s::SetPresentation>},
    {K::SetOption24, Call<s::SetOption24>},
    {K::SetPower, Call<s::SetPower>},
    {K::SetTz, Call<s::SetTz>},
    {K::SetRtc, Call<s::SetRtc>},
    {K::SetRtcAbsent, Call<s::SetRtcAbsent>},
    {K::SetRtcRaw, Call<s::SetRtcRaw>},
    {K::SetClock, Call<s::SetClock>},
    {K::SetProcessClock, Call<s::SetProcessClock>},
    {K::SetTzAgent, Call<s::SetTzAgent>},
    {K::SetUpdateAgent, Call<s::SetUpdateAgent>},
    {K::SetEventManager, Call<s::SetEventManager>},
    {K::SetFactory, Call<s::SetFactory>},
    {K::FailRtcRead, Call<s::FailRtcRead>},
    {K::FailRtcWrite, Call<s::FailRtcWrite>},
    {K::FailClockGet, Call<s::FailClockGet>},
    {K::FailClockSet, Call<s::FailClockSet>},
    {K::FailMonotonic, Call<s::FailMonotonic>},
    {K::FailProcessClock, Call<s::FailProcessClock>},
    {K::FailSend, Call<s::FailSend>},
    {K::FailMutex, Call<s::FailMutex>},
    {K::FailTaskCreate, Call<s::FailTaskCreate>},

    // library
    {K::Init, Call<s::Init>},
    {K::ManagerExit, Call<s::ManagerExit>},
    {K::SetTime, Call<s::SetTime>},
    {K::GetTime, Call<s::GetTime>},
    {K::NetworkTime, Call<s::NetworkTime>},
    {K::ReleaseTime, Call<s::ReleaseTime>},
    {K::StreamsInit, Call<s::StreamsInit>},
    {K::StreamsExit, Call<s::StreamsExit>},
    {K::StreamSet, Call<s::StreamSet>},
    {K::StreamMode, Call<s::StreamMode>},
    {K::StreamDst, Call<s::StreamDst>},
    {K::StreamDvbOffset, Call<s::StreamDvbOffset>},
    {K::StreamReset, Call<s::StreamReset>},

    // capture replay
    {K::StreamPlay, Call<s::StreamPlay>},

    // time
    {K::Idle, Call<s::Idle>},
    {K::Sync, Call<s::Sync>},
    {K::Advance, Call<s::Advance>},
    {K::Mark, Call<s::Mark>},

    // expectations
    {K::ExpectResult, Call<s::ExpectResult>},
    {K::ExpectSetting, Call<s::ExpectSetting>},
    {K::ExpectAutoClock, Call<s::ExpectAutoClock>},
    {K::ExpectClock, Call<s::ExpectClock>},
    {K::ExpectRtc, Call<s::ExpectRtc>},
    {K::ExpectSignals, Call<s::ExpectSignals>},
    {K::ExpectSignal, Call<s::ExpectSignal>},
    {K::ExpectSubscribed, Call<s::ExpectSubscribed>},
    {K::ExpectRunning, Call<s::ExpectRunning>},
    {K::ExpectStreamClock, Call<s::ExpectStreamReading>},
    {K::ExpectStreamSystem, Call<s::ExpectStreamReading>},
    {K::ExpectStreamMode, Call<s::ExpectStreamMode>},
    {K::ExpectStreamDst, Call<s::ExpectStreamDst>},
    {K::ExpectStreamDvbOffset, Call<s::ExpectStreamDvbOffset>},
    {K::ExpectStreamNoDvbOffset, Call<s::ExpectStreamNoDvbOffset>},
    {K::ExpectLog, Call<s::ExpectLog>},
    {K::ExpectNoLog, Call<s::ExpectLog>},
    {K::ExpectRegistered, Call<s::ExpectRegistered>},
};
// clang-format on

constexpr size_t kKinds = static_cast<size_t>(StepKind::ExpectRegistered) + 1;

// The rows in the order of the kinds: a kind added without a row, or rows out
// of order, stop the build.
constexpr bool RowsInOrder()
{
    if (std::size(kRows) != kKinds) {
        return false;
    }
    for (size_t i = 0; i < kKinds; ++i) {
        if (static_cast<size_t>(kRows[i].kind) != i) {
            return false;
        }
    }
    return true;
}
static_assert(RowsInOrder(), "one row per step kind, in the order of StepKind");

}  // namespace

StepHandler HandlerOf(StepKind kind)
{
    return kRows[static_cast<size_t>(kind)].handler;
}

}  // namespace daksim
