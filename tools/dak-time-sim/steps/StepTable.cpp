#include "StepTable.h"

#include <array>
#include <cstddef>

#include "CaptureSteps.h"
#include "Expectations.h"
#include "LibrarySteps.h"
#include "PlatformSteps.h"
#include "TimeSteps.h"

namespace daksim {

namespace {

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
    {K::SetReason, s::SetReason},
    {K::SetDst, s::SetDst},
    {K::SetOffset, s::SetOffset},
    {K::SetRegion, s::SetRegion},
    {K::SetFirstStt, s::SetFirstStt},
    {K::SetClockMode, s::SetClockMode},
    {K::SetNetworkSet, s::SetNetworkSet},
    {K::SetPresentation, s::SetPresentation},
    {K::SetOption24, s::SetOption24},
    {K::SetPower, s::SetPower},
    {K::SetTz, s::SetTz},
    {K::SetRtc, s::SetRtc},
    {K::SetRtcAbsent, s::SetRtcAbsent},
    {K::SetRtcRaw, s::SetRtcRaw},
    {K::SetClock, s::SetClock},
    {K::SetProcessClock, s::SetProcessClock},
    {K::SetTzAgent, s::SetTzAgent},
    {K::SetUpdateAgent, s::SetUpdateAgent},
    {K::SetEventManager, s::SetEventManager},
    {K::SetFactory, s::SetFactory},
    {K::FailRtcRead, s::FailRtcRead},
    {K::FailRtcWrite, s::FailRtcWrite},
    {K::FailClockGet, s::FailClockGet},
    {K::FailClockSet, s::FailClockSet},
    {K::FailMonotonic, s::FailMonotonic},
    {K::FailProcessClock, s::FailProcessClock},
    {K::FailSend, s::FailSend},
    {K::FailMutex, s::FailMutex},
    {K::FailTaskCreate, s::FailTaskCreate},

    // library
    {K::Init, s::Init},
    {K::ManagerExit, s::ManagerExit},
    {K::SetTime, s::SetTime},
    {K::GetTime, s::GetTime},
    {K::NetworkTime, s::NetworkTime},
    {K::ReleaseTime, s::ReleaseTime},
    {K::StreamsInit, s::StreamsInit},
    {K::StreamsExit, s::StreamsExit},
    {K::StreamSet, s::StreamSet},
    {K::StreamMode, s::StreamMode},
    {K::StreamDst, s::StreamDst},
    {K::StreamDvbOffset, s::StreamDvbOffset},
    {K::StreamReset, s::StreamReset},

    // capture replay
    {K::StreamPlay, s::StreamPlay},

    // time
    {K::Idle, s::Idle},
    {K::Sync, s::Sync},
    {K::Advance, s::Advance},
    {K::Mark, s::Mark},

    // expectations
    {K::ExpectResult, s::ExpectResult},
    {K::ExpectSetting, s::ExpectSetting},
    {K::ExpectAutoClock, s::ExpectAutoClock},
    {K::ExpectClock, s::ExpectClock},
    {K::ExpectRtc, s::ExpectRtc},
    {K::ExpectSignals, s::ExpectSignals},
    {K::ExpectSignal, s::ExpectSignal},
    {K::ExpectSubscribed, s::ExpectSubscribed},
    {K::ExpectRunning, s::ExpectRunning},
    {K::ExpectStreamClock, s::ExpectStreamReading},
    {K::ExpectStreamSystem, s::ExpectStreamReading},
    {K::ExpectStreamMode, s::ExpectStreamMode},
    {K::ExpectStreamDst, s::ExpectStreamDst},
    {K::ExpectStreamDvbOffset, s::ExpectStreamDvbOffset},
    {K::ExpectStreamNoDvbOffset, s::ExpectStreamDvbOffset},
    {K::ExpectLog, s::ExpectLog},
    {K::ExpectNoLog, s::ExpectLog},
    {K::ExpectRegistered, s::ExpectRegistered},
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
