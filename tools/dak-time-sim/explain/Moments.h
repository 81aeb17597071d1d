// The moment of each line of a log: the virtual-time axis of the records and
// the timeline, elapsed from the first stamp of a boot.
//
// One rule for elapsed time. Time since boot (the kernel's, journald's and
// logcat's monotonic stamps) is taken as it is: it does not move when the
// clock is set. A wall stamp (a date and time) is most often written from the
// set's own clock, which the library moves: each move the log shows (a
// setting applied, a sync correction, network time) is taken out of the
// stamps that jump with it. The stamps are taken to jump with the clock when
// they jump by the move, and to come from another clock when they do not.
// Elapsed time never runs back and never takes a step of a year or more; a
// stamp that would is held, and said in the output as time the log cannot
// tell. Only the library's lines move the time (another program's line may
// be stamped after a move the library has not logged yet). A line without a
// stamp takes the last one's.
//
// A stamp without a year takes the year of the clock the library reads and
// logs, or the one the user gives, or else that of the first date it can.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Moment.h"
#include "Stamp.h"

namespace daksim::explain {

class Moments {
public:
    // A new log (`year` for stamps without one, when the user gave it).
    void Reset(std::optional<int64_t> year = std::nullopt);
    // The moment of a line with this stamp (or none); `library`: one of the
    // library's lines.
    const daksim::Moment& Stamped(const std::optional<Stamp>& stamp, bool library = true);
    // A line told the platform clock's reading now.
    void ClockIs(int64_t utc);
    // The library is about to set the platform clock to `utc`.
    void ClockSetting(int64_t utc);
    // The library set the platform clock to `utc` on this line.
    void ClockSet(int64_t utc);
    // The clock that setting replaced, as the log told it and time ran on.
    std::optional<int64_t> ClockBefore() const { return m_clockBefore; }
    // Whether the log's stamps tell elapsed time at all; what they cannot.
    bool Stamps() const { return m_stamps; }
    uint64_t HeldJumps() const { return m_held; }
    // Moves of the clock the stamps jumped with, no reading of the clock
    // just before them telling how much of the step was time passing; the
    // line of the first.
    uint64_t UnsplitMoves() const { return m_unsplit; }
    uint64_t FirstUnsplit() const { return m_firstUnsplit; }
    // The line being read, for what the log cannot tell.
    void Line(uint64_t line) { m_line = line; }
    const daksim::Moment& Now() const { return m_moment; }

private:
    int64_t Wall(const Stamp& stamp, std::optional<int64_t> targetMs) const;
    void Advance(int64_t fromMs, int64_t deltaMs);
    void Update();
    std::optional<int64_t> ClockNowMs() const;

    daksim::Moment m_moment;
    std::optional<int64_t> m_year;       // the user's
    std::optional<int64_t> m_knownYear;  // the set clock's, once told
    int64_t m_elapsedMs = 0;
    std::optional<int64_t> m_lastWallMs;  // of the last library line
    std::optional<int64_t> m_lastUpMs;
    std::optional<int64_t> m_clock;  // the platform clock at m_clockAtMs
    std::optional<int64_t> m_clockBefore;
    int64_t m_clockAtMs = 0;
    std::optional<int64_t> m_target;          // the clock the library is setting, UTC seconds
    bool m_targetShown = false;               // the stamps have jumped by that move
    std::optional<Stamp> m_lineStamp;         // this line's wall stamp
    std::optional<int64_t> m_lineFromWallMs;  // the wall stamp before it
    int64_t m_lineDeltaMs = 0;                // this line's stamp's step from the last one
    int64_t m_lineStartMs = 0;                // elapsed time before this line
    // The largest step of the wall stamps since the clock was last read.
    struct Jump {
        Stamp stamp;
        int64_t fromWallMs = 0;
        int64_t deltaMs = 0;
        int64_t elapsedBeforeMs = 0;
        int64_t elapsedAfterMs = 0;
    };
    std::optional<Jump> m_jump;
    bool m_jumpLine = false;
    bool m_stamps = false;
    uint64_t m_held = 0;
    uint64_t m_unsplit = 0;
    uint64_t m_firstUnsplit = 0;
    uint64_t m_line = 0;
};

}  // namespace daksim::explain
