// The time stamp a log line starts with, in the forms loggers commonly
// write: ISO 8601 ("2024-03-05T06:30:00.123Z"), "YYYY-MM-DD HH:MM:SS[.mmm]",
// syslog's "Mon DD HH:MM:SS" (no year: the year of 1970), the kernel's
// "[ 1234.567890]" uptime, and the simulator's own printed moment
// ("2024-03-05T06:30:00Z +0d 00:00:30.000": the platform clock and the
// virtual time elapsed). A syslog priority ("<13>") before it is passed over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace daksim::explain {

struct Stamp {
    enum class Kind { Calendar, Syslog, Uptime, Simulator };
    Kind kind = Kind::Calendar;
    // Milliseconds: since 1970 (Calendar, Syslog), since boot (Uptime), or
    // the virtual time elapsed since the file started (Simulator).
    int64_t ms = 0;
    // Simulator: the platform clock then, in UTC seconds.
    std::optional<int64_t> clock;
    size_t length = 0;  // of the stamp in the line
};

std::optional<Stamp> ReadStamp(std::string_view line);

// Days since 1970-01-01 of a proleptic Gregorian date.
int64_t DaysFromCivil(int64_t year, unsigned month, unsigned day);

}  // namespace daksim::explain
