// An input's tables into the stream clock of its service context, and what
// a person asks of it later: the last table, when it came (by the monotonic
// clock) and what the stream clock said. Notes and tables are told to a log
// function as lines. Safe to read from another thread than the input's.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "CaptureReader.h"
#include "TableFeed.h"

namespace dakinput {

struct FeedStatus {
    uint64_t tables = 0;   // handed to the stream clock
    uint64_t refused = 0;  // found but not handed over (a time that does not decode or fit)
    uint64_t notes = 0;
    std::optional<TimeTable::Kind> lastKind;
    Handed last;
    uint64_t lastAtMs = 0;  // MonotonicMs when it was handed over
    std::string lastNote;
};

class ClockFeed : public CaptureSink {
public:
    using Log = std::function<void(const std::string& line)>;
    ClockFeed(TIStreamClock& clock, FeedOptions options, Log log);

    void Table(const TimeTable& table) override;
    void Note(const struct Note& note) override;
    FeedStatus Status() const;

private:
    TIStreamClock& m_clock;
    const FeedOptions m_options;
    const Log m_log;
    mutable std::mutex m_lock;
    FeedStatus m_status;
};

// "TDT 2026-03-29T01:02:03Z 1774746123 accepted", as the log and status show it.
std::string HandedText(TimeTable::Kind kind, const Handed& handed);

}  // namespace dakinput
