/**
 * @file DAKHandle.h
 * @brief The platform's handle of a TV service context.
 */
#pragma once

#include <cstdint>

/**
 * @brief Names one TV service context; the key of the stream clocks (TIStreamClock::Instance()).
 *
 * A plain value: copying copies both fields. Two handles with equal fields are the same key.
 */
struct DAKHandle {
    int32_t profileId = 1;  ///< the profile of the service context
    uint16_t subId = 0;     ///< the sub-identifier within the profile
};

/**
 * @brief Handles order by signed profileId, then by unsigned subId.
 * @param a the left handle.
 * @param b the right handle.
 * @return true when @p a sorts before @p b.
 */
inline bool operator<(const DAKHandle& a, const DAKHandle& b)
{
    if (a.profileId != b.profileId) {
        return a.profileId < b.profileId;
    }
    return a.subId < b.subId;
}
