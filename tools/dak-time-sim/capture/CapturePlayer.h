// Replaying a capture's time tables into a stream clock, as the set's table
// parser hands them over, with virtual time paced by the capture.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "Capture.h"

class TIStreamClock;

namespace daksim::capture {

struct PlayOptions {
    bool scan = false;    // isScan of every SetStreamClock
    int mode = 0;         // clockMode of SetStreamClock and SetStreamDST
    std::string country;  // the TOT offset entry to use; empty: the first
    bool jst = false;     // DVB-format times are Japan Standard Time (ISDB)
};

// What one replayed table did, for the simulator's output.
struct Replayed {
    const TimeTable* table = nullptr;
    uint64_t elapsedMs = 0;   // the capture time virtual time was moved to
    bool handedOver = false;  // false: its time does not decode, skipped
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

// A table's UTC seconds as handed to SetStreamClock; nothing when its time
// field does not decode.
std::optional<uint32_t> TableUtc(const TimeTable& table, bool jst);

}  // namespace daksim::capture
