// Replaying a capture's time tables into a stream clock, as the set's table
// parser hands them over, with virtual time paced by the capture. Tables
// are played as the reader finds them: a capture of any size streams
// through.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "Capture.h"
#include "CaptureReader.h"

class TIStreamClock;

namespace daksim::capture {

// ISDB sends Japan Standard Time in the DVB time fields.
constexpr int32_t kJstMinutes = 9 * 60;

struct PlayOptions {
    bool scan = false;          // isScan of every SetStreamClock
    int mode = 0;               // clockMode of SetStreamClock and SetStreamDST
    std::string country;        // the TOT offset entry to use; empty: the first
    std::optional<int> region;  // and its country_region_id; none: any
    int32_t wireMinutes = 0;    // the DVB-format times are UTC plus this
};

// What one replayed table did, for the simulator's output.
struct Replayed {
    const TimeTable* table = nullptr;
    uint64_t elapsedMs = 0;   // the capture time virtual time was moved to
    bool handedOver = false;  // false: not handed to the stream clock (`remark` says why)
    bool lost = false;        // a damaged table, known only by a note
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

struct PlayReport {
    std::function<void(const Replayed&)> table;
    std::function<void(const Note&)> note;
};

// Replays every table of `capture` into `clock` in capture order; before
// each, virtual time moves (dakhost::Advance: sync periods fire) to the
// table's capture time, and at the end to the capture's end. Returns the
// number of time tables handed over.
int Play(TIStreamClock& clock, const Capture& capture, const PlayOptions& options,
         const PlayReport& report);

// The same, reading the capture file as it plays.
std::variant<int, ReadError> PlayFile(TIStreamClock& clock, const std::string& path,
                                      const PlayOptions& options, const PlayReport& report);

// A table's time in seconds since 1970, the time on the wire taken back to
// UTC; nothing when its time field does not decode. It may be more than the
// set's 32-bit time holds (FitsSetTime).
std::optional<int64_t> TableUtc(const TimeTable& table, int32_t wireMinutes = 0);

}  // namespace daksim::capture
