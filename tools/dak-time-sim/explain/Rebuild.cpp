#include "Rebuild.h"

#include <algorithm>
#include <iterator>

#include "LibraryMessages.h"
#include "ReadWords.h"
#include "SystemTimeManager/TimeRules.h"
#include "Vocabulary.h"
#include "Wording.h"

namespace daksim::explain {

namespace msg = dak::msg;
using namespace std::string_view_literals;

namespace {
constexpr int kLevelOfDecisions = 4;
}  // namespace

Rebuild::Rebuild(Listener& out) : m_out(out), m_startupReader(out)
{
}

void Rebuild::BeginFile(const std::string& name, uint64_t line, bool fresh, bool boot)
{
    m_decisions = std::make_unique<Decisions>();
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
    m_moments.Line(line);
    m_moments.Stamped(stamp, message != nullptr);
    if (message != nullptr) {
        m_out.Log(message->line, Here());
        LibraryMessage known;
        if (message->id == kNoMessage || !known.ReadAs(message->id, message->line.text)) {
            known = LibraryMessage();
            ++m_damaged;  // a line of the library's none of its messages starts
        }
        Read(message->line, known);
        if (!known.Known() && message->line.function == "t_SetSystemTime"sv &&
            message->line.via == dakhost::Via::Print && message->line.level == 1) {
            m_copyArmed = true;  // a damaged setting line: its copy, next, tells it
        }
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

// What the decisions reader made of the last line, in order.
void Rebuild::TakeDecisions()
{
    for (const Decisions::Decision& decision : m_decisions->Decided()) {
        if (const auto* setting = std::get_if<Decisions::Setting>(&decision)) {
            FromDecisions(*setting);
        } else {
            const auto& sync = std::get<Decisions::Sync>(decision);
            m_syncSetting = sync.decision == "platform clock set from the hardware clock";
            m_out.Sync(sync, Here());
        }
    }
    m_decisions->ClearDecided();
}

void Rebuild::FromDecisions(const Decisions::Setting& setting)
{
    m_decidedLine = m_line;
    SettingEvent event;
    event.setting = setting;
    event.reasonsKnown = m_reason.has_value();
    event.clockBefore = m_clockBefore;
    switch (setting.type) {
        case SetType_sync:
            event.origin = m_syncSetting ? Origin::Sync : Origin::Call;
            m_syncSetting = false;
            break;
        case SetType_init:
            event.origin = m_initReplay ? Origin::Init : Origin::Call;
            break;
        case SetType_stream:
            event.origin = m_tableDrove ? Origin::Table : Origin::Call;
            break;
        case SetType_net:
            event.origin = m_networkTaken ? Origin::Network : Origin::Call;
            break;
        default:
            break;
    }
    if (TakeInitReplay(setting.type, setting.utc)) {
        event.origin = Origin::Init;
    }
    if (setting.type == SetType_stream && event.origin != Origin::Init) {
        m_tableDrove = false;
    }
    if (setting.type == SetType_net) {
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
    } else if (setting.clockResult != 0) {
        m_out.ClockSet(setting.clockResult, setting.utc, Here());
    }
}

void Rebuild::Accepted(int64_t type)
{
    // What the task does besides setting the clock; the subscriptions it
    // takes are told by their own lines, as the platform's state allows them.
    const dak::AcceptedSetting accepted =
        dak::SettingAccepted(static_cast<ETimeSettingType>(type), Reason_init);
    if (accepted.dropsNetworkTime) {
        m_out.Subscription("networktime", false, Here());
    }
    if (accepted.dropsTimeMode) {
        m_out.Subscription("timemode", false, Here());
    }
    if (accepted.setsAutoClock) {
        AutoClock(accepted.autoClock);
    }
}

void Rebuild::Read(const dakhost::LogLine& line, const LibraryMessage& known)
{
    m_copyDue = m_copyArmed;  // only the next message can be the copy
    m_copyArmed = false;
    if (known.whole) {
        // A line cut short or run into may not be of the level it seems.
        m_maxLevel = std::max(m_maxLevel, line.level);
    }
    const bool print = line.via == dakhost::Via::Print;
    // A table's lines end at the first that is neither the stream clock's
    // nor its reading of the base clock or of the system time.
    if (line.function != "SetStreamClock"sv && line.function != "m_GetBaseClock"sv &&
        line.function != "GetSystemTime"sv) {
        FinishTable();
    }
    m_startupReader.Other(known, Here());
    // The task stores the reason a setting leaves before it logs the setting.
    if (print && known.id == Id(msg::kApplying)) {  // "UTC = %lu,  %s"
        m_applyingSeen = true;
        m_clockBefore.reset();
        if (const auto utc = known.Number(0)) {
            m_moments.ClockSetting(*utc);
        }
        const auto type = SetTypeWord(known.Word(1));
        if (m_reason && type) {
            const int left = dak::SettingAccepted(static_cast<ETimeSettingType>(*type),
                                                  static_cast<ESystemTimeReason>(*m_reason))
                                 .reason;
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
        m_decisions->LineRead(line, known);
        TakeDecisions();
    }
    if (line.function == "SetStreamClock"sv) {
        if (print) {
            if (known.id == Id(msg::kTable)) {
                FinishTable();
            }
            m_tables.Line(known, m_line);
        }
    } else if (m_startupReader.Line(line, known, Here())) {
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
        Manager(line, known);
    }
}

bool Rebuild::TakeInitReplay(int64_t type, int64_t utc)
{
    // Start-up replays the hardware clock with the type its stored reason
    // gives, whichever that is.
    const bool replay =
        m_initReplay && m_replay && type == m_replay->first && utc == m_replay->second;
    m_initReplay = false;
    m_replay.reset();
    return replay;
}

// Only the level-1 line of a setting (or its copy, when the line itself was
// damaged): told here, its reasons unknown.
void Rebuild::AppliedAlone(const LibraryMessage& known, bool copy)
{
    const std::string word = known.Word(1);
    const auto type = word == dak::SettingTypeName(static_cast<ETimeSettingType>(3))
                          ? std::optional<int64_t>(-1)
                          : ParseSetType(word);
    const auto utc = known.Number(0);
    if (!type || !utc || !known.whole) {
        ++m_damaged;  // cut short or run into by other text: never decided from
        m_copyArmed = !copy;
        return;
    }
    SettingEvent event;
    event.setting.type = *type;
    event.setting.utc = *utc;
    event.setting.accepted = true;
    event.reasonsKnown = false;
    if (TakeInitReplay(*type, *utc)) {
        event.origin = Origin::Init;
    } else if (*type == SetType_net && m_networkTaken) {
        event.origin = Origin::Network;  // the network time the log told: replayed once
        m_networkTaken = false;
    }
    m_decidedLine = m_line;
    m_moments.ClockSet(event.setting.utc);
    event.clockBefore = m_moments.ClockBefore();
    m_out.Setting(event, Here());
    Accepted(event.setting.type);
    m_out.ClockSet(0, event.setting.utc, Here());
    m_out.Signal(++m_signals, event.setting.type, Here());
}

bool Rebuild::DecisionsLogged() const
{
    return m_maxLevel >= kLevelOfDecisions;
}

void Rebuild::EndFile(uint64_t line)
{
    m_line = line;
    FinishTable();
    m_startupReader.Other(LibraryMessage(), Here());
    if (m_decisions) {
        m_decisions->EndOfLog();
        TakeDecisions();
    }
    if (!m_moments.Stamps()) {
        m_out.Undecided("the lines carry no time stamps: how long anything took", Here());
    } else if (m_moments.HeldJumps() > 0) {
        m_out.Undecided(std::to_string(m_moments.HeldJumps()) +
                            " steps of the stamps back or by a year or more that no move of the "
                            "clock in the log explains: the time they span",
                        Here());
    }
    if (m_moments.UnsplitMoves() > 0) {
        m_out.Undecided(Counted(m_moments.UnsplitMoves(), "move", "moves") +
                            " of the clock that the stamps jumped with, no reading of the clock "
                            "before them (first on line " +
                            std::to_string(m_moments.FirstUnsplit()) +
                            "): how much of each step was time passing",
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
