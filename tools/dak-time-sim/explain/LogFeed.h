// A log's lines, one after the other, into the rebuilt state: each line's
// stamp read, the library's message found, the simulator's own output
// ("=== FILE" starting a file, its step echoes) understood.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Rebuild.h"
#include "Recogniser.h"

namespace daksim::explain {

class LogFeed {
public:
    // `name`: the log's, for a file that does not name itself.
    LogFeed(Rebuild& rebuild, std::string name);

    void Line(uint64_t number, std::string_view line);
    // After the last line (`lines` the count of them).
    void End(uint64_t lines);

    uint64_t Messages() const { return m_messages; }
    uint64_t Damaged() const { return m_recogniser.Damaged(); }

private:
    Rebuild& m_rebuild;
    const std::string m_name;
    Recogniser m_recogniser;
    bool m_open = false;
    uint64_t m_messages = 0;
};

}  // namespace daksim::explain
