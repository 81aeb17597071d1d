// Back to the initial state of a freshly started set.
#include <cstdlib>
#include <ctime>

#include "DakHostControl.h"
#include "HostInternal.h"

namespace dakhost {

void Reset()
{
    setenv("TZ", "UTC0", 1);
    tzset();
    detail::ResetProviders();
    detail::ResetRtc();
    detail::ResetFrameworkFaults();
    detail::RestartAlarmPeriods();
    detail::ResetLogs();
}

}  // namespace dakhost
