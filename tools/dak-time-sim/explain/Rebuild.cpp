#include "Rebuild.h"

#include <algorithm>
#include <iterator>

#include "LogFields.h"
#include "ReadWords.h"
#include "SystemTimeManager/TimeRules.h"
#include "Vocabulary.h"

namespace daksim::explain {

using namespace std::string_view_literals;

namespace {

constexpr int64_t kSetTypeStream = 1;
constexpr int64_t kSetTypeNet = 2;
constexpr int64_t kSetTypeSync = 5;
constexpr int64_t kSetTypeInit = 6;
constexpr int kAutoStream = 0;
constexpr int kAutoNet = 1;
constexpr int kAutoMax = 2;
constexpr int kLevelOfDecisions = 4;

}  // namespace

Rebuild::Rebuild(Listener& out) : m_out(out), m_startupReader(out)
{
}

void Rebuild::BeginFile(const std::string& name, uint64_t line, bool fresh, bool boot)
{
    m_decisions = std::make_unique<Decisions>(
        [this](const Decisions::Setting& setting) { FromDecisions(setting); },
        [this](const Decisions::Sync& sync) {
            m_syncSetting = sync.decision == "platform clock set from the hardware clock";
            m_out.Sync(sync, Here());
        });
    m_line = line;
    m_moments.Reset(m_year);
    m_reason.reset();
    m_autoClock.reset();
    m_signals = 0;
    m_maxLevel = 0;
    m_startupReader.Reset();
    m_applyingSeen = false;
    m_clockBefore.reset();
    m_networkTaken = false;
    m_syncSetting = false;
    m_initReplay = false;
    m_replay.reset();
    m_tables.Reset();
    m_tableDrove = false;
    m_decidedLine = 0;
    m_echoes = false;
    m_decisions->CallUnknown();
    if (boot) {
        m_out.BeginBoot(name, Here());
    } else {
        m_out.BeginFile(name, Here());
    }
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
    m_tables.HandleIs(handle);
}

void Rebuild::ReasonStep(int reason)
{
    ReasonSeen(reason);
}

void Rebuild::Line(uint64_t line, const std::optional<Stamp>& stamp, const Message* message)
{
    m_line = line;
    m_moments.Stamped(stamp, message != nullptr);
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
    uint64_t line = 0;
    if (const auto table = m_tables.Finish(m_maxLevel, line)) {
        m_out.Table(*table, {line, m_moments.Now()});
        m_tableDrove = table->askedSet;
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
    // Start-up replays the hardware clock with the type its stored reason
    // gives, whichever that is.
    if (m_initReplay && m_replay && setting.type == m_replay->first &&
        setting.utc == m_replay->second) {
        event.origin = Origin::Init;
    }
    m_initReplay = false;
    m_replay.reset();
    if (setting.type == kSetTypeStream && event.origin != Origin::Init) {
        m_tableDrove = false;
    }
    if (setting.type == kSetTypeNet) {
        m_networkTaken = false;
    }
    m_applyingSeen = false;
    if (setting.accepted) {
        m_moments.ClockSet(setting.utc);  // before its moment is told: the stamps may jump
        event.clockBefore = event.clockBefore ? event.clockBefore : m_moments.ClockBefore();
    }
    m_out.Setting(event, Here());
    if (setting.accepted) {
        Accepted(setting.type);
        m_out.ClockSet(0, setting.utc, Here());
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
    m_copyDue = m_copyArmed;  // only the next message can be the copy
    m_copyArmed = false;
    m_maxLevel = std::max(m_maxLevel, line.level);
    const std::string& text = line.text;
    const bool print = line.via == dakhost::Via::Print;
    // A table's lines end at the first that is neither the stream clock's
    // nor its reading of the system time.
    if (line.function != "SetStreamClock"sv && line.function != "GetSystemTime"sv) {
        FinishTable();
    }
    m_startupReader.Other(&line, Here());
    // The task stores the reason a setting leaves before it logs the setting.
    if (print && line.function == "t_SetSystemTime"sv && Has(text, "t_SetSystemTime] UTC =")) {
        m_applyingSeen = true;
        m_clockBefore.reset();
        if (const auto utc = NumberAfter(text, "UTC =")) {
            m_moments.ClockSetting(*utc);
        }
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
    if (line.function == "SetStreamClock"sv) {
        Stream(line);
    } else if (m_startupReader.Line(line, Here())) {
        if (const auto startup = m_startupReader.TakeRead()) {
            if (startup->reason) {
                ReasonSeen(static_cast<int>(*startup->reason));
            }
            if (startup->autoClock) {
                AutoClock(static_cast<int>(*startup->autoClock));
            }
            m_initReplay = !startup->rtcFailed;
            m_replay.reset();
            if (startup->type && startup->rtc) {
                m_replay = std::make_pair(*startup->type, *startup->rtc);
            }
            m_out.StartupRead(*startup, Here());
        }
    } else {
        Manager(line);
    }
}

void Rebuild::Manager(const dakhost::LogLine& line)
{
    const std::string& text = line.text;
    const std::string& function = line.function;
    const bool print = line.via == dakhost::Via::Print;
    if (function == "GetSystemTime"sv && print) {
        if (Has(text, "failed")) {
            m_out.ClockRead(std::nullopt, static_cast<int>(NumberAfter(text, "ret=").value_or(0)),
                            Here());
        } else if (const auto utc = NumberAfter(text, "UTC =")) {
            m_out.ClockRead(utc, 0, Here());
            m_moments.ClockIs(*utc);
            if (m_applyingSeen && !m_clockBefore) {
                m_clockBefore = utc;
            }
        }
    } else if (function == "t_SetSystemTime"sv &&
               ((print && Has(text, "SetSystemClock")) ||
                (m_copyDue && Has(text, "UTC =") && Has(text, "offset ="))) &&
               !Has(text, "failed") && m_decidedLine != m_line) {
        // Only the level-1 line of the setting (or its copy, when the line
        // itself was damaged): told here, its reasons unknown.
        const bool copy = m_copyDue;
        m_copyDue = false;
        SettingEvent event;
        const size_t utcAt = text.find("UTC =");
        const std::string_view setting =
            utcAt == std::string::npos ? std::string_view() : std::string_view(text).substr(utcAt);
        const std::string word(Field(setting, 1));
        const auto type =
            word == "SetType_unknown" ? std::optional<int64_t>(-1) : ParseSetType(word);
        const auto utc = NumberAfter(text, "UTC =");
        if (!type || !utc || !Has(text, "offset =")) {
            ++m_damaged;  // cut short or run into by other text: never decided from
            m_copyArmed = !copy;
            return;
        }
        event.setting.type = *type;
        event.setting.utc = *utc;
        event.setting.accepted = true;
        event.reasonsKnown = false;
        m_decidedLine = m_line;
        m_moments.ClockSet(event.setting.utc);
        event.clockBefore = m_moments.ClockBefore();
        m_out.Setting(event, Here());
        Accepted(event.setting.type);
        m_out.ClockSet(0, event.setting.utc, Here());
        m_out.Signal(++m_signals, event.setting.type, Here());
    } else if (function == "t_SyncSystemTime"sv && print && Has(text, "SyncSystemTime UTC=")) {
        if (const auto reason = ReasonWord(Field(text, 1))) {
            ReasonSeen(static_cast<int>(*reason));
        }
        if (const auto autoClock = AutoTypeWord(Field(text, 3))) {
            AutoClock(static_cast<int>(*autoClock));
        }
    } else if ((function == "t_IsPossibleUpdateTime"sv ||
                function == "t_GetInitSettingTypeByReason"sv) &&
               print) {
        const size_t close = text.find(']');
        const std::string_view after = close == std::string::npos
                                           ? std::string_view()
                                           : std::string_view(text).substr(close + 1);
        if (const auto reason = ReasonWord(Field(after, 0))) {
            ReasonSeen(static_cast<int>(*reason));
        }
    } else if (function == "SetSystemTimeByNetworkTime"sv && print) {
        if (const auto mode = NumberAfter(text, "manualClock =")) {
            m_out.Store("clockmode", *mode, Here());
        }
    } else if (function == "t_SetSystemTimeByNetworkTime"sv) {
        if (line.via == dakhost::Via::PrintF && Has(text, "Sucessfully set network time")) {
            m_networkTaken = true;
            m_out.Network(NumberAfter(text, "time ="), Here());
        } else if (print && Has(text, "Failed to set network time")) {
            m_out.Network(std::nullopt, Here());
        }
    } else if (function == "t_SetNetworkTimeOffset"sv && print) {
        m_out.Store("offset", NumberAfter(text, "networkTimeOffset").value_or(0), Here());
        m_out.Store("dst", NumberAfter(text, "dst:").value_or(0), Here());
    } else if (function == "t_SetBroadcastTimeOffset"sv && print && Has(text, "ret:1")) {
        m_out.Store("offset", NumberAfter(text, "curTimeZoneOffset =").value_or(0), Here());
    } else if (function == "t_SubscribeTimeModeCallback"sv && print) {
        m_out.Subscription("timemode", true, Here());
    } else if (function == "t_SubscribePresentationTimeCallback"sv && print) {
        m_out.Subscription("presentation", true, Here());
    } else if (function == "~TCSystemTimeManager"sv && Has(text, "thread destroy")) {
        m_out.ManagerExit(Here());
        m_startupReader.ManagerGone();
        AutoClock(kAutoMax);
    }
}

void Rebuild::Stream(const dakhost::LogLine& line)
{
    if (line.via != dakhost::Via::Print) {
        return;
    }
    if (Has(line.text, "[TCStreamClock::SetStreamClock] utc")) {
        FinishTable();
    }
    m_tables.Line(line.text, m_line);
}

void Rebuild::EndFile(uint64_t line)
{
    m_line = line;
    FinishTable();
    m_startupReader.Other(nullptr, Here());
    if (m_decisions) {
        m_decisions->EndOfLog();
    }
    if (!m_moments.Stamps()) {
        m_out.Undecided("the lines carry no time stamps: how long anything took", Here());
    } else if (m_moments.HeldJumps() > 0) {
        m_out.Undecided(std::to_string(m_moments.HeldJumps()) +
                            " steps of the stamps back or by a year or more that no move of the "
                            "clock in the log explains: the time they span",
                        Here());
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
