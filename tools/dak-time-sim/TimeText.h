// Calendar conversions for the simulator: UTC seconds <-> "YYYY-MM-DDTHH:MM:SSZ",
// in the project's calendar (Calendar.h).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace daksim {

// "2024-03-05T10:00:00Z" (the year may be before 1970 or after 9999).
std::string IsoFromUtc(int64_t utc);

// Parses exactly "YYYY-MM-DDTHH:MM:SSZ" with a real date; nullopt otherwise.
std::optional<int64_t> UtcFromIso(std::string_view text);

}  // namespace daksim
