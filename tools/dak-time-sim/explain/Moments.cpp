#include "Moments.h"

#include <algorithm>

namespace daksim::explain {

const daksim::Moment& Moments::Stamped(const std::optional<Stamp>& stamp)
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
    Update();
    return m_moment;
}

void Moments::ClockIs(int64_t utc)
{
    m_clock = utc;
    m_clockAtMs = m_lastMs;
    Update();
}

void Moments::Update()
{
    m_moment.elapsedMs = static_cast<uint64_t>(m_lastMs);
    m_moment.clock =
        m_clock ? static_cast<uint32_t>(*m_clock + (m_lastMs - m_clockAtMs) / 1000) : 0U;
}

}  // namespace daksim::explain
