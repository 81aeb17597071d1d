// The simulation kernel's one clock: a virtual elapsed time, in
// milliseconds since the last restart, that only the time controls move
// (forward). The platform clock, the hardware clock, the process clock and
// the monotonic clock are views of it: each keeps an offset from it, so that
// moving it moves them all at once, and setting a view moves only that view.
#pragma once

#include <cstdint>

namespace dakhost::kernel {

uint64_t NowMs() noexcept;
// Moves now forward to `ms`; an earlier `ms` is ignored.
void MoveTo(uint64_t ms);
// Now back to 0, and every alarm's period starts again.
void Restart();

// Whether alarms measure their periods on this clock (virtual time) or on
// the machine's monotonic clock; the views move with it either way.
bool VirtualTimeOn();
void UseVirtualTime(bool on);

// A clock that reads a value set on it plus the time elapsed since. Its
// owner guards it.
class ClockView {
public:
    explicit ClockView(int64_t ms) noexcept { Set(ms); }
    void Set(int64_t ms) noexcept { m_offsetMs = ms - static_cast<int64_t>(NowMs()); }
    int64_t Ms() const noexcept { return m_offsetMs + static_cast<int64_t>(NowMs()); }

private:
    int64_t m_offsetMs = 0;
};

}  // namespace dakhost::kernel
