// The host platform's date conversion and platform clock (a view of the
// kernel's clock), and the controls that set it or make it fail.
#include <cstdint>
#include <mutex>

#include "BPTime.h"
#include "Calendar.h"
#include "DakHostControl.h"
#include "HostInternal.h"
#include "HostProviderState.h"
#include "TCTimeUtility.h"

using dakhost::detail::Providers;
using dakhost::detail::TheProviders;

// ---- date conversion, platform clock ---------------------------------------------------

bool TCTimeUtility::BinaryToDate(unsigned long utc, tm* date)
{
    if (date == nullptr) {
        return false;
    }
    dakcal::CivilFromUtc(static_cast<int64_t>(static_cast<uint64_t>(utc)), date);
    return true;
}

extern "C" int BPTime_get_current_time(unsigned long* utc)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    if (p.failClockGet != 0) {
        return p.failClockGet;
    }
    if (utc == nullptr) {
        return -1;
    }
    *utc = static_cast<unsigned long>(
        static_cast<uint32_t>(static_cast<uint64_t>(p.platformClock.Ms()) / 1000U));
    return 0;
}

extern "C" int BPTime_set_current_time(unsigned long utc)
{
    int result = 0;
    {
        Providers& p = TheProviders();
        const std::lock_guard<std::mutex> lock(p.lock);
        result = p.failClockSet;
        if (result == 0) {
            p.platformClock.Set(static_cast<int64_t>(static_cast<uint32_t>(utc)) * 1000);
        }
    }
    if (dakhost::Observer* observer = dakhost::detail::CurrentObserver()) {
        observer->ClockSet(result, static_cast<uint32_t>(utc));
    }
    return result;
}

// ---- controls -------------------------------------------------------------------------------

namespace dakhost {

void SetPlatformClock(uint32_t utc)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.platformClock.Set(static_cast<int64_t>(utc) * 1000);
}

uint32_t PlatformClock()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return static_cast<uint32_t>(static_cast<uint64_t>(p.platformClock.Ms()) / 1000U);
}

void FailClockGet(int code)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.failClockGet = code;
}

void FailClockSet(int code)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.failClockSet = code;
}

}  // namespace dakhost
