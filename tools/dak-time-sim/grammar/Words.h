// The words of one scenario line: splitting, quoting, and reading them left
// to right. A word not understood is a `LineError`, caught for the whole
// line by the parser, which prints it with the line's number.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace daksim::grammar {

struct LineError {
    std::string message;
};

struct Word {
    std::string text;
    bool quoted = false;
};

// 'word', as messages name it.
std::string Quote(std::string_view word);

bool IsBlank(char c);

// One line's words; none for a blank or comment line. A `#` at the start of
// a word (after white space) starts a comment.
std::vector<Word> SplitWords(std::string_view line);

// The text of a line without its comment and surrounding blanks.
std::string StepSource(std::string_view line);

// The words of one step, read left to right.
class StepWords {
public:
    explicit StepWords(std::vector<Word> words) : m_words(std::move(words)) {}

    bool AtEnd() const { return m_next >= m_words.size(); }

    // The next word; "missing WHAT after 'previous'" when there is none.
    const Word& Next(const char* what);

    // The word read last (the one before the first).
    const Word& Previous() const { return m_words[m_next > 0 ? m_next - 1 : 0]; }

    // Nothing may follow.
    void End() const;

    // The remaining words as `key=value` options among `allowed`; each at
    // most once.
    std::vector<std::pair<std::string, std::string>> Options(
        const std::set<std::string_view>& allowed);

private:
    std::vector<Word> m_words;
    size_t m_next = 0;
};

}  // namespace daksim::grammar
