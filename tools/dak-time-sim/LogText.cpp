#include "LogText.h"

namespace daksim {

namespace {

constexpr char kEscape = '\x1b';

// The end of an escape sequence "ESC [ parameters final" starting at `at`,
// or `at` when the escape character starts none.
size_t SequenceEnd(const std::string& text, size_t at)
{
    if (at + 1 >= text.size() || text[at + 1] != '[') {
        return at;
    }
    for (size_t i = at + 2; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x40 && c <= 0x7E) {
            return i + 1;
        }
        if (c < 0x20 || c > 0x3F) {
            return at;  // not a parameter byte: no sequence
        }
    }
    return at;
}

}  // namespace

std::string LogLineText(const dakhost::LogLine& line, bool colour)
{
    std::string text = line.text;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.pop_back();
    }
    std::string shown;
    shown.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == kEscape && !colour) {
            const size_t end = SequenceEnd(text, i);
            if (end == i) {
                shown += "\\e";
            } else {
                i = end - 1;
            }
        } else if (c == '\n') {
            shown += "\\n";
        } else {
            shown += c;
        }
    }
    if (colour) {
        shown += "\x1b[0m";
    }
    return "[" + std::to_string(line.level) + " " + dakhost::ViaName(line.via) + " " +
           line.function + "] " + shown;
}

}  // namespace daksim
