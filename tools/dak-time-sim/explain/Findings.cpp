#include "Findings.h"

#include <algorithm>
#include <cstdlib>

#include "LibraryMessages.h"
#include "Vocabulary.h"
#include "Wording.h"

namespace daksim::explain {

namespace {

constexpr int64_t kFirstValidUtc = 978307200;  // 2001-01-01
constexpr int64_t kReasonInit = 0;
constexpr double kMsPerDay = 86400000.0;
constexpr uint64_t kDriftSpanMs = uint64_t{2} * 3600 * 1000;  // corrections this far apart
constexpr size_t kCannotTellKept = 8;
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
    return Duration(ms / 1000);
}

// The fault of the platform a message of the library's tells, if any.
std::optional<Kind> FaultOf(const LibraryMessage& known)
{
    namespace msg = dak::msg;
    switch (known.id) {
        case Id(msg::kClockRefused):
            return Kind::ClockRefused;
        case Id(msg::kClockReadFailed):
            return Kind::ClockUnreadable;
        case Id(msg::kRtcWriteOpenFail):
        case Id(msg::kRtcWriteFail):
            return Kind::RtcUnwritable;
        case Id(msg::kSettingChanged):  // "received type:%d, Send ret=%d"
        case Id(msg::kPresentationChanged):
            return known.Number(1) == 0 ? std::optional<Kind>(Kind::SendRefused) : std::nullopt;
        case Id(msg::kInitNoMutex):
        case Id(msg::kStreamNoMutex):
        case Id(msg::kInitNoAlarm):
        case Id(msg::kInitUndone):
        case Id(msg::kSetNotCreated):
        case Id(msg::kNetNotCreated):
            return Kind::NotCreated;
        default:
            return std::nullopt;
    }
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
        case Kind::ClockRefused:
            return "clock-refused";
        case Kind::ClockUnreadable:
            return "clock-unreadable";
        case Kind::RtcUnwritable:
            return "rtc-unwritable";
        case Kind::SendRefused:
            return "send-refused";
        case Kind::NotCreated:
            return "not-created";
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
    m_earlierBoots = {};
    m_boots = false;
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
    m_correctionsBothWays = false;
    m_lastCorrection = 0;
    m_cannotTell.clear();
}

void Findings::Log(const dakhost::LogLine& line, const At& at)
{
    if (line.via == dakhost::Via::PrintF) {
        return;  // the copy of a message logged twice
    }
    if (const auto fault = FaultOf(Identify(line.function, line.text))) {
        Add(*fault, at.line);
    }
}

void Findings::Undecided(const std::string& what, const At& /*at*/)
{
    if (m_cannotTell.size() < kCannotTellKept) {
        m_cannotTell.push_back(what);
    }
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

void Findings::BeginBoot(const std::string& name, const At& at)
{
    m_boots = true;
    if (m_printTo != nullptr) {
        Print(m_printTo);
    }
    for (size_t kind = 0; kind < m_found.size(); ++kind) {
        m_earlierBoots[kind] += m_found[kind].count;
    }
    const auto earlier = m_earlierBoots;
    Reset();
    m_earlierBoots = earlier;
    m_boots = true;
    BeginFile(name, at);
}

void Findings::BeginFile(const std::string& name, const At& /*at*/)
{
    m_part = name;
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
    const std::optional<int64_t> before = event.clockBefore;
    if (!setting.accepted || !before || setting.utc < 0) {
        return;
    }
    const int64_t jump = setting.utc - *before;
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
    const int64_t correction = *sync.system - *sync.rtc;
    if (m_corrections == 0) {
        m_firstCorrectionMs = now;
    } else {
        m_correctedSeconds += correction;
        m_correctionsBothWays = m_correctionsBothWays || (correction > 0) != (m_lastCorrection > 0);
    }
    m_lastCorrection = correction;
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
    auto count = [this](Kind kind) { return m_found[static_cast<size_t>(kind)].count; };
    auto say = [&](Kind kind, const std::string& what) {
        const Found& f = m_found[static_cast<size_t>(kind)];
        std::fprintf(out, "  %s (%s)\n", what.c_str(), Lines(f.lines, f.count).c_str());
    };
    if (m_boots) {
        std::fprintf(out, "-- findings of %s\n", m_part.c_str());
    } else {
        std::fputs("-- findings\n", out);
    }
    for (const std::string& what : m_cannotTell) {
        std::fprintf(out, "  cannot tell: %s\n", what.c_str());
    }
    bool any = false;
    if (count(Kind::Jump) > 0) {
        std::string sources;
        for (const auto& source : m_jumpSources) {
            sources +=
                (sources.empty() ? "" : ", ") + source.first + " " + std::to_string(source.second);
        }
        say(Kind::Jump, Counted(count(Kind::Jump), "clock jump", "clock jumps") + " beyond " +
                            Duration(static_cast<uint64_t>(m_jumpSeconds)) + ", the largest " +
                            Move(m_largestJump) + "; by " + sources);
    }
    if (count(Kind::Backwards) > 0) {
        say(Kind::Backwards,
            Counted(count(Kind::Backwards), "setting", "settings") + " moved the clock backwards");
    }
    if (count(Kind::RefusedTables) > 0) {
        say(Kind::RefusedTables, Counted(count(Kind::RefusedTables), "run", "runs") +
                                     " of refused stream tables, the " + "longest " +
                                     std::to_string(m_longestRefusedRun) + " in a row");
    }
    if (count(Kind::RtcReadFailure) > 0) {
        say(Kind::RtcReadFailure,
            Counted(count(Kind::RtcReadFailure), "hardware-clock read", "hardware-clock reads") +
                " failed");
    }
    if (count(Kind::RtcBefore2001) > 0) {
        say(Kind::RtcBefore2001, Counted(count(Kind::RtcBefore2001), "hardware-clock reading",
                                         "hardware-clock readings") +
                                     " before 2001");
    }
    if (count(Kind::ReasonInit) > 0) {
        say(Kind::ReasonInit, Hours(m_reasonInitMs) + " on Reason_init in all, " +
                                  Counted(count(Kind::ReasonInit), "stretch", "stretches") +
                                  " of a minute or more");
    }
    if (m_corrections >= 2) {
        const uint64_t span = m_lastCorrectionMs - m_firstCorrectionMs;
        std::string rate;
        if (span < kDriftSpanMs) {
            rate = "too close together to tell a drift (" + Duration(span / 1000) + " apart)";
        } else if (m_correctionsBothWays) {
            rate = "both ways over " + Duration(span / 1000) + ": no steady drift";
        } else {
            char text[64];
            std::snprintf(
                text, sizeof text, "the hardware clock drifts %+.1f s a day",
                -static_cast<double>(m_correctedSeconds) * kMsPerDay / static_cast<double>(span));
            rate = text + std::string(", over ") + Duration(span / 1000);
        }
        say(Kind::Drift,
            Counted(m_corrections, "sync correction", "sync corrections") + ": " + rate);
    }
    static const std::pair<Kind, const char*> kFaultWords[] = {
        {Kind::ClockRefused, "the platform clock refused a setting"},
        {Kind::ClockUnreadable, "the platform clock could not be read"},
        {Kind::RtcUnwritable, "the hardware clock could not be written"},
        {Kind::SendRefused, "an event to the manager's task was not sent"},
        {Kind::NotCreated, "a task, mutex or alarm of the library was not made"},
    };
    for (const auto& fault : kFaultWords) {
        if (count(fault.first) > 0) {
            say(fault.first,
                std::string(fault.second) + ", " + Counted(count(fault.first), "time", "times"));
        }
    }
    for (size_t kind = 0; kind < static_cast<size_t>(Kind::Count); ++kind) {
        any = any || m_found[kind].count > 0;
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
        std::fputs(m_cannotTell.empty() ? "  nothing out of the ordinary\n"
                                        : "  nothing out of the ordinary in what it can tell\n",
                   out);
    }
}

}  // namespace daksim::explain
