#include "LogFeed.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <utility>
#include <vector>

#include "LibraryMessages.h"
#include "Stamp.h"
#include "TimeText.h"
#include "Vocabulary.h"

namespace daksim::explain {

namespace {

// The setting a step echoed by the simulator asks for ("> settime ...").
void EchoedStep(std::string_view step, Rebuild& rebuild)
{
    std::vector<std::string> words;
    size_t at = 0;
    while (at < step.size() && words.size() < 5) {
        while (at < step.size() && step[at] == ' ') {
            ++at;
        }
        const size_t end = std::min(step.find(' ', at), step.size());
        if (end > at) {
            words.emplace_back(step.substr(at, end - at));
        }
        at = end;
    }
    auto time = [](const std::string& word) -> int64_t {
        if (const auto utc = UtcFromIso(word)) {
            return *utc;
        }
        return ParseInteger(word).value_or(-1);
    };
    if (words.empty()) {
        return;
    }
    if (words[0] == "settime" && words.size() >= 3) {
        rebuild.CallStep(ParseSetType(words[2]), time(words[1]));
    } else if (words[0] == "networktime") {
        rebuild.CallStep(2, -1);
    } else if (words[0] == "init") {
        rebuild.CallStep(6, -1);
    } else if (words[0] == "stream" && words.size() >= 4 && words[2] == "set") {
        rebuild.CallStep(1, time(words[3]));
        rebuild.StreamStep(words[1]);
    } else if (words[0] == "stream" && words.size() >= 3 && words[2] == "play") {
        rebuild.CallStep(std::nullopt, -1);  // as a run's trace reads a replay
        rebuild.StreamStep(words[1]);
    } else if (words[0] == "set" && words.size() >= 3 && words[1] == "reason") {
        rebuild.CallStep(std::nullopt, -1);
        if (const auto reason = ParseReason(words[2])) {
            rebuild.ReasonStep(static_cast<int>(*reason));
        }
    } else {
        rebuild.CallStep(std::nullopt, -1);
    }
}

// A time of day ("10:00:00") near the start of a line: a stamp of some form.
bool LooksStamped(std::string_view line)
{
    const std::string_view start = line.substr(0, std::min<size_t>(line.size(), 40));
    for (size_t i = 0; i + 8 <= start.size(); ++i) {
        const auto digit = [&](size_t at) { return start[at] >= '0' && start[at] <= '9'; };
        if (digit(i) && digit(i + 1) && start[i + 2] == ':' && digit(i + 3) && digit(i + 4) &&
            start[i + 5] == ':' && digit(i + 6) && digit(i + 7)) {
            return true;
        }
    }
    return false;
}

// A step back of the wall stamps this long is the clock's, not a stamp's.
constexpr int64_t kBackMs = 2000;

}  // namespace

LogFeed::LogFeed(Rebuild& rebuild, std::string name)
    : m_rebuild(rebuild), m_name(std::move(name)), m_damagedBefore(rebuild.Damaged())
{
}

void LogFeed::NewBoot(uint64_t number)
{
    if (!m_open) {
        return;  // the log starts with it
    }
    m_rebuild.EndFile(number - 1);
    ++m_boot;
    m_rebuild.BeginFile(m_name + ", boot " + std::to_string(m_boot), number, false, true);
    m_working = false;
}

void LogFeed::StartedAgain(uint64_t number)
{
    if (m_uptimeMs) {
        // The uptime runs on: the library started again in the same boot
        // (its stop is not logged at every level).
        return;
    }
    if (m_rebuild.DecisionsLogged()) {
        NewBoot(number);  // it would have logged its stop
        return;
    }
    m_rebuild.Undecided("whether the start-up on line " + std::to_string(number) +
                        " is a new boot or the library started again in the same one (its "
                        "stop is not logged at this level): taken for a new boot");
    NewBoot(number);
}

void LogFeed::Watch(const Message& message, uint64_t number)
{
    const dakhost::LogLine& line = message.line;
    // A damaged line tells neither a start-up nor work done.
    const auto whole = [&] { return Identify(line.function, line.text).whole; };
    if (line.function == "Init") {
        const bool startup =
            (message.id == Id(dak::msg::kInitTask) || message.id == Id(dak::msg::kInitPower) ||
             message.id == Id(dak::msg::kInitPowerShort)) &&
            whole();
        if (startup && !m_simulator && (m_working || m_clockBack)) {
            // The set's clock went back with nothing of the library setting
            // it: it started again from the hardware clock, a new boot.
            m_clockBack ? NewBoot(number) : StartedAgain(number);
        }
        m_clockBack = m_clockBack && !startup;
        m_working = m_working && !startup;
    } else if (line.function == "t_SyncSystemTime" || line.function == "t_SetSystemTime") {
        m_clockBack = false;  // the library sets the clock: it may go back
        m_working = m_working || whole();
    } else if (line.function == "~TCSystemTimeManager") {
        m_working = false;
    }
}

void LogFeed::Line(uint64_t number, std::string_view line)
{
    if (line.rfind("-- Boot ", 0) == 0 || line.rfind("-- Reboot --", 0) == 0) {
        NewBoot(number);  // journald's
        return;
    }
    if (line.rfind("=== ", 0) == 0) {  // the simulator starts a file
        if (m_open) {
            m_rebuild.EndFile(number - 1);
        }
        m_rebuild.BeginFile(std::string(line.substr(4)), number, true);
        m_open = true;
        return;
    }
    const std::optional<Stamp> stamp = ReadStamp(line);
    const std::string_view rest = stamp ? line.substr(stamp->length) : line;
    const bool simulator = stamp && stamp->kind == Stamp::Kind::Simulator;
    m_simulator = m_simulator || simulator;
    if (stamp && stamp->kind == Stamp::Kind::Uptime) {
        if (m_uptimeMs && stamp->ms + 1000 < *m_uptimeMs) {
            NewBoot(number);  // the uptime started again
        }
        m_uptimeMs = stamp->ms;
    }
    const std::optional<Message> message = m_recogniser.Read(rest, simulator);
    if (message && !stamp && !m_unreadStampSaid && LooksStamped(line)) {
        std::fprintf(stderr, "%s: line %llu: a time stamp of a form explain cannot read: %.*s\n",
                     m_name.c_str(), static_cast<unsigned long long>(number),
                     static_cast<int>(std::min<size_t>(line.size(), 160)), line.data());
        m_unreadStampSaid = true;
    }
    if (message) {
        ++m_messages;
        if (!m_open) {
            m_rebuild.BeginFile(m_name, number, false);
            m_open = true;
        }
        if (stamp && (stamp->kind == Stamp::Kind::Calendar || stamp->kind == Stamp::Kind::Syslog)) {
            m_clockBack = m_clockBack || (m_wallMs && stamp->ms + kBackMs < *m_wallMs);
            m_wallMs = stamp->ms;
        }
        Watch(*message, number);
        m_rebuild.Line(number, stamp, &*message);
        return;
    }
    if (!m_open || !stamp) {
        return;
    }
    m_rebuild.Line(number, stamp, nullptr);
    if (simulator) {
        const size_t step = rest.find_first_not_of(' ');
        if (step != std::string_view::npos && rest.compare(step, 2, "> ") == 0) {
            EchoedStep(rest.substr(step + 2), m_rebuild);
        }
    }
}

void LogFeed::End(uint64_t lines)
{
    if (m_open) {
        m_rebuild.EndFile(lines);
        m_open = false;
    }
}

}  // namespace daksim::explain
