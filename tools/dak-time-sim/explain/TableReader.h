// A stream table read from the stream clock's lines: the first ("utc ...,
// isScan, clockMode") opens it, the next say whether it was refused, named
// its stream clock, read the system time, asked the manager to set it. It
// is over at the first line that is not its own.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Events.h"
#include "LibraryMessages.h"

namespace daksim::explain {

class TableReader {
public:
    void Reset() { *this = TableReader(); }
    // The simulator echoed a step that hands a table to stream clock `handle`.
    void HandleIs(const std::string& handle) { m_handle = handle; }
    // A message of the stream clock's, log line `line`.
    void Line(const LibraryMessage& known, uint64_t line);
    // The table read so far, over (nullopt: none); `tableLine` its first line.
    // `maxLevel`: the highest level the log has shown, which says whether
    // its refusal would have been logged.
    std::optional<TableEvent> Finish(int maxLevel, uint64_t& tableLine);

private:
    std::optional<TableEvent> m_table;
    uint64_t m_tableLine = 0;
    std::string m_handle;  // the last stream clock a table named
};

}  // namespace daksim::explain
