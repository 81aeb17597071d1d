// Finding the library's messages in a log's lines, whatever the platform put
// before them: each message is known by its own text, so no configuration of
// a platform's format is needed. A line as the simulator prints it
// ("[4 Print t_SyncSystemTime] ...") is read by its brackets instead, which
// name the level, the output and the function exactly.
//
// Each message is one of the library's catalogue (src/Common/Messages.h),
// known by its text up to its first value. Many go out twice with the same
// text (once through each of two of the logger's outputs): of a pair, the
// first is taken for the catalogue's first output and the second, found
// within a few lines, for its copy.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "DakHostControl.h"

namespace daksim::explain {

struct Message {
    dakhost::LogLine line;  // function, level, output and text from the message's start
    unsigned id = 0;        // in the library's catalogue (kNoMessage: not one of its texts)
};

class Recogniser {
public:
    // The line without its time stamp. nullopt: not one of the library's.
    // `simulator`: the line carries the simulator's stamp, so that its own
    // lines (step echoes and results, which quote the library's texts too)
    // are not taken for the library's.
    std::optional<Message> Read(std::string_view rest, bool simulator = false);

    // Lines that name the library's classes but hold none of its messages
    // whole (cut short, or broken by another thread's output).
    uint64_t Damaged() const { return m_damaged; }

private:
    std::optional<Message> Printed(std::string_view rest);
    std::optional<Message> Foreign(std::string_view rest);

    std::string m_clean;     // the line with colour sequences dropped
    std::string m_unpaired;  // the last twice-logged text whose copy is still due
    uint64_t m_unpairedAt = 0;
    uint64_t m_count = 0;  // messages recognised
    uint64_t m_damaged = 0;
};

// The text with escape sequences ("ESC [ ... m") dropped.
void DropColour(std::string_view text, std::string& out);

}  // namespace daksim::explain
