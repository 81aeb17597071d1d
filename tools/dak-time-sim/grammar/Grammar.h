// The steps of the scenario format, by family: each family is a table of
// phrases, each phrase the word that names a step kind and the reader of the
// words after it. A reader returns the kind's record (and may refine the
// kind, as `set rtc absent` does); a word it cannot read is a `LineError`.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "Scenario.h"
#include "Values.h"
#include "Words.h"

namespace daksim::grammar {

using Reader = StepArgs (*)(StepWords& in, StepKind& kind);

struct Phrase {
    const char* word;
    StepKind kind;
    Reader read;
};

// Stream steps name their clock before the phrase: `stream H set ...`.
using StreamReader = StepArgs (*)(StepWords& in, const args::StreamHandle& handle, StepKind& kind);

struct StreamPhrase {
    const char* word;
    StepKind kind;
    StreamReader read;
};

// The row of `word` among `rows`; null when none.
template <class Row, size_t N>
const Row* Find(const Row (&rows)[N], std::string_view word)
{
    for (const Row& row : rows) {
        if (word == row.word) {
            return &row;
        }
    }
    return nullptr;
}

// The next word, as one of `rows`: "missing WHAT" when there is none,
// "UNKNOWN 'word'" when it is none of them.
template <class Row, size_t N>
const Row& NextPhrase(StepWords& in, const Row (&rows)[N], const char* what, const char* unknown)
{
    const Word& word = in.Next(what);
    const Row* row = Find(rows, word.text);
    if (row == nullptr) {
        throw LineError{std::string(unknown) + " " + Quote(word.text)};
    }
    return *row;
}

// A family's phrase and the words after it: the step's kind and record.
template <size_t N>
StepArgs ReadPhrase(StepWords& in, StepKind& kind, const Phrase (&rows)[N], const char* what,
                    const char* unknown)
{
    const Phrase& phrase = NextPhrase(in, rows, what, unknown);
    kind = phrase.kind;
    return phrase.read(in, kind);
}

// `H PHRASE ...` of a stream step or expectation.
template <size_t N>
StepArgs ReadStreamPhrase(StepWords& in, StepKind& kind, const StreamPhrase (&rows)[N],
                          const char* what, const char* unknown)
{
    const args::StreamHandle handle = Handle(in.Next("handle"));
    const StreamPhrase& phrase = NextPhrase(in, rows, what, unknown);
    kind = phrase.kind;
    return phrase.read(in, handle, kind);
}

// Read alike by a stream step and its expectation (LibraryGrammar):
// `mode N`, and the NEXT LOCAL after a DVB offset's time of change.
StepArgs ReadStreamMode(StepWords& in, const args::StreamHandle& handle, StepKind& kind);
args::DvbOffset ReadDvbOffset(StepWords& in, const args::StreamHandle& handle, const Word& toc);

// The whole step: its verb, then its family's phrase and values.
void ReadStep(StepWords& in, Step& step);

// The families, after their verb (PlatformGrammar, LibraryGrammar,
// ExpectGrammar).
StepArgs ReadSet(StepWords& in, StepKind& kind);
StepArgs ReadFail(StepWords& in, StepKind& kind);
StepArgs ReadManager(StepWords& in, StepKind& kind);
StepArgs ReadSetTime(StepWords& in, StepKind& kind);
StepArgs ReadStreams(StepWords& in, StepKind& kind);
StepArgs ReadStream(StepWords& in, StepKind& kind);
StepArgs ReadExpect(StepWords& in, StepKind& kind);

}  // namespace daksim::grammar
