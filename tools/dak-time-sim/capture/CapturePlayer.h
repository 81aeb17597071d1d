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
#include "TableFeed.h"

class TIStreamClock;

namespace daksim::capture {

// The input component's reader, as the replay's own.
using namespace dakinput;  // NOLINT(google-build-using-namespace)
using PlayOptions = dakinput::FeedOptions;

// What one replayed table did, for the simulator's output.
struct Replayed : dakinput::Handed {
    const TimeTable* table = nullptr;
    uint64_t elapsedMs = 0;  // the capture time virtual time was moved to
    bool lost = false;       // a damaged table, known only by a note
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

// How long a live stream is played: stops at whichever comes first.
struct LiveLimit {
    std::optional<uint32_t> seconds;  // of real time
    std::optional<uint32_t> tables;   // handed over
};

// The same from a live stream (udp://...), virtual time paced by its PCR,
// until the limit. Damage, silences and the group's joins are notes; only
// an address that does not parse is an error.
std::variant<int, ReadError> PlayLive(TIStreamClock& clock, const std::string& url,
                                      const PlayOptions& options, const PlayReport& report,
                                      const LiveLimit& limit);

}  // namespace daksim::capture
