#include "ReadWords.h"

#include "Vocabulary.h"

namespace daksim::explain {

std::string Field(std::string_view text, size_t index)
{
    size_t start = 0;
    for (size_t i = 0; i < index; ++i) {
        start = text.find(',', start);
        if (start == std::string_view::npos) {
            return {};
        }
        ++start;
    }
    size_t end = text.find(',', start);
    if (end == std::string_view::npos) {
        end = text.size();
    }
    while (start < end && text[start] == ' ') {
        ++start;
    }
    while (end > start && text[end - 1] == ' ') {
        --end;
    }
    return std::string(text.substr(start, end - start));
}

std::optional<int64_t> ReasonWord(const std::string& word)
{
    return word == ReasonName(-1) ? std::optional<int64_t>(-1) : ParseReason(word);
}

std::optional<int64_t> AutoTypeWord(const std::string& word)
{
    return word == AutoTypeName(-1) ? std::optional<int64_t>(-1) : ParseAutoType(word);
}

std::optional<int64_t> SetTypeWord(const std::string& word)
{
    return word == SetTypeName(3) ? std::optional<int64_t>(3) : ParseSetType(word);
}

}  // namespace daksim::explain
