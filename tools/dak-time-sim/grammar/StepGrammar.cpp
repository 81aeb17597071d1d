// The verbs that start a step, and the time steps that need no family:
// `idle`, `sync`, `mark`, `advance D`.
#include <cstdint>

#include "Grammar.h"
#include "Values.h"

namespace daksim::grammar {

namespace {

using K = StepKind;

// A verb alone.
StepArgs Nothing(StepWords& /*in*/, StepKind& /*kind*/)
{
    return args::None{};
}

StepArgs Advance(StepWords& in, StepKind& /*kind*/)
{
    const Word& duration = in.Next("duration");
    const int64_t ms = Duration(duration);
    // A longer run is a mistake (a unit left out), not a soak test.
    constexpr int64_t kMaxAdvanceMs = 36525LL * 86400000;  // 100 years of 365.25 days
    if (ms > kMaxAdvanceMs) {
        throw LineError{"advance " + Quote(duration.text) +
                        " is beyond 100 years (at most 36525d)"};
    }
    return args::Duration{ms};
}

// The kind of a family's verb is the family's first; its reader names the
// step's own.
// clang-format off
constexpr Phrase kVerbs[] = {
    {"init", K::Init, Nothing},
    {"gettime", K::GetTime, Nothing},
    {"networktime", K::NetworkTime, Nothing},
    {"releasetime", K::ReleaseTime, Nothing},
    {"idle", K::Idle, Nothing},
    {"sync", K::Sync, Nothing},
    {"mark", K::Mark, Nothing},
    {"advance", K::Advance, Advance},
    {"set", K::SetReason, ReadSet},
    {"fail", K::FailRtcRead, ReadFail},
    {"manager", K::ManagerExit, ReadManager},
    {"settime", K::SetTime, ReadSetTime},
    {"streams", K::StreamsInit, ReadStreams},
    {"stream", K::StreamSet, ReadStream},
    {"expect", K::ExpectResult, ReadExpect},
};
// clang-format on

}  // namespace

void ReadStep(StepWords& in, Step& step)
{
    const Word& verb = in.Next("step");
    const Phrase* phrase = verb.quoted ? nullptr : Find(kVerbs, verb.text);
    if (phrase == nullptr) {
        throw LineError{"unknown step " + Quote(verb.text)};
    }
    step.kind = phrase->kind;
    step.args = phrase->read(in, step.kind);
    in.End();
}

}  // namespace daksim::grammar
