// How an input is told to stop: a descriptor that its poll watches beside
// its own, raised from any thread (or from the input's own sink), and an
// optional deadline on the monotonic clock. An input never wakes but for
// its descriptors, its own timeouts and this.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace dakinput {

class StopSignal {
public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    // Whether the descriptor could be made; without it Raise cannot wake.
    bool Valid() const { return m_fd >= 0; }
    void Raise() const;
    bool Raised() const;  // raised, or the deadline passed
    int Fd() const { return m_fd; }

    // Stop `ms` milliseconds from now, by the monotonic clock.
    void StopAfter(uint64_t ms);
    // A poll timeout: `wantedMs` (negative: none), shortened to the deadline.
    int Timeout(int wantedMs) const;

private:
    int m_fd = -1;
    std::optional<uint64_t> m_deadlineMs;
};

// Milliseconds of the monotonic clock.
uint64_t MonotonicMs();

// "5 s", "200 ms", "2.5 s": a duration for a note.
std::string DurationText(uint64_t ms);

}  // namespace dakinput
