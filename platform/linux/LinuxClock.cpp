// The platform clock on Linux: CLOCK_REALTIME, read with clock_gettime and
// set with clock_settime (CAP_SYS_TIME). In dry run the clock is this
// process's own: an offset over the real clock, moved by the library's
// settings, while the machine's clock is left alone.
//
// The kernel's own hardware-clock update. With CONFIG_RTC_SYSTOHC the kernel
// copies the system time into the RTC every 11 minutes, but only while an NTP
// client keeps the kernel synchronised (STA_UNSYNC clear). A clock_settime
// sets STA_UNSYNC again, so once the library has set the clock from a stream
// or by hand the kernel stops writing the RTC; from then on the library's own
// writes (after each accepted setting, and in its 30 s sync) are the only
// ones. While an NTP client does hold the kernel synchronised, the kernel
// writes the very system time that the library follows as network time, so
// the two writers agree. Nothing is done to the kernel's update: the stance
// is that the library writes the RTC itself, and a box that wants stream
// time to rule runs no NTP client beside it.
#include <cerrno>
#include <cstring>
#include <ctime>
#include <mutex>

#include "BPTime.h"
#include "LinuxInternal.h"
#include "TCTimeUtility.h"

namespace {

struct PlatformClock {
    std::mutex lock;
    bool dryRun = false;
    int64_t dryRunOffset = 0;  // seconds added to the real clock
};

PlatformClock& C()
{
    static auto* const clock = new PlatformClock;
    return *clock;
}

}  // namespace

namespace daklinux::detail {

int64_t RealNow()
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<int64_t>(now.tv_sec);
}

void ConfigureClock(const Options& options)
{
    PlatformClock& c = C();
    const std::lock_guard<std::mutex> lock(c.lock);
    c.dryRun = options.dryRun;
    c.dryRunOffset = 0;
}

uint32_t PlatformClockNow()
{
    PlatformClock& c = C();
    const std::lock_guard<std::mutex> lock(c.lock);
    return static_cast<uint32_t>(RealNow() + (c.dryRun ? c.dryRunOffset : 0));
}

}  // namespace daklinux::detail

bool TCTimeUtility::BinaryToDate(unsigned long utc, tm* date)
{
    if (date == nullptr) {
        return false;
    }
    // unsigned long is 32 bits on the set: the same seconds on a 64-bit host.
    const auto seconds = static_cast<time_t>(static_cast<uint32_t>(utc));
    return ::gmtime_r(&seconds, date) != nullptr;
}

using daklinux::detail::RealNow;

extern "C" int BPTime_get_current_time(unsigned long* utc)
{
    if (utc == nullptr) {
        return -1;
    }
    *utc = daklinux::detail::PlatformClockNow();
    // The library reads the clock at least every 30 s (its sync): a cheap
    // look at the kernel's synchronisation state rides along.
    daklinux::detail::CheckNetworkState();
    return 0;
}

extern "C" int BPTime_set_current_time(unsigned long utc)
{
    const auto target = static_cast<int64_t>(static_cast<uint32_t>(utc));
    PlatformClock& c = C();
    const std::lock_guard<std::mutex> lock(c.lock);
    if (c.dryRun) {
        c.dryRunOffset = target - RealNow();
        daklinux::detail::Log(4, "platform clock (dry run) set to %lld",
                              static_cast<long long>(target));
        return 0;
    }
    timespec value{};
    value.tv_sec = static_cast<time_t>(target);
    if (::clock_settime(CLOCK_REALTIME, &value) != 0) {
        const int error = errno;
        daklinux::detail::Log(1, "clock_settime(%lld) failed: %s", static_cast<long long>(target),
                              std::strerror(error));
        return error != 0 ? error : -1;
    }
    return 0;
}
