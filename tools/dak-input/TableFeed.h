// Handing a time table to the stream clock of its service context, as a
// set's table parser does: an STT's daylight saving first, then the time,
// then a TOT's local time offset record for the wanted country and region.
// What the stream clock does with it (the time-update agent, the clock
// mode) is the library's; the feed only says what it handed over.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Capture.h"

class TIStreamClock;

namespace dakinput {

// ISDB sends Japan Standard Time in the DVB time fields.
constexpr int32_t kJstMinutes = 9 * 60;

struct FeedOptions {
    bool scan = false;          // isScan of every SetStreamClock
    int mode = 0;               // clockMode of SetStreamClock and SetStreamDST
    std::string country;        // the TOT offset entry to use; empty: the first
    std::optional<int> region;  // and its country_region_id; none: any
    int32_t wireMinutes = 0;    // the DVB-format times are UTC plus this
};

// What one table did.
struct Handed {
    bool handedOver = false;  // false: not handed to the stream clock (`remark` says why)
    uint32_t utc = 0;         // handed to SetStreamClock
    bool accepted = false;    // its result
    bool hasDst = false;      // STT: SetStreamDST was called with `dst`
    bool dst = false;
    bool hasOffset = false;  // TOT: SetDVBTimeOffset was called with these
    uint32_t timeOfChange = 0;
    int32_t nextOffset = 0;
    int32_t localOffset = 0;
    std::string remark;  // why a part of the table was not used
};

// A table's time in seconds since 1970, the time on the wire taken back to
// UTC; nothing when its time field does not decode. It may be more than the
// set's 32-bit time holds (FitsSetTime).
std::optional<int64_t> TableUtc(const TimeTable& table, int32_t wireMinutes = 0);

// Hands `table` to `clock`. A time that does not decode or does not fit the
// set's 32-bit time is not handed over.
Handed FeedTable(TIStreamClock& clock, const TimeTable& table, const FeedOptions& options);

}  // namespace dakinput
