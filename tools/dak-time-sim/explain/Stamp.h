// The time stamp a log line starts with, in the forms loggers commonly
// write:
//   with a year   ISO 8601 ("2024-03-05T06:30:00.123Z", "+0000", "+00:00"),
//                 "YYYY-MM-DD HH:MM:SS[.mmm]" (logcat -v year), journald's
//                 short-full ("Tue 2024-03-05 06:30:00 UTC"), seconds since
//                 1970 ("1709620200.123", logcat -v epoch), RFC 5424 syslog
//                 ("<134>1 2024-03-05T06:30:00Z ...");
//   without one   syslog and journald's short and short-precise
//                 ("Mar  5 06:30:00[.123456]"), logcat's time and threadtime
//                 ("03-05 06:30:00.123"): the reader of the log gives the year;
//   since boot    the kernel's and journald's short-monotonic
//                 ("[ 1234.567890]"), logcat -v monotonic ("  1234.567");
// and the simulator's own printed moment ("2024-03-05T06:30:00Z +0d
// 00:00:30.000": the platform clock and the virtual time elapsed). A syslog
// priority ("<13>") before it is passed over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace daksim::explain {

struct Stamp {
    // Calendar: a wall clock with its year. Syslog: a wall clock without one
    // (`ms` counts from the start of `month` `day` of 1970; InYear() places
    // it). Uptime: since boot. Simulator: the simulator's own.
    enum class Kind { Calendar, Syslog, Uptime, Simulator };
    Kind kind = Kind::Calendar;
    // Milliseconds: since 1970 (Calendar), since the start of its day
    // (Syslog), since boot (Uptime), or the virtual time elapsed since the
    // file started (Simulator).
    int64_t ms = 0;
    unsigned month = 0;  // Syslog: 1-12
    unsigned day = 0;    // Syslog: 1-31
    // Simulator: the platform clock then, in UTC seconds.
    std::optional<int64_t> clock;
    size_t length = 0;  // of the stamp in the line
};

std::optional<Stamp> ReadStamp(std::string_view line);

// A stamp without a year as milliseconds since 1970, in `year`.
int64_t InYear(const Stamp& stamp, int64_t year);

// The year of a UTC time in seconds.
int64_t YearOf(int64_t utc);

}  // namespace daksim::explain
