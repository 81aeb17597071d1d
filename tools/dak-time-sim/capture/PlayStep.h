// The `stream H play FILE ...` step: where its capture is, checking it
// before a file runs, and replaying it (or a live stream) with a printed
// line per table.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "CapturePlayer.h"
#include "Scenario.h"

class TIStreamClock;

namespace daksim::capture {

// Whether FILE of the step is a live stream (udp://...).
bool IsLive(const std::string& file);

// FILE of the step; a relative one is taken from the scenario file's folder.
std::string CapturePath(const std::string& scriptName, const std::string& file);

// "NAME:LINE: message" for the first play step whose capture cannot be read
// as a transport stream (judged from its first MiB); nothing when all can.
std::optional<std::string> CheckCaptures(const Script& script);

struct PlayOutput {
    std::function<void(const std::string&)> line;  // a replayed table, as text
    std::function<void(const std::string&)> note;  // damage that was skipped
    std::function<void(const Replayed&)> table;    // a replayed table, for records
};

// The replay's options from the step's words.
PlayOptions OptionsOf(const args::Capture& play);

// Replays the step's capture into `clock`: the number of time tables
// handed over, or nothing with `error` set when the capture cannot be read.
std::optional<int> PlayStep(TIStreamClock& clock, const args::Capture& play,
                            const std::string& scriptName, const PlayOutput& output,
                            std::string& error);

}  // namespace daksim::capture
