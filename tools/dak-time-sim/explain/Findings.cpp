#include "Findings.h"

#include <algorithm>
#include <cstdlib>

#include "Vocabulary.h"

namespace daksim::explain {

namespace {

constexpr int64_t kFirstValidUtc = 978307200;  // 2001-01-01
constexpr int64_t kReasonInit = 0;
constexpr double kMsPerHour = 3600000.0;
constexpr uint64_t kInitWorthTelling = 60000;  // a minute on Reason_init

std::string Lines(const std::vector<uint64_t>& lines, uint64_t count)
{
    std::string text = count == 1 ? "line " : "lines ";
    for (size_t i = 0; i < lines.size(); ++i) {
        text += (i > 0 ? ", " : "") + std::to_string(lines[i]);
    }
    if (count > lines.size()) {
        text += " and " + std::to_string(count - lines.size()) + " more";
    }
    return text;
}

std::string Hours(uint64_t ms)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.2f h", static_cast<double>(ms) / kMsPerHour);
    return text;
}

}  // namespace

const char* KindName(Kind kind)
{
    switch (kind) {
        case Kind::Jump:
            return "jumps";
        case Kind::Backwards:
            return "backwards";
        case Kind::RefusedTables:
            return "refused-tables";
        case Kind::RtcReadFailure:
            return "rtc-unreadable";
        case Kind::RtcBefore2001:
            return "rtc-before-2001";
        case Kind::ReasonInit:
            return "on-Reason_init";
        case Kind::Drift:
            return "sync-corrections";
        case Kind::Count:
            break;
    }
    return "?";
}

void Findings::Found::Add(uint64_t line)
{
    ++count;
    if (lines.size() < kLinesKept) {
        lines.push_back(line);
    }
}

Findings::Findings(int64_t jumpSeconds) : m_jumpSeconds(jumpSeconds)
{
}

void Findings::Reset()
{
    m_found = {};
    m_jumpSources.clear();
    m_largestJump = 0;
    m_refusedInRow = 0;
    m_longestRefusedRun = 0;
    m_corrections = 0;
    m_correctedSeconds = 0;
    m_reason.reset();
    m_autoClock.reset();
    m_sinceMs = 0;
    m_fileBaseMs = 0;
    m_reasonInitMs = 0;
    m_initStretchMs = 0;
    m_autoClockMs.clear();
}

void Findings::Spend(const At& at)
{
    const uint64_t now = m_fileBaseMs + at.moment.elapsedMs;
    const uint64_t spent = now > m_sinceMs ? now - m_sinceMs : 0;
    if (m_reason == kReasonInit) {
        m_reasonInitMs += spent;
        m_initStretchMs += spent;
    }
    if (m_autoClock) {
        m_autoClockMs[*m_autoClock] += spent;
    }
    m_sinceMs = now;
}

void Findings::BeginFile(const std::string& /*name*/, const At& /*at*/)
{
    m_reason.reset();
    m_autoClock.reset();
    m_refusedInRow = 0;
}

void Findings::EndInitStretch()
{
    if (m_initStretchMs >= kInitWorthTelling) {
        Add(Kind::ReasonInit, m_initLine);
    }
    m_initStretchMs = 0;
}

void Findings::EndFile(const At& at)
{
    Spend(at);
    if (m_reason == kReasonInit) {
        EndInitStretch();
    }
    m_fileBaseMs += at.moment.elapsedMs;
    m_sinceMs = m_fileBaseMs;
}

void Findings::StartupRead(const Startup& startup, const At& at)
{
    if (startup.rtc && *startup.rtc < kFirstValidUtc && !startup.rtcFailed) {
        Add(Kind::RtcBefore2001, at.line);
    }
}

void Findings::Setting(const SettingEvent& event, const At& at)
{
    const Decisions::Setting& setting = event.setting;
    if (!setting.accepted || !event.clockBefore || setting.utc < 0) {
        return;
    }
    const int64_t jump = setting.utc - *event.clockBefore;
    if (std::llabs(jump) > m_jumpSeconds) {
        Add(Kind::Jump, at.line);
        ++m_jumpSources[SetTypeName(setting.type)];
        if (std::llabs(jump) > std::llabs(m_largestJump)) {
            m_largestJump = jump;
        }
    }
    if (jump < -1) {
        Add(Kind::Backwards, at.line);
    }
}

void Findings::Sync(const Decisions::Sync& sync, const At& at)
{
    if (!sync.system || !sync.rtc || sync.decision == "in step" || *sync.rtc < kFirstValidUtc) {
        return;
    }
    const uint64_t now = m_fileBaseMs + at.moment.elapsedMs;
    if (m_corrections == 0) {
        m_firstCorrectionMs = now;
    } else {
        m_correctedSeconds += *sync.system - *sync.rtc;
    }
    m_lastCorrectionMs = now;
    ++m_corrections;
    Add(Kind::Drift, at.line);
}

