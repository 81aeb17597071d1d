// What the log expectations of a file see. Each `expect log` / `expect nolog`
// looks at the lines logged since the last `mark` before it; the file is
// parsed before it runs, so every expectation is known ahead: a line is
// matched as it arrives against the expectations whose window holds it, and
// only each one's first matching line is kept. Memory stays the same however
// many lines a run logs, and the answer is the one a full list would give.
#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "DakHostControl.h"
#include "Scenario.h"

namespace daksim {

class LogWindow {
public:
    explicit LogWindow(const Script& script);

    // The step at `index` is about to run: lines from now on were logged
    // during it, seen by the expectations after it up to the next mark.
    void EnterStep(size_t index);
    // A line logged, from any thread.
    void Offer(const dakhost::LogLine& line);
    // Whether some expectation can still see a line logged now.
    bool Watching() const;

    struct Outcome {
        std::optional<std::string> found;     // the first line that matches
        std::optional<std::string> textOnly;  // the first holding the text at another level/output
    };
    // For the expectation at `index` (when it runs).
    Outcome OutcomeOf(size_t index) const;

private:
    struct Pending {
        size_t index = 0;        // of the expectation's step
        size_t windowStart = 0;  // of the mark before it (0: the file's start)
        const args::LogMatch* match = nullptr;
        Outcome outcome;
    };

    mutable std::mutex m_lock;
    std::vector<Pending> m_pending;  // in step order
    size_t m_first = 0;              // those that see a line now: [m_first, m_end)
    size_t m_end = 0;
};

}  // namespace daksim
