// Reading values out of the library's log texts ("UTC = 1709632800",
// "result=SetType_init"): shared by the decisions reader and by explain.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace daksim {

bool Has(std::string_view text, std::string_view part);
// The decimal number after `key` in `text` (blanks between skipped).
std::optional<int64_t> NumberAfter(std::string_view text, std::string_view key);
// The word after `key`, up to a blank, a comma or an escape character.
std::string WordAfter(std::string_view text, std::string_view key);

}  // namespace daksim
