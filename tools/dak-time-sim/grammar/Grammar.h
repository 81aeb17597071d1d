// The steps of the scenario format, by family: each family is a table of
// phrases, each phrase the word that names a step kind and the reader of the
// words after it. A reader returns the kind's record (and may refine the
// kind, as `set rtc absent` does); a word it cannot read is a `LineError`.
#pragma once

#include <cstddef>
#include <string_view>

#include "Scenario.h"
#include "Words.h"

namespace daksim::grammar {

using Reader = StepArgs (*)(LineReader& in, StepKind& kind);

struct Phrase {
    const char* word;
    StepKind kind;
    Reader read;
};

// Stream steps name their clock before the phrase: `stream H set ...`.
using StreamReader = StepArgs (*)(LineReader& in, const args::StreamHandle& handle, StepKind& kind);

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

// The whole step: its verb, then its family's phrase and values.
void ReadStep(LineReader& in, Step& step);

// The families, after their verb (PlatformGrammar, LibraryGrammar,
// ExpectGrammar).
StepArgs ReadSet(LineReader& in, StepKind& kind);
StepArgs ReadFail(LineReader& in, StepKind& kind);
StepArgs ReadManager(LineReader& in, StepKind& kind);
StepArgs ReadSetTime(LineReader& in, StepKind& kind);
StepArgs ReadStreams(LineReader& in, StepKind& kind);
StepArgs ReadStream(LineReader& in, StepKind& kind);
StepArgs ReadExpect(LineReader& in, StepKind& kind);

}  // namespace daksim::grammar
