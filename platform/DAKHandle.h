// The platform's handle of a TV service context.
#pragma once

#include <cstdint>

struct DAKHandle {
    int32_t profileId = 1;
    uint16_t subId = 0;
};

// Handles order by signed profileId, then by unsigned subId.
inline bool operator<(const DAKHandle& a, const DAKHandle& b)
{
    if (a.profileId != b.profileId) {
        return a.profileId < b.profileId;
    }
    return a.subId < b.subId;
}
