#include "LibrarySteps.h"

#include <cstdint>
#include <optional>

#include "Journal.h"
#include "RunContext.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"
#include "TimeSettingTypes.h"
#include "TimeValues.h"

namespace daksim::steps {

// ---- the system time manager ----------------------------------------------------

void Init(RunContext& run, const Step& /*step*/, const args::None& /*none*/)
{
    run.decisions.CallStep(SetType_init, -1);
    run.SetBool(TISystemTimeManager::Instance()->Init());
}

void ManagerExit(RunContext& run, const Step& step, const args::None& /*none*/)
{
    if (TISystemTimeManager::t_systemTimeManager != nullptr) {
        run.ManagerGone(step.line);
    }
    TISystemTimeManager::Exit();
    run.SetVoid();
}

void SetTime(RunContext& run, const Step& /*step*/, const args::TimeSetting& set)
{
    const int64_t utc = Resolve(set.time);
    run.decisions.CallStep(set.type, utc);
    run.SetBool(TISystemTimeManager::Instance()->SetSystemTime(
        static_cast<unsigned long>(utc), static_cast<ETimeSettingType>(set.type), set.dst));
}

void GetTime(RunContext& run, const Step& /*step*/, const args::None& /*none*/)
{
    unsigned long utc = 0;
    if (TISystemTimeManager::Instance()->GetSystemTime(utc)) {
        run.result.kind = CallResult::Kind::Time;
        run.result.value = static_cast<int64_t>(utc);
    } else {
        run.SetBool(false);
    }
}

void NetworkTime(RunContext& run, const Step& /*step*/, const args::None& /*none*/)
{
    run.decisions.CallStep(SetType_net, -1);
    run.SetBool(TISystemTimeManager::Instance()->SetSystemTimeByNetworkTime());
}

void ReleaseTime(RunContext& run, const Step& /*step*/, const args::None& /*none*/)
{
    TISystemTimeManager::Instance()->SetSystemTimeByReleaseTime();
    run.SetVoid();
}

// ---- the stream clocks --------------------------------------------------------------

void StreamsInit(RunContext& run, const Step& /*step*/, const args::None& /*none*/)
{
    TIStreamClock::Init();
    run.SetVoid();
}

void StreamsExit(RunContext& run, const Step& /*step*/, const args::None& /*none*/)
{
    TIStreamClock::Exit();
    run.StreamsGone();
    run.SetVoid();
}

namespace {

// The step's stream clock; null (with the result set) when the step is
// refused or there is no registry.
TIStreamClock* Clock(RunContext& run, const Step& step, const args::StreamHandle& handle,
                     bool refusedWhenStale)
{
    if (refusedWhenStale && run.RefuseStale(step, handle)) {
        return nullptr;
    }
    TIStreamClock* clock = run.Stream(handle);
    if (clock == nullptr) {
        run.SetNull();
    }
    return clock;
}

}  // namespace

void StreamSet(RunContext& run, const Step& step, const args::StreamTime& set)
{
    const int64_t utc = Resolve(set.time);
    run.decisions.CallStep(SetType_stream, utc);
    if (TIStreamClock* clock = Clock(run, step, set.handle, true)) {
        run.SetBool(clock->SetStreamClock(static_cast<unsigned long>(utc), set.scan, set.mode));
        run.journal.StreamSet(HandleText(set.handle), utc, run.result.boolean);
    }
}

void StreamMode(RunContext& run, const Step& step, const args::StreamMode& mode)
{
    if (TIStreamClock* clock = Clock(run, step, mode.handle, false)) {
        clock->SetMode(mode.mode);
        run.SetVoid();
    }
}

void StreamDst(RunContext& run, const Step& step, const args::StreamDst& dst)
{
    if (TIStreamClock* clock = Clock(run, step, dst.handle, true)) {
        clock->SetStreamDST(dst.dst, dst.mode);
        run.SetVoid();
    }
}

void StreamDvbOffset(RunContext& run, const Step& step, const args::DvbOffset& offset)
{
    if (TIStreamClock* clock = Clock(run, step, offset.handle, false)) {
        run.SetBool(clock->SetDVBTimeOffset(static_cast<unsigned long>(offset.timeOfChange),
                                            offset.next, offset.local));
    }
}

void StreamReset(RunContext& run, const Step& step, const args::Stream& reset)
{
    if (TIStreamClock* clock = Clock(run, step, reset.handle, false)) {
        clock->Reset();
        run.StreamReset(reset.handle);
        run.SetVoid();
    }
}

}  // namespace daksim::steps
