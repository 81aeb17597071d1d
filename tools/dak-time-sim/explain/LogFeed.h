// A log's lines, one after the other, into the rebuilt state: each line's
// stamp read, the library's message found, the simulator's own output
// ("=== FILE" starting a file, its step echoes) understood. A new boot of the
// set (journald's "-- Boot ID --" line, an uptime that starts again, or the
// manager starting up again after it worked, without having stopped) starts a
// new part of the log.
#pragma once

#include <cstdint>
#include <optional>
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
    uint64_t Damaged() const
    {
        return m_recogniser.Damaged() + m_rebuild.Damaged() - m_damagedBefore;
    }

    // Boots the log holds (1 for a log of one).
    int Boots() const { return m_boot; }

private:
    void NewBoot(uint64_t number);
    // The manager started up again after it worked, its stop not logged.
    void StartedAgain(uint64_t number);
    void Watch(const Message& message, uint64_t number);

    Rebuild& m_rebuild;
    const std::string m_name;
    Recogniser m_recogniser;
    bool m_open = false;
    uint64_t m_messages = 0;
    uint64_t m_damagedBefore = 0;  // the rebuilt state's count before this log
    int m_boot = 1;
    std::optional<int64_t> m_uptimeMs;  // the last uptime stamp
    std::optional<int64_t> m_wallMs;    // the last wall stamp of the library's lines
    bool m_clockBack = false;           // the wall stamps went back since the last setting
    bool m_working = false;             // the manager did its work since it started up
    bool m_simulator = false;
    bool m_unreadStampSaid = false;  // a stamp it cannot read, said once
};

}  // namespace daksim::explain
