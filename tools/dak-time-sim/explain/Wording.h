// The words explain prints numbers with: counts with their noun in the
// right number, durations and moves of the clock in days, hours, minutes and
// seconds.
#pragma once

#include <cstdint>
#include <string>

namespace daksim::explain {

// "1 setting", "3 settings".
std::string Counted(uint64_t count, const std::string& one, const std::string& many);

// "2d 3h 4m 5s", "4m 0s", "5s": seconds, leading zero units left out.
std::string Duration(uint64_t seconds);

// "forward 1h 0m 0s", "back 30m 0s", "not at all".
std::string Move(int64_t seconds);

}  // namespace daksim::explain
