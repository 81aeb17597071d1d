#include "Moments.h"

#include <algorithm>
#include <cstdlib>

namespace daksim::explain {

namespace {

constexpr int64_t kDayMs = int64_t{86400} * 1000;
constexpr int64_t kYearMs = 365 * kDayMs;
// A clock read this far from where it should be was moved.
constexpr int64_t kOutsideMoveMs = 2000;

// Whether a step of the stamps is the clock's move rather than time passing.
bool IsTheMove(int64_t deltaMs, int64_t moveMs)
{
    return std::llabs(deltaMs - moveMs) < std::llabs(deltaMs);
}

// A stamp without a year, in the year that puts it nearest `nearMs`.
int64_t Nearest(const Stamp& stamp, int64_t nearMs)
{
    const int64_t year = YearOf(nearMs / 1000);
    int64_t best = InYear(stamp, year);
    for (const int64_t other : {year - 1, year + 1}) {
        const int64_t candidate = InYear(stamp, other);
        if (std::llabs(candidate - nearMs) < std::llabs(best - nearMs)) {
            best = candidate;
        }
    }
    return best;
}

// A step of the stamps within this much is elapsed time either way.
constexpr int64_t kSplitToleranceMs = 1000;

// Whether a wall stamp shows the clock just set to `utc` (the stamps come
// from the clock the library moved).
bool Shows(int64_t wallMs, int64_t utc)
{
    return std::llabs(wallMs - utc * 1000) <= kOutsideMoveMs;
}

}  // namespace

void Moments::Reset(std::optional<int64_t> year)
{
    *this = Moments();
    m_year = year;
}

std::optional<int64_t> Moments::ClockNowMs() const
{
    if (!m_clock) {
        return std::nullopt;
    }
    return *m_clock * 1000 + (m_elapsedMs - m_clockAtMs);
}

int64_t Moments::Wall(const Stamp& stamp, std::optional<int64_t> targetMs) const
{
    if (stamp.kind != Stamp::Kind::Syslog) {
        return stamp.ms;
    }
    if (targetMs) {
        // A stamp from the set's clock after the move: the target's year.
        const int64_t there = Nearest(stamp, *targetMs);
        if (std::llabs(there - *targetMs) < kDayMs) {
            return there;
        }
    }
    if (m_lastWallMs) {
        return Nearest(stamp, *m_lastWallMs);
    }
    if (const auto clock = ClockNowMs()) {
        return Nearest(stamp, *clock);
    }
    return InYear(stamp, m_knownYear.value_or(m_year.value_or(1970)));
}

void Moments::Advance(int64_t fromMs, int64_t deltaMs)
{
    if (deltaMs < 0 || deltaMs >= kYearMs) {
        ++m_held;  // time the log cannot tell: held, never run back
        deltaMs = 0;
    }
    m_elapsedMs = fromMs + deltaMs;
}

const daksim::Moment& Moments::Stamped(const std::optional<Stamp>& stamp, bool library)
{
    m_lineStamp.reset();
    if (!stamp || !library) {
        m_stamps = m_stamps || stamp.has_value();
        return m_moment;
    }
    m_stamps = true;
    m_lineStartMs = m_elapsedMs;
    switch (stamp->kind) {
        case Stamp::Kind::Simulator:
            m_elapsedMs = std::max<int64_t>(stamp->ms, 0);
            m_clock = stamp->clock;
            m_clockAtMs = m_elapsedMs;
            break;
        case Stamp::Kind::Uptime:
            if (m_lastUpMs) {
                Advance(m_elapsedMs, stamp->ms - *m_lastUpMs);
            }
            m_lastUpMs = stamp->ms;
            break;
        case Stamp::Kind::Calendar:
        case Stamp::Kind::Syslog: {
            const std::optional<int64_t> moveTo = m_target && !m_targetShown
                                                      ? std::optional<int64_t>(*m_target * 1000)
                                                      : std::nullopt;
            const int64_t wall = Wall(*stamp, moveTo);
            m_lineStamp = stamp;
            m_lineFromWallMs = m_lastWallMs;
            if (m_lastWallMs) {
                int64_t delta = wall - *m_lastWallMs;
                m_lineDeltaMs = delta;
                if (!m_jump || std::llabs(delta) > std::llabs(m_jump->deltaMs)) {
                    m_jump = Jump{*stamp, *m_lastWallMs, delta, m_elapsedMs, 0};
                    m_jumpLine = true;
                }
                if (moveTo) {
                    const int64_t before = ClockNowMs().value_or(*m_lastWallMs);
                    if (Shows(wall, *moveTo / 1000) && IsTheMove(delta, *moveTo - before)) {
                        delta -= *moveTo - before;
                        m_targetShown = true;
                        m_jump.reset();
                        m_jumpLine = false;
                    }
                }
                Advance(m_elapsedMs, delta);
                if (m_jumpLine) {
                    m_jump->elapsedAfterMs = m_elapsedMs;
                    m_jumpLine = false;
                }
            }
            m_lastWallMs = wall;
            break;
        }
    }
    Update();
    return m_moment;
}

void Moments::ClockIs(int64_t utc)
{
    const auto predicted = ClockNowMs();
    if (predicted && m_jump && std::llabs(utc * 1000 - *predicted) > kOutsideMoveMs) {
        // Moved by something the log does not show: when the stamps jumped
        // by as much since the last reading, they jumped with the clock.
        const int64_t since = std::max<int64_t>(m_elapsedMs - m_jump->elapsedAfterMs, 0);
        const int64_t before = *m_clock * 1000 + (m_jump->elapsedBeforeMs - m_clockAtMs);
        const int64_t move = utc * 1000 - since - before;
        const int64_t wall = Wall(m_jump->stamp, utc * 1000 - since);
        const int64_t delta = wall - m_jump->fromWallMs;
        if (IsTheMove(delta, move)) {
            Advance(m_jump->elapsedBeforeMs, delta - move);
            m_elapsedMs += since;
            if (m_lineStamp) {
                m_lastWallMs = Wall(*m_lineStamp, utc * 1000);
            }
        }
    }
    m_jump.reset();
    if (m_lineStamp && m_lineStamp->kind == Stamp::Kind::Syslog) {
        m_lastWallMs = Nearest(*m_lineStamp, utc * 1000);  // its year is the clock's
    }
    m_clock = utc;
    m_clockAtMs = m_elapsedMs;
    m_knownYear = YearOf(utc);
    Update();
}

void Moments::ClockSetting(int64_t utc)
{
    m_target = utc;
    m_targetShown = false;
}

void Moments::ClockSet(int64_t utc)
{
    const bool shown = m_target == utc && m_targetShown;
    if (!shown && m_lineStamp && m_lineFromWallMs) {
        // The first line after the move (a log without the lines before it):
        // does its stamp jump by the move?
        const int64_t wall = Wall(*m_lineStamp, utc * 1000);
        const int64_t delta = wall - *m_lineFromWallMs;
        const int64_t before = [&] {
            if (!m_clock) {
                return *m_lineFromWallMs;
            }
            return *m_clock * 1000 + (m_lineStartMs - m_clockAtMs);
        }();
        // The stamps jumped with the clock only when they now show the time
        // it was set to; stamps of another clock run on whatever it is set to.
        if (Shows(wall, utc) && IsTheMove(delta, utc * 1000 - before)) {
            Advance(m_lineStartMs, delta - (utc * 1000 - before));
            m_lastWallMs = wall;
            if (!m_target && std::llabs(delta) > kSplitToleranceMs) {
                // No reading of the clock just before it: how much of the
                // step was time passing and how much the move is a guess.
                ++m_unsplit;
                m_firstUnsplit = m_firstUnsplit ? m_firstUnsplit : m_line;
            }
        }
    }
    m_target.reset();
    m_targetShown = false;
    m_jump.reset();  // the log says how the clock moved
    const auto before = ClockNowMs();
    m_clockBefore = before ? std::optional<int64_t>(*before / 1000) : std::nullopt;
    ClockIs(utc);
}

void Moments::Update()
{
    m_moment.elapsedMs = static_cast<uint64_t>(m_elapsedMs);
    const auto clock = ClockNowMs();
    m_moment.clock = clock ? static_cast<uint32_t>(*clock / 1000) : 0U;
}

}  // namespace daksim::explain
