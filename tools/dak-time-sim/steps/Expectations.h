// Expectations (`expect ...`): each compares what the file says must hold
// with what the library and the platform show now, and gives its verdict.
#pragma once

#include "Scenario.h"

namespace daksim {

class RunContext;

namespace steps {

// The manager, the platform and the log.
void ExpectResult(RunContext& run, const Step& step);
void ExpectSetting(RunContext& run, const Step& step);
void ExpectAutoClock(RunContext& run, const Step& step);
void ExpectClock(RunContext& run, const Step& step);
void ExpectRtc(RunContext& run, const Step& step);
void ExpectSignals(RunContext& run, const Step& step);
void ExpectSignal(RunContext& run, const Step& step);
void ExpectSubscribed(RunContext& run, const Step& step);
void ExpectRunning(RunContext& run, const Step& step);
void ExpectRegistered(RunContext& run, const Step& step);
void ExpectLog(RunContext& run, const Step& step);  // and `expect nolog`

// A stream clock (StreamExpectations.cpp).
void ExpectStreamReading(RunContext& run, const Step& step);  // clock and system
void ExpectStreamMode(RunContext& run, const Step& step);
void ExpectStreamDst(RunContext& run, const Step& step);
void ExpectStreamDvbOffset(RunContext& run, const Step& step);  // and dvboffset none

}  // namespace steps
}  // namespace daksim
