// The time zone of the operating-system seam, as both of the project's
// platforms give it: the C library's own zone code, which reads the zone
// from the process's TZ or /etc/localtime. The host's controls choose the
// zone through TZ (HostTimeZone.cpp); the Linux platform takes the box's.
#include <ctime>

#include "DakOs.h"

namespace dakos {

void tzset()
{
    ::tzset();
}

long timezone()
{
    return ::timezone;
}

tm* localtime_r(const time_t* time, tm* out)
{
    return ::localtime_r(time, out);
}

time_t mktime(tm* date)
{
    return ::mktime(date);
}

}  // namespace dakos
