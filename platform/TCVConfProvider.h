// The platform settings store, as far as the time service uses it.
#pragma once

#include "PlatformExport.h"
#include "TimeSettingTypes.h"

class DAK_PLATFORM_API TCVConfProvider {
public:
    static ESystemTimeReason GetTimeSettingReason();
    static void SetTimeSettingReason(ESystemTimeReason reason);
    static int GetFlagDST();
    static void SetFlagDST(int dst);
    static int GetTvTimeOffset();  // minutes east of UTC
    static void SetTvTimeOffset(int offset);
    static int GetTvClockMode();  // 0 automatic, any other value manual
    static int GetTvTimeZone();   // region identifier
    static bool IsNetworkSet();
    static void SetAutoClockType(int type);
    static int GetFirstSTTTime();
    static void SetFirstSTTTime(int utc);
};
