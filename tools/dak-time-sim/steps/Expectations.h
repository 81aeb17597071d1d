// Expectations (`expect ...`): each compares what the file says must hold
// with what the library and the platform show now, and gives its verdict.
#pragma once

#include "Scenario.h"

namespace daksim {

class RunContext;

namespace steps {

// The manager, the platform and the log.
void ExpectResult(RunContext& run, const Step& step, const args::Result& result);
void ExpectSetting(RunContext& run, const Step& step, const args::StoredSetting& wanted);
void ExpectAutoClock(RunContext& run, const Step& step, const args::Value& type);
void ExpectClock(RunContext& run, const Step& step, const args::Time& clock);
void ExpectRtc(RunContext& run, const Step& step, const args::Time& rtc);
void ExpectSignals(RunContext& run, const Step& step, const args::Value& count);
void ExpectSignal(RunContext& run, const Step& step, const args::SignalEntry& signal);
void ExpectSubscribed(RunContext& run, const Step& step, const args::Subscription& subscription);
void ExpectRunning(RunContext& run, const Step& step, const args::Switch& wanted);
void ExpectRegistered(RunContext& run, const Step& step, const args::Value& count);
void ExpectLog(RunContext& run, const Step& step,
               const args::LogMatch& match);  // and `expect nolog`

// A stream clock (StreamExpectations.cpp).
void ExpectStreamReading(RunContext& run, const Step& step,
                         const args::Reading& reading);  // clock and system
void ExpectStreamMode(RunContext& run, const Step& step, const args::StreamMode& mode);
void ExpectStreamDst(RunContext& run, const Step& step, const args::StreamDst& dst);
void ExpectStreamDvbOffset(RunContext& run, const Step& step, const args::DvbOffset& offset);
void ExpectStreamNoDvbOffset(RunContext& run, const Step& step,
                             const args::Stream& stream);  // and dvboffset none

}  // namespace steps
}  // namespace daksim
