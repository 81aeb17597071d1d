// The fake hardware clock "/dev/rtc0". The host platform interposes the C
// library's open, ioctl and close: opening "/dev/rtc0" while the fake is on
// hands out a real descriptor (reserved on "/dev/null") that ioctl then serves
// from the stored time; every other call goes to the kernel unchanged.
//
// These functions may run before any static initialiser of the process, so
// their state is constant-initialised and guarded by a plain pthread mutex.
// They also run inside the sanitizers' runtimes (a race report's symboliser
// opens and closes files): the set of fake descriptors is therefore read
// without the lock, and the interposed entry points are not instrumented by
// the thread sanitizer, so that they can never start a nested report.
// The C library's own declarations of open and ioctl are not included here:
// on some builds they are renamed (large-file and 64-bit time variants), and
// this file must define exactly the symbols named below.
#include <linux/fcntl.h>
#include <linux/rtc.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <iterator>
#include <optional>

#include "DakHostControl.h"
#include "HostInternal.h"

#define DAK_NOT_INSTRUMENTED __attribute__((no_sanitize("thread")))
#define DAK_INTERPOSE extern "C" __attribute__((visibility("default"))) DAK_NOT_INSTRUMENTED

namespace {

constexpr const char* kRtcPath = "/dev/rtc0";
constexpr int64_t kInitialUtcMs = 1704067200LL * 1000;  // 2024-01-01T00:00:00Z
constexpr int kMaxFakeDescriptors = 16;

pthread_mutex_t g_rtcLock = PTHREAD_MUTEX_INITIALIZER;
int64_t g_rtcMs = kInitialUtcMs;
bool g_rtcPresent = true;
bool g_rtcFake = true;
bool g_failRead = false;
bool g_failWrite = false;
int g_rtcWrites = 0;
// Registers set verbatim (a dead or corrupted chip): RTC_RD_TIME hands them
// back as they are until the clock is set again.
bool g_rtcRaw = false;
rtc_time g_rtcRawTime{};
// Descriptors handed out for "/dev/rtc0" (-1: free slot).
std::atomic<int> g_fakeFds[kMaxFakeDescriptors] = {-1, -1, -1, -1, -1, -1, -1, -1,
                                                   -1, -1, -1, -1, -1, -1, -1, -1};
// Descriptors of the clock that were closed, kept open on "/dev/null" for the
// next open (-1: free slot): opening and closing the clock, which the library
// does for every reading and setting, costs no system call after the first.
// A kept descriptor is no longer the clock; the kernel answers for it.
std::atomic<int> g_keptFds[kMaxFakeDescriptors] = {-1, -1, -1, -1, -1, -1, -1, -1,
                                                   -1, -1, -1, -1, -1, -1, -1, -1};

// A kept descriptor, or a new one on "/dev/null".
DAK_NOT_INSTRUMENTED long TakeDescriptor()
{
    for (std::atomic<int>& kept : g_keptFds) {
        const int fd = kept.exchange(-1);
        if (fd >= 0) {
            return fd;
        }
    }
    return syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDWR | O_CLOEXEC, 0);
}

// Keeps a closed clock's descriptor for the next open; false when every
// slot is taken and it must really be closed.
DAK_NOT_INSTRUMENTED bool KeepDescriptor(int fd)
{
    for (std::atomic<int>& kept : g_keptFds) {
        int free = -1;
        if (kept.compare_exchange_strong(free, fd)) {
            return true;
        }
    }
    return false;
}

class RtcLock {
public:
    DAK_NOT_INSTRUMENTED RtcLock() { pthread_mutex_lock(&g_rtcLock); }
    DAK_NOT_INSTRUMENTED ~RtcLock() { pthread_mutex_unlock(&g_rtcLock); }
    RtcLock(const RtcLock&) = delete;
    RtcLock& operator=(const RtcLock&) = delete;
};

int64_t FloorDiv64(int64_t value, int64_t by)
{
    int64_t quotient = value / by;
    if (value % by < 0) {
        --quotient;
    }
    return quotient;
}

long RealOpenAt(int dirfd, const char* path, int flags, unsigned int mode)
{
    return syscall(SYS_openat, dirfd, path, flags, mode);
}

