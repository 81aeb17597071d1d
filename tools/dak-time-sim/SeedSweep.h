// `--seeds A-B`: a file run once under each seed, and which seeds fail
// which expectations, so that a race shows up as a list of seeds that
// reproduce it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "Runner.h"
#include "Scenario.h"

namespace daksim {

struct SeedRange {
    uint32_t first = 0;
    uint32_t last = 0;
};

// "A-B" (A <= B) or a single "N"; nothing when the text is not a range.
std::optional<SeedRange> ParseSeedRange(const std::string& text);

// Runs every script under every seed of `range`, printing one line a run and
// then, per script, each failed expectation with the seeds it failed under.
// The total counts the runs with every expectation held and the others.
Tally SweepSeeds(FILE* out, const std::vector<Script>& scripts, const SeedRange& range,
                 const RunOptions& options);

}  // namespace daksim
