// The fake hardware clock "/dev/rtc0", behind the operating-system seam
// (DakOs.h) that the library calls instead of the C library: opening
// "/dev/rtc0" while the fake is on hands out a descriptor of the fake's own
// (a number the kernel never gives out), which ioctl then serves from the
// stored time. With the fake off, and for any other path or descriptor, the
// seam calls the C library unchanged. Nothing of the C library is replaced:
// a program that links the platform keeps its own open, ioctl and close.
#include <fcntl.h>
#include <linux/rtc.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <mutex>
#include <optional>

#include "Calendar.h"
#include "DakHostControl.h"
#include "DakOs.h"
#include "HostInternal.h"
#include "VirtualClock.h"

namespace {

constexpr const char* kRtcPath = "/dev/rtc0";
constexpr int64_t kInitialUtcMs = 1704067200LL * 1000;  // 2024-01-01T00:00:00Z
constexpr int kMaxFakeDescriptors = 16;

std::mutex g_rtcLock;
// A view of the kernel's clock, so that Advance() moves it.
dakhost::kernel::ClockView g_rtc{kInitialUtcMs};
bool g_rtcPresent = true;
bool g_rtcFake = true;
bool g_failRead = false;
bool g_failWrite = false;
int g_rtcWrites = 0;
// Registers set verbatim (a dead or corrupted chip): RTC_RD_TIME hands them
// back as they are until the clock is set again.
bool g_rtcRaw = false;
rtc_time g_rtcRawTime{};
// Descriptors handed out for "/dev/rtc0": kFakeFdBase + slot, above any
// number the kernel hands out, so a real descriptor is never taken for the
// clock.
constexpr int kFakeFdBase = 1 << 29;
bool g_fakeFdUsed[kMaxFakeDescriptors] = {};

using RtcLock = std::lock_guard<std::mutex>;

bool IsRtcPath(const char* path)
{
    return path != nullptr && std::strcmp(path, kRtcPath) == 0;
}

// The slot of a fake descriptor, or -1. Called with the lock held.
int FakeSlot(int fd)
{
    const int slot = fd - kFakeFdBase;
    if (fd < kFakeFdBase || slot >= kMaxFakeDescriptors || !g_fakeFdUsed[slot]) {
        return -1;
    }
    return slot;
}

void FillRtcTime(int64_t ms, rtc_time* out)
{
    tm civil{};
    dakcal::CivilFromUtc(dakcal::FloorDiv(ms, 1000), &civil);
    *out = rtc_time{civil.tm_sec,  civil.tm_min,  civil.tm_hour,
                    civil.tm_mday, civil.tm_mon,  civil.tm_year,
                    civil.tm_wday, civil.tm_yday, 0};
}

int64_t UtcOfRtcTime(const rtc_time& time)
{
    return dakcal::UtcFromCivil(int64_t{time.tm_year} + 1900, time.tm_mon + 1, time.tm_mday,
                                time.tm_hour, time.tm_min, time.tm_sec);
}

// Checks a calendar time the way the kernel's RTC core does.
bool ValidRtcTime(const rtc_time& time)
{
    if (time.tm_year < 70 || time.tm_mon < 0 || time.tm_mon > 11 || time.tm_mday < 1 ||
        time.tm_hour < 0 || time.tm_hour > 23 || time.tm_min < 0 || time.tm_min > 59 ||
        time.tm_sec < 0 || time.tm_sec > 59) {
        return false;
    }
    // A day past the month's end comes back as a day of the next month.
    tm civil{};
    dakcal::CivilFromUtc(UtcOfRtcTime(time), &civil);
    return civil.tm_mday == time.tm_mday;
}

// Serves a request on a fake descriptor; *handled is false for other ones.
int RtcIoctl(int fd, unsigned long request, void* arg, bool* handled)
{
    const RtcLock lock(g_rtcLock);
    *handled = FakeSlot(fd) >= 0;
    if (!*handled) {
        return 0;
    }
    if (request == RTC_RD_TIME) {
        if (g_failRead) {
            errno = EIO;
            return -1;
        }
        if (arg == nullptr) {
            errno = EFAULT;
            return -1;
        }
        if (g_rtcRaw) {
            *static_cast<rtc_time*>(arg) = g_rtcRawTime;
        } else {
            FillRtcTime(g_rtc.Ms(), static_cast<rtc_time*>(arg));
        }
        return 0;
    }
    if (request == RTC_SET_TIME) {
        if (g_failWrite) {
            errno = EIO;
            return -1;
        }
        if (arg == nullptr) {
            errno = EFAULT;
            return -1;
        }
        rtc_time time{};
        std::memcpy(&time, arg, sizeof time);
        if (!ValidRtcTime(time)) {
            errno = EINVAL;
            return -1;
        }
        g_rtc.Set(UtcOfRtcTime(time) * 1000);
        g_rtcRaw = false;
        ++g_rtcWrites;
        return 0;
    }
    errno = ENOTTY;
    return -1;
}

// Tells the observer of a read or a write on the fake clock, outside its lock.
void NotifyObserver(unsigned long request, const void* arg, int result)
{
    dakhost::Observer* observer = dakhost::detail::CurrentObserver();
    if (observer == nullptr || arg == nullptr ||
        (request != RTC_RD_TIME && request != RTC_SET_TIME)) {
        return;
    }
    rtc_time time{};
    std::memcpy(&time, arg, sizeof time);
    // A failed read leaves the caller's record as it was, and registers
    // played verbatim need not be a calendar time: no time to tell then.
    std::optional<int64_t> utc;
    if ((request != RTC_RD_TIME || result == 0) && ValidRtcTime(time)) {
        utc = UtcOfRtcTime(time);
    }
    if (request == RTC_RD_TIME) {
        observer->RtcRead(result == 0, utc);
    } else {
        observer->RtcWritten(result == 0, utc);
    }
}

}  // namespace

