// The kernel's clock, and the alarm clock it gives the task framework in
// virtual time: one that runs only when the time controls move it.
#include "VirtualClock.h"

#include <atomic>
#include <mutex>

#include "AlarmClock.h"
#include "Framework.h"

namespace {

// Read without a lock: the monotonic clock reads it on every stream clock
// reading. Constant-initialised.
std::atomic<uint64_t> g_nowMs{0};
std::atomic<bool> g_virtualTime{false};
std::mutex g_moveLock;  // orders the moves of now

class VirtualAlarmClock final : public dakfw::AlarmClock {
public:
    uint64_t NowNs() const override { return dakhost::kernel::NowMs() * 1000000; }
    bool RunsByItself() const override { return false; }
};

VirtualAlarmClock& AlarmClockOfKernel()
{
    static auto* const clock = new VirtualAlarmClock;
    return *clock;
}

}  // namespace

namespace dakhost::kernel {

uint64_t NowMs() noexcept
{
    return g_nowMs.load();
}

void MoveTo(uint64_t ms)
{
    const std::lock_guard<std::mutex> lock(g_moveLock);
    if (ms > g_nowMs.load()) {
        g_nowMs.store(ms);
    }
}

void Restart()
{
    {
        const std::lock_guard<std::mutex> lock(g_moveLock);
        g_nowMs.store(0);
    }
    dakfw::RestartAlarmPeriods();
}

bool VirtualTimeOn()
{
    return g_virtualTime.load();
}

void UseVirtualTime(bool on)
{
    if (g_virtualTime.exchange(on) == on) {
        return;
    }
    dakfw::UseAlarmClock(on ? &AlarmClockOfKernel() : nullptr);
}

}  // namespace dakhost::kernel
