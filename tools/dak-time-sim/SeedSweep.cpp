#include "SeedSweep.h"

#include <map>
#include <utility>

#include "Vocabulary.h"

namespace daksim {

namespace {

constexpr int64_t kLargestSeed = 0xFFFFFFFFLL;

std::optional<uint32_t> ParseSeed(const std::string& text)
{
    const auto value = ParseInteger(text);
    if (!value || *value < 0 || *value > kLargestSeed) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(*value);
}

void Line(FILE* out, const std::string& text)
{
    std::fputs(text.c_str(), out);
    std::fputc('\n', out);
}

std::string SeedList(const std::vector<uint32_t>& seeds)
{
    std::string text;
    for (const uint32_t seed : seeds) {
        text += (text.empty() ? "" : " ") + std::to_string(seed);
    }
    return text;
}

}  // namespace

std::optional<SeedRange> ParseSeedRange(const std::string& text)
{
    const size_t dash = text.find('-');
    const auto first = ParseSeed(text.substr(0, dash));
    const auto last = dash == std::string::npos ? first : ParseSeed(text.substr(dash + 1));
    if (!first || !last || *last < *first) {
        return std::nullopt;
    }
    return SeedRange{*first, *last};
}

Tally SweepSeeds(FILE* out, const std::vector<Script>& scripts, const SeedRange& range,
                 const RunOptions& options)
{
    // The runs print nowhere: only their tallies are read.
    FILE* const nowhere = std::fopen("/dev/null", "w");
    Tally total;
    for (const Script& script : scripts) {
        Line(out, "=== " + script.name + "  (seeds " + std::to_string(range.first) + "-" +
                      std::to_string(range.last) + ")");
        // Line of each failed expectation: the step, and the seeds it failed under.
        std::map<int, std::pair<std::string, std::vector<uint32_t>>> failed;
        uint64_t runs = 0;
        uint64_t clean = 0;
        for (uint64_t seed = range.first; seed <= range.last; ++seed) {
            RunOptions runOptions = options;
            runOptions.quiet = true;
            runOptions.seed = static_cast<uint32_t>(seed);
            Tally tally;
            {
                Runner runner(nowhere != nullptr ? nowhere : out, runOptions);
                tally = runner.Run(script);
            }
            ++runs;
            std::string lines;
            for (const Failure& failure : tally.failures) {
                auto& entry = failed[failure.line];
                entry.first = failure.step;
                if (entry.second.empty() || entry.second.back() != seed) {
                    entry.second.push_back(static_cast<uint32_t>(seed));
                }
                lines += (lines.empty() ? " (line " : ", ") + std::to_string(failure.line);
            }
            if (tally.failed == 0) {
                ++clean;
                ++total.passed;
            } else {
                ++total.failed;
                total.failures.insert(total.failures.end(), tally.failures.begin(),
                                      tally.failures.end());
                lines += ")";
            }
            Line(out, "   seed " + std::to_string(seed) + ": " + std::to_string(tally.passed) +
                          " passed, " + std::to_string(tally.failed) + " failed" + lines);
        }
        Line(out, "-- " + script.name + ": " + std::to_string(clean) + " of " +
                      std::to_string(runs) + " seeds held every expectation");
        for (const auto& [line, entry] : failed) {
            Line(out, "   " + script.name + ":" + std::to_string(line) + "  " + entry.first);
            Line(out, "     failed under " + std::to_string(entry.second.size()) + " of " +
                          std::to_string(runs) + " seeds: " + SeedList(entry.second));
            Line(out, "     replay: dak-time-sim --seed " + std::to_string(entry.second.front()) +
                          " " + script.name);
        }
    }
    if (nowhere != nullptr) {
        std::fclose(nowhere);
    }
    return total;
}

}  // namespace daksim