// ---- the seam's hardware-clock device ------------------------------------------------

namespace dakos {

int open(const char* path, int flags)
{
    if (IsRtcPath(path)) {
        const RtcLock lock(g_rtcLock);
        if (g_rtcFake) {
            if (!g_rtcPresent) {
                errno = ENOENT;
                return -1;
            }
            for (int slot = 0; slot < kMaxFakeDescriptors; ++slot) {
                if (!g_fakeFdUsed[slot]) {
                    g_fakeFdUsed[slot] = true;
                    return kFakeFdBase + slot;
                }
            }
            errno = EMFILE;
            return -1;
        }
    }
    return ::open(path, flags);
}

int ioctl(int fd, unsigned long request, void* arg)
{
    bool handled = false;
    const int result = RtcIoctl(fd, request, arg, &handled);
    if (handled) {
        NotifyObserver(request, arg, result);
        return result;
    }
    return ::ioctl(fd, request, arg);
}

int close(int fd)
{
    {
        const RtcLock lock(g_rtcLock);
        const int slot = FakeSlot(fd);
        if (slot >= 0) {
            g_fakeFdUsed[slot] = false;
            return 0;
        }
    }
    return ::close(fd);
}

}  // namespace dakos

// ---- controls ------------------------------------------------------------------------------

namespace dakhost::detail {

void ResetRtc()
{
    const RtcLock lock(g_rtcLock);
    g_rtc.Set(kInitialUtcMs);
    g_rtcPresent = true;
    g_rtcFake = true;
    g_failRead = false;
    g_failWrite = false;
    g_rtcWrites = 0;
    g_rtcRaw = false;
}

}  // namespace dakhost::detail

namespace dakhost {

void SetRtc(int64_t utc)
{
    const RtcLock lock(g_rtcLock);
    g_rtc.Set(utc * 1000);
    g_rtcRaw = false;
}

void SetRtcRaw(const rtc_time& registers)
{
    const RtcLock lock(g_rtcLock);
    g_rtcRawTime = registers;
    g_rtcRaw = true;
}

int64_t Rtc()
{
    const RtcLock lock(g_rtcLock);
    if (g_rtcRaw) {
        // Any month runs over into the years, without overflow.
        const int64_t months = g_rtcRawTime.tm_mon;
        const int64_t year = int64_t{g_rtcRawTime.tm_year} + 1900 + dakcal::FloorDiv(months, 12);
        const auto month = static_cast<int>(months - dakcal::FloorDiv(months, 12) * 12 + 1);
        return dakcal::UtcFromCivil(year, month, g_rtcRawTime.tm_mday, g_rtcRawTime.tm_hour,
                                    g_rtcRawTime.tm_min, g_rtcRawTime.tm_sec);
    }
    return dakcal::FloorDiv(g_rtc.Ms(), 1000);
}

void SetRtcPresent(bool present)
{
    const RtcLock lock(g_rtcLock);
    g_rtcPresent = present;
}

void FailRtcRead(bool fail)
{
    const RtcLock lock(g_rtcLock);
    g_failRead = fail;
}

void FailRtcWrite(bool fail)
{
    const RtcLock lock(g_rtcLock);
    g_failWrite = fail;
}

int RtcWrites()
{
    const RtcLock lock(g_rtcLock);
    return g_rtcWrites;
}

void SetRtcFake(bool enabled)
{
    const RtcLock lock(g_rtcLock);
    g_rtcFake = enabled;
}

}  // namespace dakhost
