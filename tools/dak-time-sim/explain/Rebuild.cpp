#include "Rebuild.h"

#include <algorithm>
#include <iterator>

#include "LogFields.h"
#include "SystemTimeManager/TimeRules.h"
#include "Vocabulary.h"

namespace daksim::explain {

namespace {

constexpr int64_t kSetTypeStream = 1;
constexpr int64_t kSetTypeNet = 2;
constexpr int64_t kSetTypeSync = 5;
constexpr int64_t kSetTypeInit = 6;
constexpr int kAutoStream = 0;
constexpr int kAutoNet = 1;
constexpr int kAutoMax = 2;
constexpr int kLevelOfDecisions = 4;

// The `index`-th field of a comma-separated text (0: up to the first comma),
// blanks around it dropped.
std::string Field(std::string_view text, size_t index)
{
    size_t start = 0;
    for (size_t i = 0; i < index; ++i) {
        start = text.find(',', start);
        if (start == std::string_view::npos) {
            return {};
        }
        ++start;
    }
    size_t end = text.find(',', start);
    if (end == std::string_view::npos) {
        end = text.size();
    }
    while (start < end && text[start] == ' ') {
        ++start;
    }
    while (end > start && text[end - 1] == ' ') {
        --end;
    }
    return std::string(text.substr(start, end - start));
}

// A printed reason; every value outside the table prints as Reason_unknown,
// kept as one such value.
std::optional<int64_t> ReasonWord(const std::string& word)
{
    return word == "Reason_unknown" ? std::optional<int64_t>(-1) : ParseReason(word);
}

std::optional<int64_t> AutoTypeWord(const std::string& word)
{
    return word == "AutoType_unknown" ? std::optional<int64_t>(-1) : ParseAutoType(word);
}

}  // namespace

Rebuild::Rebuild(Listener& out) : m_out(out)
{
}

void Rebuild::BeginFile(const std::string& name, uint64_t line, bool fresh)
{
    m_decisions = std::make_unique<Decisions>(
        [this](const Decisions::Setting& setting) { FromDecisions(setting); },
        [this](const Decisions::Sync& sync) {
            m_syncSetting = sync.decision == "platform clock set from the hardware clock";
            m_out.Sync(sync, Here());
        });
    m_line = line;
    m_moment = {};
    m_firstMs.reset();
    m_lastMs = 0;
    m_clock.reset();
    m_clockAtMs = 0;
    m_reason.reset();
    m_autoClock.reset();
    m_signals = 0;
    m_maxLevel = 0;
    m_startup.reset();
    m_startupTold = false;
    m_applyingSeen = false;
    m_clockBefore.reset();
    m_networkTaken = false;
    m_syncSetting = false;
    m_initReplay = false;
    m_table.reset();
    m_handle.clear();
    m_tableDrove = false;
    m_decidedLine = 0;
    m_rtcWrite.reset();
    m_echoes = false;
    m_decisions->CallUnknown();
    m_out.BeginFile(name, Here());
    if (fresh) {
        ReasonSeen(0);
    }
}

void Rebuild::CallStep(std::optional<int64_t> type, int64_t utc)
{
    if (m_decisions) {
        m_echoes = true;
        m_decisions->CallStep(type, utc);
    }
}

void Rebuild::StreamStep(const std::string& handle)
{
    m_handle = handle;
}

void Rebuild::ReasonStep(int reason)
{
    ReasonSeen(reason);
}

void Rebuild::Moment(const std::optional<Stamp>& stamp)
{
    if (stamp) {
        if (stamp->kind == Stamp::Kind::Simulator) {
            m_lastMs = std::max<int64_t>(stamp->ms, 0);
            m_clock = stamp->clock;
            m_clockAtMs = m_lastMs;
        } else {
            if (!m_firstMs) {
                m_firstMs = stamp->ms;
            }
            m_lastMs = std::max(m_lastMs, stamp->ms - *m_firstMs);
            if (!m_clock && stamp->kind == Stamp::Kind::Calendar) {
                m_clock = stamp->ms / 1000;
                m_clockAtMs = m_lastMs;
            }
        }
    }
    m_moment.elapsedMs = static_cast<uint64_t>(m_lastMs);
    m_moment.clock =
        m_clock ? static_cast<uint32_t>(*m_clock + (m_lastMs - m_clockAtMs) / 1000) : 0U;
}

void Rebuild::Line(uint64_t line, const std::optional<Stamp>& stamp, const Message* message)
{
    m_line = line;
    Moment(stamp);
    if (message != nullptr) {
        m_out.Log(message->line, Here());
        Read(message->line);
    }
}

void Rebuild::ReasonSeen(int reason)
{
    if (m_reason == reason) {
        return;
    }
    m_reason = reason;
    if (m_decisions) {
        m_decisions->ReasonStored(reason);
    }
    m_out.Store("reason", reason, Here());
}

void Rebuild::AutoClock(int value)
{
    if (m_autoClock == value) {
        return;
    }
    m_autoClock = value;
    m_out.Store("autoclock", value, Here());
}

void Rebuild::FinishTable()
{
    if (m_table) {
        // Whether a table was taken is told at level 5 only, or by its range.
        constexpr int kLevelOfTables = 5;
        m_table->resultKnown = m_table->resultKnown || m_maxLevel >= kLevelOfTables;
        m_out.Table(*m_table, {m_tableLine, m_moment});
        m_tableDrove = m_table->askedSet;
        m_table.reset();
    }
}

void Rebuild::FromDecisions(const Decisions::Setting& setting)
{
    m_decidedLine = m_line;
    SettingEvent event;
    event.setting = setting;
    event.reasonsKnown = m_reason.has_value();
    event.clockBefore = m_clockBefore;
    switch (setting.type) {
        case kSetTypeSync:
            event.origin = m_syncSetting ? Origin::Sync : Origin::Call;
            m_syncSetting = false;
            break;
        case kSetTypeInit:
            event.origin = m_initReplay ? Origin::Init : Origin::Call;
            m_initReplay = false;
            break;
        case kSetTypeStream:
            event.origin = m_tableDrove ? Origin::Table : Origin::Call;
            break;
        case kSetTypeNet:
            event.origin = m_networkTaken ? Origin::Network : Origin::Call;
            break;
        default:
            break;
    }
    if (setting.type == kSetTypeStream) {
        m_tableDrove = false;
    }
    if (setting.type == kSetTypeNet) {
        m_networkTaken = false;
    }
    m_applyingSeen = false;
    m_out.Setting(event, Here());
    if (setting.accepted) {
        Accepted(setting.type);
        m_out.ClockSet(0, setting.utc, Here());
        m_clock = setting.utc;
        m_clockAtMs = m_lastMs;
        m_out.Signal(++m_signals, setting.type, Here());
    } else if (Has(setting.why, "ret=")) {
        m_out.ClockSet(static_cast<int>(NumberAfter(setting.why, "ret=").value_or(0)), setting.utc,
                       Here());
    }
}

void Rebuild::Accepted(int64_t type)
{
    switch (type) {
        case kSetTypeStream:
            m_out.Subscription("networktime", false, Here());
            m_out.Subscription("timemode", false, Here());
            AutoClock(kAutoStream);
            break;
        case kSetTypeNet:
            AutoClock(kAutoNet);
            break;
        case kSetTypeSync:
            break;
        default:
            AutoClock(kAutoMax);
            break;
    }
}

void Rebuild::Read(const dakhost::LogLine& line)
{
    m_maxLevel = std::max(m_maxLevel, line.level);
    const std::string& text = line.text;
    const bool print = line.via == dakhost::Via::Print;
    // A table's lines end at the first that is neither the stream clock's
    // nor its reading of the system time.
    if (line.function != "SetStreamClock" && line.function != "GetSystemTime") {
        FinishTable();
    }
    if (m_rtcWrite && !(line.function == "t_SetRTCTime" && Has(text, "fail"))) {
        if (line.function != "t_SetRTCTime") {
            m_out.RtcWrite(true, m_rtcWrite, Here());
            m_rtcWrite.reset();
        }
    }
    // The task stores the reason a setting leaves before it logs the setting.
    if (print && line.function == "t_SetSystemTime" && Has(text, "t_SetSystemTime] UTC =")) {
        m_applyingSeen = true;
        m_clockBefore.reset();
        // The library prints every type outside its table as SetType_unknown,
        // and they all leave the same reason as 3 does.
        const std::string name = WordAfter(text, ",");
        const auto type =
            name == "SetType_unknown" ? std::optional<int64_t>(3) : ParseSetType(name);
        if (m_reason && type) {
            const int left = dak::ReasonLeftBy(static_cast<ETimeSettingType>(*type),
                                               static_cast<ESystemTimeReason>(*m_reason));
            // Written even when it stays: the setting's reason before is this one.
            if (m_decisions) {
                m_decisions->ReasonStored(*m_reason);
            }
            ReasonSeen(left);
        }
    }
    if (m_decisions) {
        // Without the simulator's echoes, what a client asked for is known
        // only while Init asks for its replay.
        static const char* const kOfACall[] = {"Init",
                                               "t_GetInitSettingTypeByReason",
                                               "t_IsPossibleUpdateTime",
                                               "SetSystemTime",
                                               "PrintProfiling",
                                               "TCScopeTrace"};
        if (!m_echoes && std::none_of(std::begin(kOfACall), std::end(kOfACall),
                                      [&](const char* f) { return line.function == f; })) {
            m_decisions->CallUnknown();
        }
        m_decisions->LineRead(line);
    }
    if (line.function == "SetStreamClock") {
        Stream(line);
    } else {
        Manager(line);
    }
}

void Rebuild::Manager(const dakhost::LogLine& line)
{
    const std::string& text = line.text;
    const std::string& function = line.function;
    const bool print = line.via == dakhost::Via::Print;
    if (function == "Init" && Has(text, "isMasterPowerOn:")) {
        if (!m_startup || m_startupTold) {
            m_startup = Startup{};
            m_startupTold = false;
        }
        m_startup->mainPower = NumberAfter(text, "isMasterPowerOn:").value_or(0) != 0;
        m_startup->battery = NumberAfter(text, "ExistBackupBattery:").value_or(0) != 0;
    } else if (function == "Init" && Has(text, "InitSystemTime  UTC=") && !m_startupTold) {
        if (!m_startup) {
            m_startup = Startup{};
        }
        Startup& startup = *m_startup;
        if (!startup.rtcFailed) {
            startup.rtc = NumberAfter(text, "UTC=");
        }
        startup.reason = ReasonWord(Field(text, 1));
        startup.autoClock = AutoTypeWord(Field(text, 2));
        startup.type = ParseSetType(Field(text, 3));
        if (!startup.mainPower) {
            startup.mainPower = NumberAfter(text, "isMasterPowerOn=").value_or(0) != 0;
        }
        if (startup.reason) {
            ReasonSeen(static_cast<int>(*startup.reason));
        }
        if (startup.autoClock) {
            AutoClock(static_cast<int>(*startup.autoClock));
        }
        m_startupTold = true;
        m_initReplay = !startup.rtcFailed;
        m_out.StartupRead(startup, Here());
    } else if (function == "t_GetRTCTime" && print) {
        const bool starting = m_startup && !m_startupTold;
        if (Has(text, "_time=")) {
            m_out.RtcRead(true, NumberAfter(text, "_time="), "", Here());
        } else if (Has(text, "invalid")) {
            const std::string raw =
                "raw " + std::to_string(NumberAfter(text, "tm_year=").value_or(0)) + " " +
                std::to_string(NumberAfter(text, "tm_mon=").value_or(0)) + " " +
                std::to_string(NumberAfter(text, "tm_mday=").value_or(0)) + " " +
                std::to_string(NumberAfter(text, "tm_hour=").value_or(0)) + " " +
                std::to_string(NumberAfter(text, "tm_min=").value_or(0)) + " " +
                std::to_string(NumberAfter(text, "tm_sec=").value_or(0));
            m_out.RtcRead(true, std::nullopt, raw, Here());
            if (starting) {
                m_startup->rtcFailed = true;
            }
        } else if (Has(text, "fail")) {
            m_out.RtcRead(false, std::nullopt, Has(text, "open fail") ? "absent" : "fail", Here());
            if (starting) {
                m_startup->rtcFailed = true;
            }
        }
    } else if (function == "t_SetRTCTime" && print) {
        if (Has(text, "_time=")) {
            m_rtcWrite = NumberAfter(text, "_time=");
        } else if (Has(text, "fail")) {
            m_out.RtcWrite(false, m_rtcWrite, Here());
            m_rtcWrite.reset();
        }
    } else if (function == "GetSystemTime" && print) {
        if (Has(text, "failed")) {
            m_out.ClockRead(std::nullopt, static_cast<int>(NumberAfter(text, "ret=").value_or(0)),
                            Here());
        } else if (const auto utc = NumberAfter(text, "UTC =")) {
            m_out.ClockRead(utc, 0, Here());
            m_clock = utc;
            m_clockAtMs = m_lastMs;
            if (m_applyingSeen && !m_clockBefore) {
                m_clockBefore = utc;
            }
        }
    } else if (function == "t_SetSystemTime" && print && Has(text, "SetSystemClock") &&
               !Has(text, "failed") && m_decidedLine != m_line) {
        // Only the level-1 line of the setting: told here, its reasons unknown.
        SettingEvent event;
        const size_t utcAt = text.find("UTC =");
        const std::string_view setting =
            utcAt == std::string::npos ? std::string_view() : std::string_view(text).substr(utcAt);
        event.setting.type = ParseSetType(Field(setting, 1)).value_or(-1);
        event.setting.utc = NumberAfter(text, "UTC =").value_or(-1);
        event.setting.accepted = true;
        event.reasonsKnown = false;
        m_decidedLine = m_line;
        m_out.Setting(event, Here());
        Accepted(event.setting.type);
        m_out.ClockSet(0, event.setting.utc, Here());
        m_out.Signal(++m_signals, event.setting.type, Here());
    } else if (function == "t_SyncSystemTime" && print && Has(text, "SyncSystemTime UTC=")) {
        if (const auto reason = ReasonWord(Field(text, 1))) {
            ReasonSeen(static_cast<int>(*reason));
        }
        if (const auto autoClock = AutoTypeWord(Field(text, 3))) {
            AutoClock(static_cast<int>(*autoClock));
        }
    } else if ((function == "t_IsPossibleUpdateTime" ||
                function == "t_GetInitSettingTypeByReason") &&
               print) {
        const size_t close = text.find(']');
        const std::string_view after = close == std::string::npos
                                           ? std::string_view()
                                           : std::string_view(text).substr(close + 1);
        if (const auto reason = ReasonWord(Field(after, 0))) {
            ReasonSeen(static_cast<int>(*reason));
        }
    } else if (function == "SetSystemTimeByNetworkTime" && print) {
        if (const auto mode = NumberAfter(text, "manualClock =")) {
            m_out.Store("clockmode", *mode, Here());
        }
    } else if (function == "t_SetSystemTimeByNetworkTime") {
        if (line.via == dakhost::Via::PrintF && Has(text, "Sucessfully set network time")) {
            m_networkTaken = true;
            m_out.Network(NumberAfter(text, "time ="), Here());
        } else if (print && Has(text, "Failed to set network time")) {
            m_out.Network(std::nullopt, Here());
        }
    } else if (function == "t_SetNetworkTimeOffset" && print) {
        m_out.Store("offset", NumberAfter(text, "networkTimeOffset").value_or(0), Here());
        m_out.Store("dst", NumberAfter(text, "dst:").value_or(0), Here());
    } else if (function == "t_SetBroadcastTimeOffset" && print && Has(text, "ret:1")) {
        m_out.Store("offset", NumberAfter(text, "curTimeZoneOffset =").value_or(0), Here());
    } else if (function == "t_SubscribeTimeModeCallback" && print) {
        m_out.Subscription("timemode", true, Here());
    } else if (function == "t_SubscribePresentationTimeCallback" && print) {
        m_out.Subscription("presentation", true, Here());
    } else if (function == "~TCSystemTimeManager" && Has(text, "thread destroy")) {
        m_out.ManagerExit(Here());
        m_startup.reset();
        m_startupTold = false;
        AutoClock(kAutoMax);
    }
}

void Rebuild::Stream(const dakhost::LogLine& line)
{
    const std::string& text = line.text;
    if (line.via != dakhost::Via::Print) {
        return;
    }
    if (Has(text, "[TCStreamClock::SetStreamClock] utc")) {
        FinishTable();
        TableEvent table;
        table.handle = m_handle;
        table.utc = NumberAfter(text, "utc").value_or(0);
        table.scan = NumberAfter(text, "isScan:").value_or(0) != 0;
        table.mode = static_cast<int>(NumberAfter(text, "clockMode:").value_or(0));
        table.resultKnown = false;
        m_table = table;
        m_tableLine = m_line;
        return;
    }
    if (!m_table) {
        return;
    }
    TableEvent& table = *m_table;
    if (Has(text, "Invalid UTC")) {
        table.result = false;
        table.resultKnown = true;
        table.why = "outside 2001-2099";
    } else if (Has(text, "Getting base clock error")) {
        table.result = false;
        table.why = "no base clock";
    } else if (Has(text, "First STT Set-->UTC[")) {
        m_handle = std::to_string(NumberAfter(text, "profileId:").value_or(0)) + "/" +
                   std::to_string(NumberAfter(text, "subId:").value_or(0));
        table.handle = m_handle;
    } else if (Has(text, "clockMode[")) {
        table.result = false;
        table.clockMode = static_cast<int>(NumberAfter(text, "m_clockMode[").value_or(0));
        table.agentDenied = NumberAfter(text, "bUpdateSystemTime =").value_or(1) == 0;
        table.why = table.agentDenied ? "the time-update agent denies it"
                                      : "its clock mode is not the stream clock's";
    } else if (Has(text, "Doesn't set Stream Clock")) {
        table.why = "the clock is manual";
    } else if (Has(text, "oldTime [")) {
        // Printed as a signed 32-bit long: from 2038 on it reads negative.
        if (const auto old = NumberAfter(text, "oldTime [")) {
            table.systemBefore = static_cast<int64_t>(static_cast<uint32_t>(*old));
        }
    } else if (Has(text, "BPTime_set_current_time")) {
        table.askedSet = true;
    }
}

void Rebuild::EndFile(uint64_t line)
{
    m_line = line;
    FinishTable();
    if (m_rtcWrite) {
        m_out.RtcWrite(true, m_rtcWrite, Here());
        m_rtcWrite.reset();
    }
    if (m_decisions) {
        m_decisions->EndOfLog();
    }
    if (m_maxLevel > 0 && m_maxLevel < kLevelOfDecisions) {
        m_out.Undecided("the log holds no line above level " + std::to_string(m_maxLevel) +
                            ": the syncs, the settings refused before the task, the stream "
                            "tables and the stored reason cannot be told; the settings "
                            "accepted, start-up and the failures are",
                        Here());
    }
    m_out.EndFile(Here());
    m_decisions.reset();
}

}  // namespace daksim::explain
