// The set's state rebuilt from the library's messages, in the order the log
// holds them: start-up, each setting and sync (read by the same decisions
// reader a scenario run uses), the hardware clock, network time, stream
// tables, signals 108, the stored reason, the auto clock type and the
// subscriptions. Each thing found is told to the listener as it is found;
// nothing is kept but the current state.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Decisions.h"
#include "Events.h"
#include "LibraryMessages.h"
#include "Moments.h"
#include "Recogniser.h"
#include "Stamp.h"
#include "StartupReader.h"
#include "TableReader.h"

namespace daksim::explain {

class Rebuild {
public:
    explicit Rebuild(Listener& out);

    // `fresh`: the file starts from a fresh platform (a simulator's file),
    // whose stored reason is Reason_init.
    // `boot`: a new boot of the set the log went on with.
    void BeginFile(const std::string& name, uint64_t line, bool fresh, bool boot = false);
    // Every line of the log, the library's (`message`) or not: the stamps of
    // the others keep the moments going too.
    void Line(uint64_t line, const std::optional<Stamp>& stamp, const Message* message);
    // The simulator echoed a step that calls the manager: the setting it asks for.
    void CallStep(std::optional<int64_t> type, int64_t utc);
    // The simulator echoed a step that hands a table to stream clock `handle`.
    void StreamStep(const std::string& handle);
    // The simulator echoed a step that wrote the stored reason.
    void ReasonStep(int reason);
    // What the log cannot tell, said in the part being read.
    void Undecided(const std::string& what) { m_out.Undecided(what, Here()); }
    // Whether the part read so far holds the manager's level-4 lines.
    bool DecisionsLogged() const;
    void EndFile(uint64_t line);
    // The year of stamps without one, until the log tells it (`--year`).
    void YearOfStamps(std::optional<int64_t> year) { m_year = year; }
    // The library's messages cut short or run into by other text, passed over.
    uint64_t Damaged() const { return m_damaged; }

private:
    void Read(const dakhost::LogLine& line, const LibraryMessage& known);
    void Manager(const dakhost::LogLine& line, const LibraryMessage& known);
    void AppliedAlone(const LibraryMessage& known, bool copy);
    // Whether a setting is start-up's replay of the hardware clock; the
    // replay is due no more after the first setting.
    bool TakeInitReplay(int64_t type, int64_t utc);
    void ReasonSeen(int reason);
    void AutoClock(int value);
    void FinishTable();
    void TakeDecisions();
    void FromDecisions(const Decisions::Setting& setting);
    void Accepted(int64_t type);
    At Here() const { return {m_line, m_moments.Now()}; }

    Listener& m_out;
    std::unique_ptr<Decisions> m_decisions;
    uint64_t m_decidedLine = 0;  // the line of the decisions reader's last setting
    uint64_t m_line = 0;
    uint64_t m_damaged = 0;
    Moments m_moments;
    StartupReader m_startupReader;
    TableReader m_tables;

    std::optional<int> m_reason;
    std::optional<int> m_autoClock;
    std::optional<int64_t> m_clockBefore;
    std::optional<std::pair<int64_t, int64_t>> m_replay;  // start-up's replay: its type and time
    std::optional<int64_t> m_year;
    int m_signals = 0;
    int m_maxLevel = 0;
    bool m_echoes = false;        // the simulator's step echoes say what each call asks for
    bool m_applyingSeen = false;  // the setting the task is applying: its first line seen
    bool m_networkTaken = false;
    bool m_syncSetting = false;  // a sync just asked to set the platform clock
    bool m_initReplay = false;   // start-up just asked to replay the hardware clock
    bool m_tableDrove = false;   // the last table asked the manager
    // A setting's level-1 line was damaged: its copy, the next message, tells it.
    bool m_copyArmed = false;
    bool m_copyDue = false;
};

}  // namespace daksim::explain
