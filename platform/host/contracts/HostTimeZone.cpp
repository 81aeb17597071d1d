// The set's time zone, which the controls set (SetTimeZone; "UTC0" after
// Reset) as a POSIX TZ rule or a zone name. The seam reads it with the C
// library's own zone code and zone files (platform/os/DakOsTimeZone.cpp),
// which take the zone from the process's TZ: the control hands it over
// there, the one place the host touches TZ.
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <string>

#include "DakHostControl.h"
#include "DakOs.h"

namespace {

std::mutex g_zoneLock;

// Never destroyed: a static destructor may still read the zone.
std::string& Zone()
{
    static auto* const zone = new std::string("UTC0");
    return *zone;
}

}  // namespace

namespace dakhost {

void SetTimeZone(const std::string& zone)
{
    const std::lock_guard<std::mutex> lock(g_zoneLock);
    Zone() = zone;
    setenv("TZ", Zone().c_str(), 1);
    ::tzset();
}

std::string TimeZone()
{
    const std::lock_guard<std::mutex> lock(g_zoneLock);
    return Zone();
}

}  // namespace dakhost
