// The two clocks the library reads from the operating system, behind the
// seam (DakOs.h): the monotonic clock that stream clocks count on and the
// process clock that network time reads.
//
// The monotonic clock reads, in virtual time, a fixed start plus the virtual
// elapsed time that Advance() moves, so stream clocks follow virtual time
// exactly; otherwise the machine's monotonic clock plus whatever Advance()
// added. Setting the platform clock never moves it. The process clock is the
// machine's own time unless a control sets it; then it is virtual, and
// Advance() moves it with the other clocks. Both can be made to fail.
#include <sys/time.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <optional>

#include "Calendar.h"
#include "DakHostControl.h"
#include "DakOs.h"
#include "HostInternal.h"
#include "VirtualClock.h"

namespace {

// Where the virtual monotonic clock starts: a set's uptime when the
// middleware comes up, so that a reading is never 0 (a reading's error value).
constexpr uint64_t kMonotonicStartMs = uint64_t{100} * 1000;

struct OsClocks {
    std::mutex lock;
    std::atomic<int> monotonicFault{0};  // errno of a failing clock_gettime, 0: works
    int processFault = 0;                // errno of a failing gettimeofday/time, 0: works
    // Virtual process clock, a view of the kernel's clock; none: the machine's.
    std::optional<dakhost::kernel::ClockView> process;
};

OsClocks& TheOsClocks()
{
    static OsClocks clocks;
    return clocks;
}

}  // namespace

namespace dakos {

int clock_gettime(clockid_t clock, timespec* now)
{
    if (clock != CLOCK_MONOTONIC) {
        return ::clock_gettime(clock, now);
    }
    const int fault = TheOsClocks().monotonicFault.load(std::memory_order_relaxed);
    if (fault != 0) {
        errno = fault;
        return -1;
    }
    if (now == nullptr) {
        errno = EFAULT;
        return -1;
    }
    const uint64_t ms = dakhost::MonotonicMs();
    now->tv_sec = static_cast<time_t>(ms / 1000);
    now->tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
    return 0;
}

int gettimeofday(timeval* now)
{
    std::optional<int64_t> virtualMs;
    {
        OsClocks& c = TheOsClocks();
        const std::lock_guard<std::mutex> lock(c.lock);
        if (c.processFault != 0) {
            errno = c.processFault;
            return -1;
        }
        if (c.process) {
            virtualMs = c.process->Ms();
        }
    }
    if (!virtualMs) {
        return ::gettimeofday(now, nullptr);
    }
    if (now == nullptr) {
        errno = EFAULT;
        return -1;
    }
    now->tv_sec = static_cast<time_t>(dakcal::FloorDiv(*virtualMs, 1000));
    now->tv_usec =
        static_cast<suseconds_t>((*virtualMs - dakcal::FloorDiv(*virtualMs, 1000) * 1000) * 1000);
    return 0;
}

time_t time(time_t* now)
{
    timeval tv{};
    const time_t result = dakos::gettimeofday(&tv) == 0 ? tv.tv_sec : static_cast<time_t>(-1);
    if (now != nullptr) {
        *now = result;
    }
    return result;
}

}  // namespace dakos

namespace dakhost::detail {

void ResetOsClocks()
{
    OsClocks& c = TheOsClocks();
    const std::lock_guard<std::mutex> lock(c.lock);
    c.monotonicFault.store(0);
    c.processFault = 0;
    c.process.reset();
}

}  // namespace dakhost::detail

namespace dakhost {

uint64_t MonotonicMs()
{
    if (kernel::VirtualTimeOn()) {
        return kMonotonicStartMs + kernel::NowMs();
    }
    timespec real{};
    (void)::clock_gettime(CLOCK_MONOTONIC, &real);
    return static_cast<uint64_t>(real.tv_sec) * 1000 +
           static_cast<uint64_t>(real.tv_nsec) / 1000000 + kernel::NowMs();
}

void FailMonotonic(int code)
{
    OsClocks& c = TheOsClocks();
    const std::lock_guard<std::mutex> lock(c.lock);
    c.monotonicFault.store(code);
}

void SetProcessClock(std::optional<int64_t> utcMs)
{
    OsClocks& c = TheOsClocks();
    const std::lock_guard<std::mutex> lock(c.lock);
    c.process.reset();
    if (utcMs) {
        c.process.emplace(*utcMs);
    }
}

std::optional<int64_t> ProcessClock()
{
    OsClocks& c = TheOsClocks();
    const std::lock_guard<std::mutex> lock(c.lock);
    if (!c.process) {
        return std::nullopt;
    }
    return c.process->Ms();
}

void FailProcessClock(int code)
{
    OsClocks& c = TheOsClocks();
    const std::lock_guard<std::mutex> lock(c.lock);
    c.processFault = code;
}

}  // namespace dakhost
