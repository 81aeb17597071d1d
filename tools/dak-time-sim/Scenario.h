// A parsed scenario file: the steps of the file in order, each with the
// values its words gave. Parsing needs nothing of the library, so a file is
// checked completely before any of it runs.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace daksim {

// A time as written: a fixed value, or `now` (the host's real time when the
// step runs), with an optional tolerance in seconds for expectations.
struct TimeValue {
    bool now = false;
    int64_t seconds = 0;
    std::optional<int64_t> tolerance;
};

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

// Which agent a `set tzagent` / `set updateagent` step installs.
enum class AgentChoice { Answer, Refuse, None, Other };

// The settings-store values that `expect setting` reads.
enum class SettingName { Reason, Dst, Offset, AutoClock, FirstStt };

// What `expect result` compares with.
struct ExpectedResult {
    enum class Kind { Bool, Null, Number };
    Kind kind = Kind::Null;
    bool boolean = false;
    TimeValue number;  // a plain integer or a time, with its tolerance
};

struct Step {
    StepKind kind = StepKind::Idle;
    int line = 0;
    std::string source;  // the step as written, comment removed

    // The one integer, boolean or time of the step (N, B, CODE, K, R, T...).
    int64_t value = 0;
    bool flag = false;
    TimeValue time;

    // Stream steps.
    int32_t profileId = 1;
    uint16_t subId = 0;
    bool scan = false;                   // scan=B
    int64_t mode = 0;                    // mode=N
    int64_t next = 0;                    // dvboffset NEXT
    int64_t local = 0;                   // dvboffset LOCAL
    std::optional<bool> isSet;           // set=B of a stream reading
    std::string country;                 // play country=CCC (empty: the first entry)
    bool jst = false;                    // play jst=B (wire=+9)
    std::optional<int32_t> wireMinutes;  // play wire=OFFSET, minutes east of UTC
    std::optional<int32_t> region;       // play region=N

    int64_t settingType = 0;        // settime TYPE, expect signal type=T
    std::optional<int64_t> option;  // option24 N (nullopt: none)
    std::string text;               // tz string, log text
    AgentChoice agent = AgentChoice::None;
    std::map<int, int> offsets;  // tzagent REGION=OFFSET...
    SettingName setting = SettingName::Reason;
    int subscription = 0;          // 1 networktime, 2 timemode, 3 presentation
    std::optional<int64_t> level;  // expect log level=N
    std::optional<int> via;        // expect log via=V (a dakhost::Via value)
    ExpectedResult expected;

    // set rtc raw: the registers YEAR MON MDAY HOUR MIN SEC as written.
    std::array<int32_t, 6> rtcRaw{};

    bool IsExpectation() const { return kind >= StepKind::ExpectResult; }
};

struct Script {
    std::string name;  // as given on the command line, used in messages
    std::vector<Step> steps;
};

}  // namespace daksim
