// The moment of each line of a log: the virtual-time axis of the records and
// the timeline. The first stamp is elapsed time 0 (a simulator's stamp says
// its elapsed time itself) and time never runs back; a line without a stamp
// takes the last one's. The platform clock, once a line tells it, runs on
// with the elapsed time.
#pragma once

#include <cstdint>
#include <optional>

#include "Moment.h"
#include "Stamp.h"

namespace daksim::explain {

class Moments {
public:
    void Reset() { *this = Moments(); }
    // The moment of a line with this stamp (or none).
    const daksim::Moment& Stamped(const std::optional<Stamp>& stamp);
    // A line told the platform clock's reading now.
    void ClockIs(int64_t utc);
    const daksim::Moment& Now() const { return m_moment; }

private:
    void Update();

    daksim::Moment m_moment;
    std::optional<int64_t> m_firstMs;
    int64_t m_lastMs = 0;
    std::optional<int64_t> m_clock;  // the platform clock at m_clockAtMs
    int64_t m_clockAtMs = 0;
};

}  // namespace daksim::explain
