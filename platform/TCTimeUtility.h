// Date conversion of the platform.
#pragma once

#include <ctime>

#include "PlatformExport.h"

class DAK_PLATFORM_API TCTimeUtility {
public:
    // Broken-down UTC calendar time of `utc` (tm_year from 1900, tm_mon from 0).
    bool BinaryToDate(unsigned long utc, tm* date);
};
