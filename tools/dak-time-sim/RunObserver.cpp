#include "RunObserver.h"

#include <algorithm>
#include <string>

#include "LogText.h"
#include "Vocabulary.h"

namespace daksim {

namespace {

constexpr int kSignalTimeUpdated = 108;
// The host keeps a capture of its own that the simulator does not read: it
// is emptied every so many lines so that it never grows with a long run.
constexpr unsigned kLinesBetweenClears = 4096;
// The signals a summary lists one by one.
constexpr size_t kSignalsListed = 100;

unsigned SignalType(const dakhost::SignalRecord& signal)
{
    return static_cast<unsigned>(signal.param[0]) | (static_cast<unsigned>(signal.param[1]) << 8U);
}

// Kept: the highest K an `expect signal K` asks for, and the summary's list.
size_t SignalsKept(const Script& script)
{
    size_t kept = kSignalsListed;
    for (const Step& step : script.steps) {
        if (const auto* signal = step.Get<args::SignalEntry>()) {
            kept = std::max(kept, static_cast<size_t>(signal->number));
        }
    }
    return kept;
}

}  // namespace

int SignalBook::Count()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return ++m_count;
}

void SignalBook::Keep(const Seen& seen)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_seen.size() < m_kept) {
        m_seen.push_back(seen);
    }
}

int SignalBook::Total() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_count;
}

std::optional<SignalBook::Seen> SignalBook::Numbered(int number) const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (number < 1 || static_cast<size_t>(number) > m_seen.size()) {
        return std::nullopt;
    }
    return m_seen[static_cast<size_t>(number - 1)];
}

std::vector<SignalBook::Seen> SignalBook::Kept() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_seen;
}

RunObserver::RunObserver(Runner& runner, const Script& script, const RunOptions& options,
                         Journal& journal, Decisions& decisions, LogWindow& window)
    : m_runner(runner),
      m_options(options),
      m_journal(journal),
      m_decisions(decisions),
      m_window(window),
      m_colour(runner.Colour()),
      m_signals(SignalsKept(script))
{
}

void RunObserver::Logged(const dakhost::LogLine& line)
{
    m_window.Offer(line);
    if (m_journal.Recording()) {
        m_decisions.Line(line);
    }
    const Moment moment = m_journal.Log(line);
    if (!m_options.quiet && line.level <= m_options.logLevel) {
        m_runner.PrintAt(moment, "    " + LogLineText(line, m_colour));
    }
    thread_local bool clearing = false;
    if (++m_linesSinceClear >= kLinesBetweenClears && !clearing) {
        m_linesSinceClear = 0;
        clearing = true;
        dakhost::ClearLogs();
        clearing = false;
    }
}

void RunObserver::SettingWritten(dakhost::Setting setting, int value)
{
    if (setting == dakhost::Setting::Reason) {
        m_decisions.ReasonStored(value);
    }
    m_journal.Store(setting, value, true);
}

void RunObserver::RtcRead(bool ok, std::optional<int64_t> utc)
{
    m_journal.RtcRead(ok, utc);
}

void RunObserver::RtcWritten(bool ok, std::optional<int64_t> utc)
{
    m_journal.RtcWrite(ok, utc);
}

void RunObserver::ClockSet(int result, uint32_t utc)
{
    m_journal.ClockSet(result, utc);
}

void RunObserver::SignalSent(const dakhost::SignalRecord& signal)
{
    if (signal.signalId != kSignalTimeUpdated) {
        return;
    }
    const unsigned type = SignalType(signal);
    const int number = m_signals.Count();
    const Moment moment = m_journal.Signal(number, type);
    m_signals.Keep({moment, type});
    if (!m_options.quiet) {
        m_runner.PrintAt(moment, "<< signal 108 #" + std::to_string(number) + " " +
                                     SetTypeName(static_cast<int16_t>(type)));
    }
}

void RunObserver::AlarmDue(uint64_t /*virtualMs*/, unsigned short eventId)
{
    const Moment moment = m_journal.SyncAlarm(eventId);
    if (!m_options.quiet) {
        m_runner.PrintAt(moment, "~~ sync: the 30 s period ends, the alarm fires");
    }
}

}  // namespace daksim
