// The host platform's logger, shared by the logging interface and the
// capture of standard output.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "DakHostControl.h"
#include "HostLogRecorder.h"

namespace dakhost::detail {

struct Logger {
    std::mutex lock;  // guards everything below but `outputs`
    Recorder recorder;
    std::function<void(const dakhost::LogLine&)> sink;
    bool toStderr = true;
    // A sink is set or standard error is on: a line goes beyond the recorder.
    std::atomic<bool> outputs{true};

    // Calls into the sink one line at a time, in the order lines are taken;
    // recursive so that a sink may log.
    std::recursive_mutex sinkLock;

    // Standard output capture.
    std::mutex stdoutLock;
    int originalStdout = -1;  // a duplicate of the real output, kept for the process
    int captureRead = -1;     // read end of the pipe that file descriptor 1 now feeds
    std::string partial;      // text after the last complete line
};

// The one instance, never destroyed.
Logger& TheLogger();

// Records one line, hands it to the sink and writes it to standard error
// as the logger is set.
void Record(const char* function, int line, int module, int level, dakhost::Via via,
            const char* text, size_t length);

// Whether a line of `level` is recorded at the active level.
bool LevelEnabled(int level);

// Reads what the pipe holds; the caller holds stdoutLock. Complete lines are
// returned, the rest kept.
std::vector<std::string> DrainCapture(Logger& logger);

}  // namespace dakhost::detail