bool IsRtcPath(const char* path)
{
    return path != nullptr && std::strcmp(path, kRtcPath) == 0;
}

DAK_NOT_INSTRUMENTED bool IsFake(int fd)
{
    return fd >= 0 && std::any_of(std::begin(g_fakeFds), std::end(g_fakeFds),
                                  [fd](const std::atomic<int>& held) { return held.load() == fd; });
}

// Opens "/dev/rtc0" when the fake serves it; *handled is false otherwise.
DAK_NOT_INSTRUMENTED int OpenRtc(const char* path, bool* handled)
{
    *handled = false;
    if (!IsRtcPath(path)) {
        return -1;
    }
    const RtcLock lock;
    if (!g_rtcFake) {
        return -1;
    }
    *handled = true;
    if (!g_rtcPresent) {
        errno = ENOENT;
        return -1;
    }
    for (std::atomic<int>& slot : g_fakeFds) {
        if (slot.load() < 0) {
            const long fd = TakeDescriptor();
            if (fd < 0) {
                return -1;
            }
            slot.store(static_cast<int>(fd));
            return static_cast<int>(fd);
        }
    }
    errno = EMFILE;
    return -1;
}

DAK_NOT_INSTRUMENTED int OpenAny(int dirfd, const char* path, int flags, unsigned int mode)
{
    bool handled = false;
    const int fd = OpenRtc(path, &handled);
    if (handled) {
        return fd;
    }
    return static_cast<int>(RealOpenAt(dirfd, path, flags, mode));
}

bool NeedsMode(int flags)
{
    return (flags & O_CREAT) != 0 || (flags & __O_TMPFILE) == __O_TMPFILE;
}

int LargeFile(int flags)
{
#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
    return flags | O_LARGEFILE;
#else
    return flags;
#endif
}

void FillRtcTime(int64_t ms, rtc_time* out)
{
    tm civil{};
    dakhost::CivilFromUtc(FloorDiv64(ms, 1000), &civil);
    *out = rtc_time{civil.tm_sec,  civil.tm_min,  civil.tm_hour,
                    civil.tm_mday, civil.tm_mon,  civil.tm_year,
                    civil.tm_wday, civil.tm_yday, 0};
}

