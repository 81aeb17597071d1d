// A parsed scenario file: the steps of the file in order, each of its kind
// with the record of the values its words gave. Parsing needs nothing of the
// library, so a file is checked completely before any of it runs.
#pragma once

#include <string>
#include <vector>

#include "StepArgs.h"

namespace daksim {

enum class StepKind {
    Heading,  // a "## " comment line, echoed as a narrative heading

    // platform
    SetReason,
    SetDst,
    SetOffset,
    SetRegion,
    SetFirstStt,
    SetClockMode,
    SetNetworkSet,
    SetPresentation,
    SetOption24,  // option24: the value, or none
    SetPower,
    SetTz,
    SetRtc,
    SetRtcAbsent,
    SetRtcRaw,
    SetClock,
    SetProcessClock,  // flag: back to the machine's clock; otherwise time
    SetTzAgent,
    SetUpdateAgent,
    SetEventManager,
    SetFactory,
    FailRtcRead,
    FailRtcWrite,
    FailClockGet,
    FailClockSet,
    FailMonotonic,
    FailProcessClock,
    FailSend,
    FailMutex,
    FailTaskCreate,

    // library
    Init,
    ManagerExit,
    SetTime,
    GetTime,
    NetworkTime,
    ReleaseTime,
    StreamsInit,
    StreamsExit,
    StreamSet,
    StreamMode,
    StreamDst,
    StreamDvbOffset,
    StreamReset,
    StreamPlay,

    // time
    Idle,
    Sync,
    Advance,
    Mark,

    // expectations
    ExpectResult,
    ExpectSetting,
    ExpectAutoClock,
    ExpectClock,
    ExpectRtc,
    ExpectSignals,
    ExpectSignal,
    ExpectSubscribed,
    ExpectRunning,
    ExpectStreamClock,
    ExpectStreamSystem,
    ExpectStreamMode,
    ExpectStreamDst,
    ExpectStreamDvbOffset,
    ExpectStreamNoDvbOffset,
    ExpectLog,
    ExpectNoLog,
    ExpectRegistered,
};

struct Step {
    StepKind kind = StepKind::Idle;
    int line = 0;
    std::string source;  // the step as written, comment removed
    StepArgs args;       // the record of the kind

    // The step's record, null when the step is of another shape.
    template <class Args>
    const Args* Get() const
    {
        return std::get_if<Args>(&args);
    }

    bool IsExpectation() const { return kind >= StepKind::ExpectResult; }
};

struct Script {
    std::string name;  // as given on the command line, used in messages
    std::vector<Step> steps;
};

}  // namespace daksim
