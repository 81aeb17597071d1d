#include "Words.h"

namespace daksim::grammar {

std::string Quote(std::string_view word)
{
    return "'" + std::string(word) + "'";
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

std::vector<Word> SplitWords(std::string_view line)
{
    std::vector<Word> words;
    size_t pos = 0;
    while (true) {
        while (pos < line.size() && IsBlank(line[pos])) {
            ++pos;
        }
        if (pos >= line.size() || line[pos] == '#') {
            return words;
        }
        Word word;
        if (line[pos] == '"') {
            word.quoted = true;
            ++pos;
            bool closed = false;
            while (pos < line.size()) {
                const char c = line[pos++];
                if (c == '"') {
                    closed = true;
                    break;
                }
                if (c != '\\') {
                    word.text += c;
                    continue;
                }
                if (pos >= line.size()) {
                    break;
                }
                const char escaped = line[pos++];
                if (escaped == '"' || escaped == '\\') {
                    word.text += escaped;
                } else if (escaped == 'e') {
                    word.text += '\x1b';
                } else {
                    throw LineError{"unknown escape " + Quote(std::string("\\") + escaped) +
                                    R"( in a quoted word (\" \\ \e are known))"};
                }
            }
            if (!closed) {
                throw LineError{"quoted word not closed: " + Quote(std::string("\"") + word.text)};
            }
            if (pos < line.size() && !IsBlank(line[pos])) {
                size_t end = pos;
                while (end < line.size() && !IsBlank(line[end])) {
                    ++end;
                }
                throw LineError{"no blank after the quoted word before " +
                                Quote(line.substr(pos, end - pos))};
            }
        } else {
            while (pos < line.size() && !IsBlank(line[pos])) {
                word.text += line[pos++];
            }
        }
        words.push_back(std::move(word));
    }
}

const Word& StepWords::Next(const char* what)
{
    if (AtEnd()) {
        std::string message = std::string("missing ") + what;
        if (m_next > 0) {
            message += " after " + Quote(m_words[m_next - 1].text);
        }
        throw LineError{message};
    }
    return m_words[m_next++];
}

void StepWords::End() const
{
    if (!AtEnd()) {
        throw LineError{"unexpected word " + Quote(m_words[m_next].text)};
    }
}

std::vector<std::pair<std::string, std::string>> StepWords::Options(
    const std::set<std::string_view>& allowed)
{
    std::vector<std::pair<std::string, std::string>> options;
    std::set<std::string> seen;
    while (!AtEnd()) {
        const Word& word = m_words[m_next++];
        const size_t equals = word.text.find('=');
        if (word.quoted || equals == std::string::npos) {
            throw LineError{"unexpected word " + Quote(word.text)};
        }
        std::string key = word.text.substr(0, equals);
        if (allowed.count(key) == 0) {
            throw LineError{"unknown option " + Quote(word.text)};
        }
        if (!seen.insert(key).second) {
            throw LineError{"option given twice " + Quote(word.text)};
        }
        options.emplace_back(std::move(key), word.text.substr(equals + 1));
    }
    return options;
}

std::string StepSource(std::string_view line)
{
    bool quoted = false;
    bool escaped = false;
    size_t end = line.size();
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quoted) {
            if (escaped) {
                escaped = false;
            } else if (c == '\\') {
                escaped = true;
            } else if (c == '"') {
                quoted = false;
            }
            continue;
        }
        if (c == '"') {
            quoted = true;
        } else if (c == '#' && (i == 0 || IsBlank(line[i - 1]))) {
            end = i;
            break;
        }
    }
    size_t begin = 0;
    while (begin < end && IsBlank(line[begin])) {
        ++begin;
    }
    while (end > begin && IsBlank(line[end - 1])) {
        --end;
    }
    return std::string(line.substr(begin, end - begin));
}

}  // namespace daksim::grammar
