// Steps that arrange the host platform: settings, providers, clocks, agents
// and injected faults (`set ...`, `fail ...`).
#pragma once

#include "Scenario.h"

namespace daksim {

class RunContext;

namespace steps {

void SetReason(RunContext& run, const Step& step, const args::Value& reason);
void SetDst(RunContext& run, const Step& step, const args::Value& dst);
void SetOffset(RunContext& run, const Step& step, const args::Value& offset);
void SetRegion(RunContext& run, const Step& step, const args::Value& region);
void SetFirstStt(RunContext& run, const Step& step, const args::Value& first);
void SetClockMode(RunContext& run, const Step& step, const args::Value& mode);
void SetNetworkSet(RunContext& run, const Step& step, const args::Switch& state);
void SetPresentation(RunContext& run, const Step& step, const args::Value& presentation);
void SetOption24(RunContext& run, const Step& step, const args::Option24& option);
void SetPower(RunContext& run, const Step& step, const args::Switch& power);
void SetTz(RunContext& run, const Step& step, const args::Text& tz);
void SetRtc(RunContext& run, const Step& step, const args::Time& rtc);
void SetRtcAbsent(RunContext& run, const Step& step, const args::None& none);
void SetRtcRaw(RunContext& run, const Step& step, const args::RtcRegisters& raw);
void SetClock(RunContext& run, const Step& step, const args::Time& clock);
void SetProcessClock(RunContext& run, const Step& step, const args::ProcessClock& clock);
void SetTzAgent(RunContext& run, const Step& step, const args::Agent& agent);
void SetUpdateAgent(RunContext& run, const Step& step, const args::Agent& agent);
void SetEventManager(RunContext& run, const Step& step, const args::Switch& present);
void SetFactory(RunContext& run, const Step& step, const args::Switch& present);
void FailRtcRead(RunContext& run, const Step& step, const args::Switch& fault);
void FailRtcWrite(RunContext& run, const Step& step, const args::Switch& fault);
void FailClockGet(RunContext& run, const Step& step, const args::Value& code);
void FailClockSet(RunContext& run, const Step& step, const args::Value& code);
void FailMonotonic(RunContext& run, const Step& step, const args::Switch& fault);
void FailProcessClock(RunContext& run, const Step& step, const args::Switch& fault);
void FailSend(RunContext& run, const Step& step, const args::Switch& fault);
void FailMutex(RunContext& run, const Step& step, const args::Switch& fault);
void FailTaskCreate(RunContext& run, const Step& step, const args::Switch& fault);

}  // namespace steps
}  // namespace daksim
