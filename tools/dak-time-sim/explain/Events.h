// What explaining a log finds, as it finds it: the rebuilt state tells each
// of these to the outputs (the trace and the timeline, the findings, the
// scenario, the printed story). Each event carries the log line it was read
// from and its moment.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "DakHostControl.h"
#include "Decisions.h"
#include "Moment.h"

namespace daksim::explain {

struct At {
    uint64_t line = 0;  // in its log, from 1
    Moment moment;
};

// What start-up found.
struct Startup {
    std::optional<bool> mainPower;
    std::optional<bool> battery;
    std::optional<int> reason;    // stored, as Init saw it
    std::optional<int64_t> rtc;   // the hardware clock read, when it was read
    bool rtcFailed = false;       // it could not be read
    std::optional<int64_t> type;  // the setting type of the replay
    std::optional<int> autoClock;
};

// Where a setting came from.
enum class Origin { Call, Init, Sync, Table, Network };

struct SettingEvent {
    Decisions::Setting setting;
    bool reasonsKnown = true;
    Origin origin = Origin::Call;
    // The platform clock it replaced: as read just before, or as the log told
    // it last and time ran on.
    std::optional<int64_t> clockBefore;
};

struct TableEvent {
    std::string handle;  // "1/0"; "" not known
    int64_t utc = 0;
    bool scan = false;
    int mode = 0;
    bool result = true;                   // what SetStreamClock answered
    bool askedSet = false;                // it asked the manager to set the system time
    std::optional<int64_t> systemBefore;  // the platform clock it compared with
    std::string why;                      // why it was refused or did not drive the clock
    bool resultKnown = true;              // false: the log's level drops the lines that tell
    std::optional<int> clockMode;         // the stream clock's own mode, when it differed
    bool agentDenied = false;             // the time-update agent said no
};

class Listener {
public:
    virtual ~Listener() = default;
    virtual void BeginFile(const std::string& /*name*/, const At& /*at*/) {}
    // A new boot of the same set starts a new part of its log: what survives
    // a power cut (the hardware clock, the settings store) goes on.
    virtual void BeginBoot(const std::string& name, const At& at) { BeginFile(name, at); }
    virtual void EndFile(const At& /*at*/) {}
    virtual void Log(const dakhost::LogLine& /*line*/, const At& /*at*/) {}
    virtual void StartupRead(const Startup& /*startup*/, const At& /*at*/) {}
    virtual void Setting(const SettingEvent& /*event*/, const At& /*at*/) {}
    virtual void Sync(const Decisions::Sync& /*sync*/, const At& /*at*/) {}
    virtual void RtcRead(bool /*ok*/, std::optional<int64_t> /*utc*/, const std::string& /*how*/,
                         const At& /*at*/)
    {
    }
    virtual void RtcWrite(bool /*ok*/, std::optional<int64_t> /*utc*/, const At& /*at*/) {}
    virtual void ClockRead(std::optional<int64_t> /*utc*/, int /*ret*/, const At& /*at*/) {}
    virtual void ClockSet(int /*result*/, int64_t /*utc*/, const At& /*at*/) {}
    // A settings-store value the library wrote ("reason" "autoclock" "offset" "dst" "clockmode").
    virtual void Store(const std::string& /*key*/, int64_t /*value*/, const At& /*at*/) {}
    virtual void Table(const TableEvent& /*table*/, const At& /*at*/) {}
    virtual void Signal(int /*number*/, int64_t /*type*/, const At& /*at*/) {}
    // Network time: taken (`utc`) or not (nullopt).
    virtual void Network(std::optional<int64_t> /*utc*/, const At& /*at*/) {}
    virtual void Subscription(const std::string& /*which*/, bool /*on*/, const At& /*at*/) {}
    // The manager was deleted (its task stopped).
    virtual void ManagerExit(const At& /*at*/) {}
    // Something the log does not hold enough to decide.
    virtual void Undecided(const std::string& /*what*/, const At& /*at*/) {}
};

}  // namespace daksim::explain
