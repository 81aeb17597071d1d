// The library's printed words read back: a field of a comma-separated text,
// and the printed names of reasons and auto clock types, which print every
// value outside their table as "..._unknown" (kept as -1, one such value).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace daksim::explain {

// The `index`-th field of a comma-separated text (0: up to the first comma),
// blanks around it dropped.
std::string Field(std::string_view text, size_t index);
std::optional<int64_t> ReasonWord(const std::string& word);
std::optional<int64_t> AutoTypeWord(const std::string& word);
// A setting type's printed name, SetType_unknown (every type outside the
// table) read as 3, which leaves the same reason.
std::optional<int64_t> SetTypeWord(const std::string& word);

}  // namespace daksim::explain
