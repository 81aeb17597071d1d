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

void Init(RunContext& run, const Step& /*step*/)
{
    run.decisions.CallStep(SetType_init, -1);
    run.SetBool(TISystemTimeManager::Instance()->Init());
}

void ManagerExit(RunContext& run, const Step& step)
{
    if (TISystemTimeManager::t_systemTimeManager != nullptr) {
        run.ManagerGone(step.line);
    }
    TISystemTimeManager::Exit();
    run.SetVoid();
}

void SetTime(RunContext& run, const Step& step)
{
    const int64_t utc = Resolve(step.time);
    run.decisions.CallStep(step.settingType, utc);
    run.SetBool(TISystemTimeManager::Instance()->SetSystemTime(
        static_cast<unsigned long>(utc), static_cast<ETimeSettingType>(step.settingType),
        step.flag));
}

void GetTime(RunContext& run, const Step& /*step*/)
{
    unsigned long utc = 0;
    if (TISystemTimeManager::Instance()->GetSystemTime(utc)) {
        run.result.kind = CallResult::Kind::Time;
        run.result.value = static_cast<int64_t>(utc);
    } else {
        run.SetBool(false);
    }
}

void NetworkTime(RunContext& run, const Step& /*step*/)
{
    run.decisions.CallStep(SetType_net, -1);
    run.SetBool(TISystemTimeManager::Instance()->SetSystemTimeByNetworkTime());
}

void ReleaseTime(RunContext& run, const Step& /*step*/)
{
    TISystemTimeManager::Instance()->SetSystemTimeByReleaseTime();
    run.SetVoid();
}

// ---- the stream clocks --------------------------------------------------------------

void StreamsInit(RunContext& run, const Step& /*step*/)
{
    TIStreamClock::Init();
    run.SetVoid();
}

void StreamsExit(RunContext& run, const Step& /*step*/)
{
    TIStreamClock::Exit();
    run.StreamsGone();
    run.SetVoid();
}

namespace {

// The step's stream clock; null (with the result set) when the step is
// refused or there is no registry.
TIStreamClock* Clock(RunContext& run, const Step& step, bool refusedWhenStale)
{
    if (refusedWhenStale && run.RefuseStale(step)) {
        return nullptr;
    }
    TIStreamClock* clock = run.Stream(step);
    if (clock == nullptr) {
        run.SetNull();
    }
    return clock;
}

}  // namespace

void StreamSet(RunContext& run, const Step& step)
{
    const int64_t utc = Resolve(step.time);
    run.decisions.CallStep(SetType_stream, utc);
    if (TIStreamClock* clock = Clock(run, step, true)) {
        run.SetBool(clock->SetStreamClock(static_cast<unsigned long>(utc), step.scan,
                                          static_cast<int>(step.mode)));
        run.journal.StreamSet(HandleText(step.profileId, step.subId), utc, run.result.boolean);
    }
}

void StreamMode(RunContext& run, const Step& step)
{
    if (TIStreamClock* clock = Clock(run, step, false)) {
        clock->SetMode(static_cast<int>(step.mode));
        run.SetVoid();
    }
}

void StreamDst(RunContext& run, const Step& step)
{
    if (TIStreamClock* clock = Clock(run, step, true)) {
        clock->SetStreamDST(step.flag, static_cast<int>(step.mode));
        run.SetVoid();
    }
}

void StreamDvbOffset(RunContext& run, const Step& step)
{
    if (TIStreamClock* clock = Clock(run, step, false)) {
        run.SetBool(clock->SetDVBTimeOffset(static_cast<unsigned long>(Resolve(step.time)),
                                            static_cast<int>(step.next),
                                            static_cast<int>(step.local)));
    }
}

void StreamReset(RunContext& run, const Step& step)
{
    if (TIStreamClock* clock = Clock(run, step, false)) {
        clock->Reset();
        run.StreamReset(step);
        run.SetVoid();
    }
}

}  // namespace daksim::steps
