// The platform clock service. Both return 0 on success.
#pragma once

#include "PlatformExport.h"

extern "C" {
DAK_PLATFORM_API int BPTime_get_current_time(unsigned long* utc);
DAK_PLATFORM_API int BPTime_set_current_time(unsigned long utc);
}
