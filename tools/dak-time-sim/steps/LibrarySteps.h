// Steps that call the library as the TV service would: the system time
// manager's operations and the stream clocks'.
#pragma once

#include "Scenario.h"

namespace daksim {

class RunContext;

namespace steps {

void Init(RunContext& run, const Step& step);
void ManagerExit(RunContext& run, const Step& step);
void SetTime(RunContext& run, const Step& step);
void GetTime(RunContext& run, const Step& step);
void NetworkTime(RunContext& run, const Step& step);
void ReleaseTime(RunContext& run, const Step& step);
void StreamsInit(RunContext& run, const Step& step);
void StreamsExit(RunContext& run, const Step& step);
void StreamSet(RunContext& run, const Step& step);
void StreamMode(RunContext& run, const Step& step);
void StreamDst(RunContext& run, const Step& step);
void StreamDvbOffset(RunContext& run, const Step& step);
void StreamReset(RunContext& run, const Step& step);

}  // namespace steps
}  // namespace daksim