int64_t UtcOfRtcTime(const rtc_time& time)
{
    return dakhost::UtcFromCivil(int64_t{time.tm_year} + 1900, time.tm_mon + 1, time.tm_mday,
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
    dakhost::CivilFromUtc(UtcOfRtcTime(time), &civil);
    return civil.tm_mday == time.tm_mday;
}

// Serves a request on a fake descriptor; *handled is false for other ones.
DAK_NOT_INSTRUMENTED int RtcIoctl(int fd, unsigned long request, void* arg, bool* handled)
{
    *handled = IsFake(fd);
    if (!*handled) {
        return 0;
    }
    const RtcLock lock;
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
            FillRtcTime(g_rtcMs, static_cast<rtc_time*>(arg));
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
        g_rtcMs = UtcOfRtcTime(time) * 1000;
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

DAK_NOT_INSTRUMENTED int IoctlAny(int fd, unsigned long request, void* arg)
{
    bool handled = false;
    const int result = RtcIoctl(fd, request, arg, &handled);
    if (handled) {
        NotifyObserver(request, arg, result);
        return result;
    }
    return static_cast<int>(syscall(SYS_ioctl, fd, request, arg));
}

}  // namespace

// ---- the interposed C library calls ------------------------------------------------

DAK_INTERPOSE int open(const char* path, int flags, ...)
{
    unsigned int mode = 0;
    if (NeedsMode(flags)) {
        va_list args;
        va_start(args, flags);
        mode = va_arg(args, unsigned int);
        va_end(args);
    }
    return OpenAny(AT_FDCWD, path, flags, mode);
}

DAK_INTERPOSE int open64(const char* path, int flags, ...)
{
    unsigned int mode = 0;
    if (NeedsMode(flags)) {
        va_list args;
        va_start(args, flags);
        mode = va_arg(args, unsigned int);
        va_end(args);
    }
    return OpenAny(AT_FDCWD, path, LargeFile(flags), mode);
}

DAK_INTERPOSE int __open_2(const char* path, int flags)
{
    return OpenAny(AT_FDCWD, path, flags, 0);
}

DAK_INTERPOSE int __open64_2(const char* path, int flags)
{
    return OpenAny(AT_FDCWD, path, LargeFile(flags), 0);
}

DAK_INTERPOSE int openat(int dirfd, const char* path, int flags, ...)
{
    unsigned int mode = 0;
    if (NeedsMode(flags)) {
        va_list args;
        va_start(args, flags);
        mode = va_arg(args, unsigned int);
        va_end(args);
    }
    return OpenAny(dirfd, path, flags, mode);
}

DAK_INTERPOSE int openat64(int dirfd, const char* path, int flags, ...)
{
    unsigned int mode = 0;
    if (NeedsMode(flags)) {
        va_list args;
        va_start(args, flags);
        mode = va_arg(args, unsigned int);
        va_end(args);
    }
    return OpenAny(dirfd, path, LargeFile(flags), mode);
}

DAK_INTERPOSE int ioctl(int fd, unsigned long request, ...)
{
    va_list args;
    va_start(args, request);
    void* arg = va_arg(args, void*);
    va_end(args);
    return IoctlAny(fd, request, arg);
}

#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
// The 64-bit time variant that 32-bit builds with 64-bit time_t call.
DAK_INTERPOSE int __ioctl_time64(int fd, unsigned long request, ...)
{
    va_list args;
    va_start(args, request);
    void* arg = va_arg(args, void*);
    va_end(args);
    return IoctlAny(fd, request, arg);
}
#endif

DAK_INTERPOSE int close(int fd)
{
    // Forgotten before the number is released or kept, so that a later open
    // that gets the same number is never mistaken for the clock.
    bool wasClock = false;
    for (std::atomic<int>& slot : g_fakeFds) {
        int held = fd;
        if (fd >= 0 && slot.compare_exchange_strong(held, -1)) {
            wasClock = true;
        }
    }
    if (wasClock && KeepDescriptor(fd)) {
        return 0;
    }
    return static_cast<int>(syscall(SYS_close, fd));
}

// ---- controls ------------------------------------------------------------------------------

namespace dakhost::detail {

void MoveRtcMs(uint64_t ms)
{
    const RtcLock lock;
    g_rtcMs += static_cast<int64_t>(ms);  // raw registers stand still
}

void ResetRtc()
{
    const RtcLock lock;
    g_rtcMs = kInitialUtcMs;
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
    const RtcLock lock;
    g_rtcMs = utc * 1000;
    g_rtcRaw = false;
}

void SetRtcRaw(const rtc_time& registers)
{
    const RtcLock lock;
    g_rtcRawTime = registers;
    g_rtcRaw = true;
}

int64_t Rtc()
{
    const RtcLock lock;
    if (g_rtcRaw) {
        // Any month runs over into the years, without overflow.
        const int64_t months = g_rtcRawTime.tm_mon;
        const int64_t year = int64_t{g_rtcRawTime.tm_year} + 1900 + FloorDiv64(months, 12);
        const auto month = static_cast<int>(months - FloorDiv64(months, 12) * 12 + 1);
        return dakhost::UtcFromCivil(year, month, g_rtcRawTime.tm_mday, g_rtcRawTime.tm_hour,
                                     g_rtcRawTime.tm_min, g_rtcRawTime.tm_sec);
    }
    return FloorDiv64(g_rtcMs, 1000);
}

void SetRtcPresent(bool present)
{
    const RtcLock lock;
    g_rtcPresent = present;
}

void FailRtcRead(bool fail)
{
    const RtcLock lock;
    g_failRead = fail;
}

void FailRtcWrite(bool fail)
{
    const RtcLock lock;
    g_failWrite = fail;
}

int RtcWrites()
{
    const RtcLock lock;
    return g_rtcWrites;
}

void SetRtcFake(bool enabled)
{
    const RtcLock lock;
    g_rtcFake = enabled;
}

}  // namespace dakhost
