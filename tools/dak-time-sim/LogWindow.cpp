#include "LogWindow.h"

#include "LogText.h"

namespace daksim {

LogWindow::LogWindow(const Script& script)
{
    size_t windowStart = 0;
    for (size_t i = 0; i < script.steps.size(); ++i) {
        const Step& step = script.steps[i];
        if (step.kind == StepKind::Mark) {
            windowStart = i;
        } else if (const auto* match = step.Get<args::LogMatch>()) {
            m_pending.push_back({i, windowStart, match, {}});
        }
    }
}

void LogWindow::EnterStep(size_t index)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    while (m_first < m_pending.size() && m_pending[m_first].index <= index) {
        ++m_first;
    }
    m_end = m_first;
    while (m_end < m_pending.size() && m_pending[m_end].windowStart <= index) {
        ++m_end;
    }
}

void LogWindow::Offer(const dakhost::LogLine& line)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    for (size_t i = m_first; i < m_end; ++i) {
        Pending& pending = m_pending[i];
        const args::LogMatch& match = *pending.match;
        if (pending.outcome.found || line.text.find(match.text) == std::string::npos) {
            continue;
        }
        if ((match.level && line.level != *match.level) ||
            (match.via && static_cast<int>(line.via) != *match.via)) {
            if (!pending.outcome.textOnly) {
                pending.outcome.textOnly = LogLineText(line, false);
            }
            continue;
        }
        pending.outcome.found = LogLineText(line, false);
    }
}

bool LogWindow::Watching() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_first < m_end;
}

LogWindow::Outcome LogWindow::OutcomeOf(size_t index) const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    for (const Pending& pending : m_pending) {
        if (pending.index == index) {
            return pending.outcome;
        }
    }
    return {};
}

}  // namespace daksim