void Findings::RtcRead(bool ok, std::optional<int64_t> utc, const std::string& /*how*/,
                       const At& at)
{
    if (!ok || !utc) {
        Add(Kind::RtcReadFailure, at.line);
    } else if (*utc < kFirstValidUtc) {
        Add(Kind::RtcBefore2001, at.line);
    }
}

void Findings::Store(const std::string& key, int64_t value, const At& at)
{
    if (key == "reason") {
        Spend(at);
        if (value == kReasonInit && m_reason != kReasonInit) {
            m_initStretchMs = 0;
            m_initLine = at.line;
        } else if (value != kReasonInit && m_reason == kReasonInit) {
            EndInitStretch();
        }
        m_reason = value;
    } else if (key == "autoclock") {
        Spend(at);
        m_autoClock = value;
    }
}

void Findings::Table(const TableEvent& table, const At& at)
{
    if (table.result) {
        m_refusedInRow = 0;
        return;
    }
    ++m_refusedInRow;
    if (m_refusedInRow == 1) {
        m_refusedRunLine = at.line;
    }
    if (m_refusedInRow == kRefusedRun) {
        Add(Kind::RefusedTables, m_refusedRunLine);
    }
    m_longestRefusedRun = std::max(m_longestRefusedRun, m_refusedInRow);
}

void Findings::Print(FILE* out) const
{
    auto found = [this](Kind kind) -> const Found& { return m_found[static_cast<size_t>(kind)]; };
    auto say = [&](Kind kind, const std::string& what) {
        const Found& f = found(kind);
        std::fprintf(out, "  %s (%s)\n", what.c_str(), Lines(f.lines, f.count).c_str());
    };
    std::fputs("-- findings\n", out);
    bool any = false;
    if (found(Kind::Jump).count > 0) {
        std::string sources;
        for (const auto& source : m_jumpSources) {
            sources +=
                (sources.empty() ? "" : ", ") + source.first + " " + std::to_string(source.second);
        }
        say(Kind::Jump, std::to_string(found(Kind::Jump).count) + " clock jumps beyond " +
                            std::to_string(m_jumpSeconds) + " s, the largest " +
                            std::to_string(m_largestJump) + " s; by " + sources);
        any = true;
    }
    if (found(Kind::Backwards).count > 0) {
        say(Kind::Backwards,
            std::to_string(found(Kind::Backwards).count) + " settings moved the clock backwards");
        any = true;
    }
    if (found(Kind::RefusedTables).count > 0) {
        say(Kind::RefusedTables, std::to_string(found(Kind::RefusedTables).count) +
                                     " runs of refused stream tables, the longest " +
                                     std::to_string(m_longestRefusedRun) + " in a row");
        any = true;
    }
    if (found(Kind::RtcReadFailure).count > 0) {
        say(Kind::RtcReadFailure,
            std::to_string(found(Kind::RtcReadFailure).count) + " hardware-clock reads failed");
        any = true;
    }
    if (found(Kind::RtcBefore2001).count > 0) {
        say(Kind::RtcBefore2001, std::to_string(found(Kind::RtcBefore2001).count) +
                                     " hardware-clock readings before 2001");
        any = true;
    }
    if (found(Kind::ReasonInit).count > 0) {
        say(Kind::ReasonInit, Hours(m_reasonInitMs) + " on Reason_init in all, " +
                                  std::to_string(found(Kind::ReasonInit).count) +
                                  " stretches of a minute or more");
        any = true;
    }
    if (m_corrections >= 2) {
        const uint64_t span = m_lastCorrectionMs - m_firstCorrectionMs;
        std::string rate = "no time between them";
        if (span > 0) {
            char text[64];
            std::snprintf(
                text, sizeof text, "the hardware clock drifts %+.1f s a day",
                -static_cast<double>(m_correctedSeconds) * 86400000.0 / static_cast<double>(span));
            rate = text;
        }
        say(Kind::Drift, std::to_string(m_corrections) + " sync corrections: " + rate);
        any = true;
    }
    if (!m_autoClockMs.empty()) {
        std::string sources;
        for (const auto& source : m_autoClockMs) {
            sources += (sources.empty() ? "" : ", ") + AutoTypeName(source.first) + " " +
                       Hours(source.second);
        }
        std::fprintf(out, "  time on each automatic source: %s\n", sources.c_str());
    }
    if (!any) {
        std::fputs("  nothing out of the ordinary\n", out);
    }
}

}  // namespace daksim::explain
