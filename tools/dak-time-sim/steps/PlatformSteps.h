// Steps that arrange the host platform: settings, providers, clocks, agents
// and injected faults (`set ...`, `fail ...`).
#pragma once

#include "Scenario.h"

namespace daksim {

class RunContext;

namespace steps {

void SetReason(RunContext& run, const Step& step);
void SetDst(RunContext& run, const Step& step);
void SetOffset(RunContext& run, const Step& step);
void SetRegion(RunContext& run, const Step& step);
void SetFirstStt(RunContext& run, const Step& step);
void SetClockMode(RunContext& run, const Step& step);
void SetNetworkSet(RunContext& run, const Step& step);
void SetPresentation(RunContext& run, const Step& step);
void SetOption24(RunContext& run, const Step& step);
void SetPower(RunContext& run, const Step& step);
void SetTz(RunContext& run, const Step& step);
void SetRtc(RunContext& run, const Step& step);
void SetRtcAbsent(RunContext& run, const Step& step);
void SetRtcRaw(RunContext& run, const Step& step);
void SetClock(RunContext& run, const Step& step);
void SetProcessClock(RunContext& run, const Step& step);
void SetTzAgent(RunContext& run, const Step& step);
void SetUpdateAgent(RunContext& run, const Step& step);
void SetEventManager(RunContext& run, const Step& step);
void SetFactory(RunContext& run, const Step& step);
void FailRtcRead(RunContext& run, const Step& step);
void FailRtcWrite(RunContext& run, const Step& step);
void FailClockGet(RunContext& run, const Step& step);
void FailClockSet(RunContext& run, const Step& step);
void FailMonotonic(RunContext& run, const Step& step);
void FailProcessClock(RunContext& run, const Step& step);
void FailSend(RunContext& run, const Step& step);
void FailMutex(RunContext& run, const Step& step);
void FailTaskCreate(RunContext& run, const Step& step);

}  // namespace steps
}  // namespace daksim
