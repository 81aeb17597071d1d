// What the library takes from the operating system: the hardware clock
// device "/dev/rtc0" (open, the RTC_RD_TIME / RTC_SET_TIME requests, close),
// the monotonic clock that stream clocks count on, the process clock that
// network time reads, and the time zone it reads local time by (tzset, the
// standard offset `timezone`, localtime_r, mktime). The library calls these,
// never the C library directly.
//
// On the set (an external platform) each one is the C library's own
// function, inline: the built library calls open, ioctl, close,
// clock_gettime, gettimeofday, time and the time zone's functions exactly as
// before, and a platform provides nothing for it. Built on one of the
// project's platforms (DAK_OS_SEAM), the platform defines them: the host
// substitute with its virtual device and clocks, which tests and the
// simulator control; the Linux platform with the configured hardware-clock
// device (a file in a dry run) and the C library's clocks. Neither replaces
// the C library's symbols, so a program linking the library keeps its own.
#pragma once

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <unistd.h>

#include <ctime>

namespace dakos {

#if defined(DAK_OS_SEAM)

#define DAK_OS_API __attribute__((visibility("default")))
DAK_OS_API int open(const char* path, int flags);
DAK_OS_API int ioctl(int fd, unsigned long request, void* arg);
DAK_OS_API int close(int fd);
DAK_OS_API int clock_gettime(clockid_t clock, timespec* now);
DAK_OS_API int gettimeofday(timeval* now);
DAK_OS_API time_t time(time_t* now);
DAK_OS_API void tzset();
// Seconds west of UTC of the zone's standard time, as the C library's
// `timezone` after tzset().
DAK_OS_API long timezone();
DAK_OS_API tm* localtime_r(const time_t* time, tm* out);
DAK_OS_API time_t mktime(tm* date);
#undef DAK_OS_API

#else

inline int open(const char* path, int flags)
{
    return ::open(path, flags);
}

inline int ioctl(int fd, unsigned long request, void* arg)
{
    return ::ioctl(fd, request, arg);
}

inline int close(int fd)
{
    return ::close(fd);
}

inline int clock_gettime(clockid_t clock, timespec* now)
{
    return ::clock_gettime(clock, now);
}

inline int gettimeofday(timeval* now)
{
    return ::gettimeofday(now, nullptr);
}

inline time_t time(time_t* now)
{
    return ::time(now);
}

inline void tzset()
{
    ::tzset();
}

inline long timezone()
{
    return ::timezone;
}

inline tm* localtime_r(const time_t* time, tm* out)
{
    return ::localtime_r(time, out);
}

inline time_t mktime(tm* date)
{
    return ::mktime(date);
}

#endif

}  // namespace dakos
