// Start-up and the hardware clock, read from Init's lines and the hardware
// clock's: main power and battery, then the hardware clock read (or why it
// could not be), then the stored reason, the auto clock type and the replay's
// setting type. Hardware-clock reads and writes at any time are told as they
// are read; a write is told when the next line shows it did not fail.
#pragma once

#include <cstdint>
#include <optional>

#include "Events.h"
#include "LibraryMessages.h"

namespace daksim::explain {

class StartupReader {
public:
    explicit StartupReader(Listener& out) : m_out(out) {}

    void Reset();
    // A line of the manager's at `at`; true when it was Init's or the
    // hardware clock's.
    bool Line(const dakhost::LogLine& line, const LibraryMessage& known, const At& at);
    // Start-up read whole by the last line, once: the caller tells it.
    std::optional<Startup> TakeRead();
    // Any other line (or the end, `known` none): a write still open is told.
    void Other(const LibraryMessage& known, const At& at);
    // The manager was deleted: the next Init is a new start-up.
    void ManagerGone();

private:
    void RtcFailedAtStart();
    void ReadState(const LibraryMessage& known);

    Listener& m_out;
    std::optional<Startup> m_startup;  // from the power line to the replay
    bool m_read = false;               // read whole
    std::optional<Startup> m_justRead;
    std::optional<int64_t> m_rtcWrite;  // asked for, its failure not yet ruled out
};

}  // namespace daksim::explain
