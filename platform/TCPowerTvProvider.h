// Power state of the set.
#pragma once

#include "PlatformExport.h"

class DAK_PLATFORM_API TCPowerTvProvider {
public:
    static bool IsMasterPowerOn();
};
