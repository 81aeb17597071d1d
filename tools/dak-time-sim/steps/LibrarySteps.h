// Steps that call the library as the TV service would: the system time
// manager's operations and the stream clocks'.
#pragma once

#include "Scenario.h"

namespace daksim {

class RunContext;

namespace steps {

void Init(RunContext& run, const Step& step, const args::None& none);
void ManagerExit(RunContext& run, const Step& step, const args::None& none);
void SetTime(RunContext& run, const Step& step, const args::TimeSetting& set);
void GetTime(RunContext& run, const Step& step, const args::None& none);
void NetworkTime(RunContext& run, const Step& step, const args::None& none);
void ReleaseTime(RunContext& run, const Step& step, const args::None& none);
void StreamsInit(RunContext& run, const Step& step, const args::None& none);
void StreamsExit(RunContext& run, const Step& step, const args::None& none);
void StreamSet(RunContext& run, const Step& step, const args::StreamTime& set);
void StreamMode(RunContext& run, const Step& step, const args::StreamMode& mode);
void StreamDst(RunContext& run, const Step& step, const args::StreamDst& dst);
void StreamDvbOffset(RunContext& run, const Step& step, const args::DvbOffset& offset);
void StreamReset(RunContext& run, const Step& step, const args::Stream& reset);

}  // namespace steps
}  // namespace daksim
