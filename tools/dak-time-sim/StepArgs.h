// What each kind of step carries: the values its words gave, one record per
// shape of step. Kinds whose words mean the same thing share a record (every
// `set` of a settings-store integer carries a `Value`); the comment of each
// record names its kinds. A handler reads only its kind's record.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>

namespace daksim {

// A time as written: a fixed value, or `now` (the host's real time when the
// step runs), with an optional tolerance in seconds for expectations.
struct TimeValue {
    bool now = false;
    int64_t seconds = 0;
    std::optional<int64_t> tolerance;
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

namespace args {

// Steps of their verb alone: init, gettime, networktime, releasetime,
// manager exit, streams init/exit, set rtc absent, idle, sync, mark.
struct None {};

// A heading's text, `set tz` STRING.
struct Text {
    std::string text;
};

// One integer: `set` reason/dst/offset/region/clockmode/presentation/
// firststt, `fail` clockget/clockset CODE, `expect` autoclock/signals/
// registered.
struct Value {
    int64_t value = 0;
};

// One on/off: `set` networkset/power/eventmanager/factory, the `fail B`
// faults, `expect running`.
struct Switch {
    bool on = false;
};

// `set option24 N|none`.
struct Option24 {
    std::optional<int32_t> value;
};

// One time: `set rtc`, `set clock`, `expect clock`, `expect rtc`.
struct Time {
    TimeValue time;
};

// `set rtc raw`: the registers YEAR MON MDAY HOUR MIN SEC as written.
struct RtcRegisters {
    std::array<int32_t, 6> registers{};
};

// `set processclock TIME|real`: no time is the machine's own clock.
struct ProcessClock {
    std::optional<TimeValue> time;
};

// `set tzagent`, `set updateagent`: the agent's answer, and the offsets by
// region that a time-zone agent answers with.
struct Agent {
    AgentChoice choice = AgentChoice::None;
    std::map<int, int> offsets;
};

// `settime T TYPE [dst=B]`.
struct TimeSetting {
    TimeValue time;
    int64_t type = 0;
    bool dst = false;
};

// `advance D`, in milliseconds.
struct Duration {
    int64_t ms = 0;
};

// The PROFILE/SUB of a stream clock.
struct StreamHandle {
    int32_t profileId = 1;
    uint16_t subId = 0;
};

// A stream step of its handle alone: `stream H reset`,
// `expect stream H dvboffset none`.
struct Stream {
    StreamHandle handle;
};

// `stream H set T [scan=B] [mode=N]`.
struct StreamTime {
    StreamHandle handle;
    TimeValue time;
    bool scan = false;
    int32_t mode = 0;
};

// `stream H mode N`, `expect stream H mode N`.
struct StreamMode {
    StreamHandle handle;
    int32_t mode = 0;
};

// `stream H dst B [mode=N]`, `expect stream H dst B`.
struct StreamDst {
    StreamHandle handle;
    bool dst = false;
    int32_t mode = 0;
};

// `stream H dvboffset TOC NEXT LOCAL` and its expectation; an integer time
// of change is taken modulo 2^32, as the interface takes it.
struct DvbOffset {
    StreamHandle handle;
    int64_t timeOfChange = 0;
    int32_t next = 0;
    int32_t local = 0;
};

// `stream H play FILE [scan=B] [mode=N] [country=CCC] [region=N]
// [wire=OFFSET] [jst=B]`.
struct Capture {
    StreamHandle handle;
    std::string file;
    bool scan = false;
    int32_t mode = 0;
    std::string country;                 // empty: the first offset record
    bool jst = false;                    // wire=+9
    std::optional<int32_t> wireMinutes;  // minutes east of UTC
    std::optional<int32_t> region;
    // A live stream (udp://...) is played for so many seconds or tables.
    std::optional<uint32_t> forSeconds;
    std::optional<uint32_t> tables;
};

// `expect stream H clock|system T [set=B]`.
struct Reading {
    StreamHandle handle;
    TimeValue time;
    std::optional<bool> isSet;
};

// `expect result V`.
struct Result {
    ExpectedResult expected;
};

// `expect setting NAME V`; a first stream time may be a time, with its
// tolerance, or a negative integer.
struct StoredSetting {
    SettingName setting = SettingName::Reason;
    int64_t value = 0;
    TimeValue time;
};

// `expect signal N type=T`.
struct SignalEntry {
    int64_t number = 0;
    int64_t type = 0;
};

// `expect subscribed WHICH B`: 1 networktime, 2 timemode, 3 presentation.
struct Subscription {
    int which = 0;
    bool on = false;
};

// `expect log|nolog [level=N] [via=V] TEXT`.
struct LogMatch {
    std::string text;
    std::optional<int64_t> level;
    std::optional<int> via;  // a dakhost::Via value
};

}  // namespace args

using StepArgs =
    std::variant<args::None, args::Text, args::Value, args::Switch, args::Option24, args::Time,
                 args::RtcRegisters, args::ProcessClock, args::Agent, args::TimeSetting,
                 args::Duration, args::Stream, args::StreamTime, args::StreamMode, args::StreamDst,
                 args::DvbOffset, args::Capture, args::Reading, args::Result, args::StoredSetting,
                 args::SignalEntry, args::Subscription, args::LogMatch>;

}  // namespace daksim
