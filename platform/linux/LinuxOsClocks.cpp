// The clocks of the operating-system seam on Linux: the C library's own
// (the time zone is platform/os/DakOsTimeZone.cpp, the same as the host's).
// Apart from the hardware clock's file (LinuxRtc.cpp), since these pass the
// library's time_t and must be built with its width.
#include <sys/time.h>

#include <ctime>

#include "DakOs.h"

namespace dakos {

int clock_gettime(clockid_t clock, timespec* now)
{
    return ::clock_gettime(clock, now);
}

int gettimeofday(timeval* now)
{
    return ::gettimeofday(now, nullptr);
}

time_t time(time_t* now)
{
    return ::time(now);
}

}  // namespace dakos
