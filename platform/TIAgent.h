// Agents of the platform's agent registry.
#pragma once

#include "DAKHandle.h"
#include "PlatformExport.h"

class DAK_PLATFORM_API TIAgent {
public:
    virtual ~TIAgent();
};

// Agent type 31: the broadcast local time offset per region.
class DAK_PLATFORM_API TITimeZoneOffsetAgent : public TIAgent {
public:
    // True when the offset of the region is known; it is then written to
    // *offset in minutes east of UTC.
    virtual bool GetTimeZoneOffset(int regionId, int* offset) = 0;
};

// Agent type 38: may the stream time of a service context update the system time.
class DAK_PLATFORM_API TITimeUpdateAgent : public TIAgent {
public:
    virtual bool IsUpdateSystemTime(DAKHandle handle) = 0;
};
