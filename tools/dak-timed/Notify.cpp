#include "Notify.h"

#if DAK_TIMED_SYSTEMD
#include <systemd/sd-daemon.h>
#endif

#include <climits>
#include <cstdint>

namespace dakd {

void Notify(const std::string& state)
{
#if DAK_TIMED_SYSTEMD
    sd_notify(0, state.c_str());
#else
    (void)state;
#endif
}

int WatchdogPeriodMs()
{
#if DAK_TIMED_SYSTEMD
    uint64_t usec = 0;
    if (sd_watchdog_enabled(0, &usec) <= 0) {
        return 0;
    }
    const uint64_t half = usec / 2000U;
    return half == 0 ? 1 : half > INT_MAX ? INT_MAX : static_cast<int>(half);
#else
    return 0;
#endif
}

}  // namespace dakd
