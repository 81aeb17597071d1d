// The library's log lines read against its message catalogue
// (src/Common/Messages.h): which message a text is, and the values its
// format's conversions took, in order. Every reader of the library's log
// (a run's decisions, explain) goes through here, so that no wording of the
// library is written a second time under tools/.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Common/Messages.h"

namespace daksim {

constexpr unsigned kNoMessage = dak::kMessageCount;

// The catalogue's index of a text, for a `switch` over messages.
constexpr unsigned Id(const char* text)
{
    return dak::MessageIndex(text);
}

class LibraryMessage {
public:
    static constexpr size_t kMaxValues = 8;

    unsigned id = kNoMessage;  // kNoMessage: none of the library's
    bool whole = false;        // the text is the message's format filled in, to its end
    size_t reached = 0;        // how much of the text agrees with the message

    bool Known() const { return id != kNoMessage; }
    // The text of conversion `index` ("" past the last one the text reached).
    std::string_view Value(size_t index) const;
    std::optional<int64_t> Number(size_t index) const;
    std::string Word(size_t index) const { return std::string(Value(index)); }

    // Reads `text` as message `id`: the values as far as the text agrees
    // with the format, and whether it is the whole message. False when the
    // text does not hold the message's literal start. The values point into
    // `text`.
    bool ReadAs(unsigned message, std::string_view text);

private:
    std::array<std::string_view, kMaxValues> m_values{};
    size_t m_count = 0;
};

// The message `text` is, among those `function` logs (any, when the
// catalogue does not name the function): the first whose format it fills whole, else the one
// it agrees with furthest (a line cut short, or run into another).
LibraryMessage Identify(std::string_view function, std::string_view text);

// A message's literal start, up to its first conversion, colour sequences
// and a final newline dropped: what a line must hold to be that message.
std::string_view StartOf(unsigned id);

// The text the library logs for message `format` with these values, colour
// sequences and a final newline dropped (as the simulator prints it).
std::string LibraryText(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace daksim
