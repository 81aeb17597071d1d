#include "LibraryMessages.h"

#include <array>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

namespace daksim {

namespace {

// Where the escape sequence ("ESC [ digits ; ... m") at `at` ends, or `at`.
size_t AfterColour(std::string_view text, size_t at)
{
    if (at + 1 >= text.size() || text[at] != '\x1b' || text[at + 1] != '[') {
        return at;
    }
    size_t end = at + 2;
    while (end < text.size() && ((text[end] >= '0' && text[end] <= '9') || text[end] == ';')) {
        ++end;
    }
    return end < text.size() && text[end] == 'm' ? end + 1 : at;
}

std::string WithoutColour(std::string_view text)
{
    std::string out;
    for (size_t i = 0; i < text.size();) {
        const size_t after = AfterColour(text, i);
        if (after != i) {
            i = after;
            continue;
        }
        out += text[i++];
    }
    return out;
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

// Each message's format without its colour sequences and final newline, its
// literal start, and the messages of each function.
struct Catalogue {
    std::vector<std::string> formats;
    std::vector<std::string> starts;
    std::unordered_map<std::string_view, std::vector<unsigned>> byFunction;
    std::vector<unsigned> all;

    Catalogue()
    {
        for (unsigned id = 0; id < dak::kMessageCount; ++id) {
            std::string format = WithoutColour(dak::kMessages[id].text);
            while (!format.empty() && format.back() == '\n') {
                format.pop_back();
            }
            starts.push_back(format.substr(0, format.find('%')));
            formats.push_back(std::move(format));
            byFunction[dak::kMessages[id].function].push_back(id);
            all.push_back(id);
        }
    }
};

const Catalogue& TheCatalogue()
{
    static const Catalogue catalogue;
    return catalogue;
}

}  // namespace

std::string_view LibraryMessage::Value(size_t index) const
{
    return index < m_count ? m_values[index] : std::string_view();
}

std::optional<int64_t> LibraryMessage::Number(size_t index) const
{
    const std::string_view value = Value(index);
    int64_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (value.empty() || error != std::errc() || end != value.data() + value.size()) {
        return std::nullopt;
    }
    return number;
}

bool LibraryMessage::ReadAs(unsigned message, std::string_view text)
{
    const std::string& format = TheCatalogue().formats[message];
    const size_t startLength = TheCatalogue().starts[message].size();
    m_count = 0;
    id = message;
    whole = false;
    reached = 0;
    // Colour sequences are skipped where a text holds any (a run's lines).
    const bool coloured = std::memchr(text.data(), '\x1b', text.size()) != nullptr;
    const auto skipColour = [coloured, text](size_t from) {
        return coloured ? AfterColour(text, from) : from;
    };
    size_t at = 0;
    size_t i = 0;
    while (i < format.size()) {
        at = skipColour(at);
        if (at >= text.size()) {
            return i >= startLength;  // cut short
        }
        if (format[i] != '%') {
            if (format[i] != text[at]) {
                return i >= startLength;  // another text after the message's start
            }
            ++i;
            reached = ++at;
            continue;
        }
        // A conversion: length modifiers, then the conversion's letter.
        ++i;
        while (i < format.size() && (format[i] == 'l' || format[i] == 'h')) {
            ++i;
        }
        const char letter = i < format.size() ? format[i++] : 's';
        const size_t first = at;
        if (letter == 's') {
            // A name (the library prints names only): up to where the
            // format's next literal character stands, never past a blank or
            // a byte outside printable ASCII.
            const char next = i < format.size() && format[i] != '%' ? format[i] : '\0';
            while (at < text.size() && text[at] != next && text[at] > ' ' && text[at] <= '~') {
                ++at;
            }
        } else {
            if (letter == 'd' && text[at] == '-') {
                ++at;
            }
            while (at < text.size() && IsDigit(text[at])) {
                ++at;
            }
        }
        if (m_count < kMaxValues) {
            m_values[m_count++] = text.substr(first, at - first);
        }
        if (at == first) {
            return true;  // no value where one belongs
        }
        reached = at;
    }
    // Nothing but blanks may follow a whole message.
    at = skipColour(at);
    while (at < text.size() && (text[at] == ' ' || text[at] == '\n' || text[at] == '\r')) {
        at = skipColour(at + 1);
    }
    whole = at >= text.size();
    return true;
}

namespace {

LibraryMessage IdentifyAmong(const std::vector<unsigned>& candidates, std::string_view text)
{
    LibraryMessage best;
    for (const unsigned id : candidates) {
        LibraryMessage read;
        if (!read.ReadAs(id, text)) {
            continue;
        }
        if (read.whole) {
            return read;
        }
        if (!best.Known() || read.reached > best.reached) {
            best = read;
        }
    }
    return best;
}

}  // namespace

LibraryMessage Identify(std::string_view function, std::string_view text)
{
    const Catalogue& catalogue = TheCatalogue();
    const auto found = catalogue.byFunction.find(function);
    // A function the catalogue does not name (an assertion's source folder,
    // a foreign line's unknown one): any message.
    return IdentifyAmong(found == catalogue.byFunction.end() ? catalogue.all : found->second, text);
}

std::string_view StartOf(unsigned id)
{
    return TheCatalogue().starts[id];
}

std::string LibraryText(const char* format, ...)
{
    std::array<char, 512> text{};
    va_list values;
    va_start(values, format);
    const int length = std::vsnprintf(text.data(), text.size(), format, values);
    va_end(values);
    std::string written =
        WithoutColour(std::string_view(text.data(), length < 0 ? 0U : static_cast<size_t>(length)));
    while (!written.empty() && written.back() == '\n') {
        written.pop_back();
    }
    return written;
}

}  // namespace daksim
