#include "Moment.h"

#include <cinttypes>
#include <cstdio>

#include "DakHostControl.h"
#include "TimeText.h"

namespace daksim {

Moment Now()
{
    return {dakhost::VirtualElapsedMs(), dakhost::PlatformClock()};
}

std::string ElapsedText(uint64_t elapsedMs)
{
    const uint64_t seconds = elapsedMs / 1000U;
    char text[64];
    std::snprintf(text, sizeof text, "+%" PRIu64 "d %02u:%02u:%02u.%03u", seconds / 86400U,
                  static_cast<unsigned>(seconds / 3600U % 24U),
                  static_cast<unsigned>(seconds / 60U % 60U), static_cast<unsigned>(seconds % 60U),
                  static_cast<unsigned>(elapsedMs % 1000U));
    return text;
}

std::string MomentText(const Moment& moment)
{
    return IsoFromUtc(moment.clock) + " " + ElapsedText(moment.elapsedMs);
}

}  // namespace daksim
