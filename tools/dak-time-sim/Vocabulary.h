// The time-setting vocabulary as scenario files write it (short names,
// printed names, integers) and as the simulator prints it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace daksim {

// `manual stream net 3 netfail sync init facotryreset`, `SetType_net`, or an integer.
std::optional<int64_t> ParseSetType(std::string_view word);
// `init micom net stream`, `Reason_net`, or an integer.
std::optional<int64_t> ParseReason(std::string_view word);
// `stream net max`, `AutoType_max`, or an integer.
std::optional<int64_t> ParseAutoType(std::string_view word);

// Printed names, as the library prints them ("..._unknown" outside the table).
std::string SetTypeName(int64_t value);
std::string ReasonName(int64_t value);
std::string AutoTypeName(int64_t value);

// `0`/`1`, `false`/`true`, `off`/`on`.
std::optional<bool> ParseBool(std::string_view word);
// A decimal integer, optionally negative, fitting in 64 bits.
std::optional<int64_t> ParseInteger(std::string_view word);

// Case-insensitive equality of ASCII words.
bool SameWord(std::string_view a, std::string_view b);

}  // namespace daksim
