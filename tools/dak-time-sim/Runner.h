// Running parsed scenario files against the library on the host platform.
#pragma once

#include <cstdio>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Journal.h"
#include "Moment.h"
#include "Scenario.h"

namespace daksim {

class TraceFile;
class Timeline;

struct RunOptions {
    bool quiet = false;  // no log lines, no step echo, no headings, no summary
    int logLevel = 5;    // log lines above this level are not printed
    TraceFile* trace = nullptr;
    Timeline* timeline = nullptr;
    // Interleavings chosen by a generator seeded by this; none: the fixed rule.
    std::optional<uint32_t> seed;
};

// An expectation (or a step) that failed: its line and the step as written.
struct Failure {
    int line = 0;
    std::string step;
};

struct Tally {
    int passed = 0;
    int failed = 0;
    std::vector<Failure> failures;  // in the order they failed
};

class Runner {
public:
    // `out` is the real standard output: the process's file descriptor 1 is
    // captured while a file runs.
    Runner(FILE* out, RunOptions options);
    ~Runner();
    Runner(const Runner&) = delete;
    Runner& operator=(const Runner&) = delete;

    // Runs one file from a fresh host platform and library state.
    Tally Run(const Script& script);

    // A line of the simulator's own output (thread-safe with the log lines).
    void Print(const std::string& text);
    // The same, led by the virtual moment it tells of.
    void PrintAt(const Moment& moment, const std::string& text);
    // Whether the output is a terminal (log lines are then coloured).
    bool Colour() const { return m_colour; }

private:
    FILE* m_out;
    RunOptions m_options;
    std::mutex m_outMutex;
    bool m_colour;
    Journal m_journal;
};

}  // namespace daksim
