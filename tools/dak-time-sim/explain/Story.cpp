#include "Story.h"

#include <cstdlib>

#include "TimeText.h"
#include "Vocabulary.h"
#include "Wording.h"

namespace daksim::explain {

namespace {

std::string Time(int64_t utc)
{
    return IsoFromUtc(utc);
}

}  // namespace

void Story::Say(const At& at, const std::string& text)
{
    if (text == m_last) {
        ++m_repeats;
        m_lastLine = at.line;
        return;
    }
    Flush();
    m_last = text;
    m_firstLine = at.line;
    m_lastLine = at.line;
    const std::string clock = at.moment.clock != 0 ? Time(at.moment.clock) : "unknown";
    std::fprintf(m_out, "%8llu  %-20s  %16s  %s\n", static_cast<unsigned long long>(at.line),
                 clock.c_str(), ElapsedText(at.moment.elapsedMs).c_str(), text.c_str());
}

void Story::Flush()
{
    if (m_repeats > 0) {
        std::fprintf(m_out, "%8s  %-20s  %16s  x%llu, lines %llu-%llu\n", "", "", "",
                     static_cast<unsigned long long>(m_repeats) + 1,
                     static_cast<unsigned long long>(m_firstLine),
                     static_cast<unsigned long long>(m_lastLine));
    }
    m_repeats = 0;
    m_last.clear();
}

void Story::BeginFile(const std::string& name, const At& /*at*/)
{
    Flush();
    std::fprintf(m_out, "=== %s\n", name.c_str());
    std::fprintf(m_out, "%8s  %-20s  %16s  %s\n", "LINE", "CLOCK", "ELAPSED", "WHAT");
}

void Story::EndFile(const At& /*at*/)
{
    Flush();
}

void Story::StartupRead(const Startup& startup, const At& at)
{
    std::string text = "start-up:";
    if (startup.mainPower) {
        text += std::string(" main power ") + (*startup.mainPower ? "on" : "off");
    }
    if (startup.battery) {
        text += std::string(", backup battery ") + (*startup.battery ? "yes" : "no");
    }
    if (startup.reason) {
        text += ", stored " + ReasonName(*startup.reason);
    }
    if (startup.rtcFailed) {
        text += ", hardware clock unreadable";
    } else if (startup.rtc) {
        text += ", hardware clock " + Time(*startup.rtc);
    }
    if (startup.type) {
        text += ", replay as " + SetTypeName(*startup.type);
    }
    Say(at, text);
}

void Story::Setting(const SettingEvent& event, const At& at)
{
    const Decisions::Setting& setting = event.setting;
    std::string text =
        "setting " + (setting.type == Decisions::kTypeUnknown ? std::string("of a type not logged")
                                                              : SetTypeName(setting.type));
    if (setting.utc >= 0) {
        text += " " + Time(setting.utc);
    }
    text += setting.accepted ? " accepted" : " refused: " + setting.why;
    if (event.reasonsKnown) {
        text += " (" + ReasonName(setting.reasonBefore) + " -> " + ReasonName(setting.reasonAfter) +
                ")";
    }
    if (setting.accepted && event.clockBefore && setting.utc >= 0) {
        text += ", clock moved " + Move(setting.utc - *event.clockBefore);
    }
    Say(at, text);
}

void Story::Sync(const Decisions::Sync& sync, const At& at)
{
    if (sync.decision == "in step") {
        return;  // the ordinary case, every 30 seconds
    }
    std::string text = "sync";
    if (sync.system) {
        text += ": platform " + Time(*sync.system);
    }
    if (sync.rtc) {
        text += ", hardware " + Time(*sync.rtc);
    }
    if (sync.system && sync.rtc) {
        const int64_t difference = *sync.system - *sync.rtc;
        text += ", the platform clock " +
                (difference == 0 ? std::string("in step")
                                 : Duration(static_cast<uint64_t>(std::llabs(difference))) +
                                       (difference < 0 ? " behind" : " ahead"));
    }
    Say(at, text + ": " + sync.decision);
}

void Story::RtcRead(bool ok, std::optional<int64_t> utc, const std::string& how, const At& at)
{
    if (!ok) {
        Say(at,
            how == "absent" ? "hardware clock: cannot be opened" : "hardware clock: read failed");
    } else if (!utc) {
        Say(at, "hardware clock: no calendar time (" + how + ")");
    }
}

void Story::RtcWrite(bool ok, std::optional<int64_t> utc, const At& at)
{
    if (!ok) {
        Say(at, "hardware clock: write of " + (utc ? Time(*utc) : std::string("?")) + " failed");
    }
}

void Story::ClockRead(std::optional<int64_t> utc, int ret, const At& at)
{
    if (!utc) {
        Say(at, "platform clock: read failed, ret=" + std::to_string(ret));
    }
}

void Story::Store(const std::string& key, int64_t value, const At& at)
{
    if (key == "autoclock") {
        Say(at, "auto clock type " + AutoTypeName(value));
    } else if (key == "reason") {
        Say(at, "stored reason " + ReasonName(value));
    } else if (key == "offset") {
        Say(at, "time offset " + std::to_string(value) + " min");
    }
}

void Story::Table(const TableEvent& table, const At& at)
{
    if (table.result && !table.askedSet && table.why.empty()) {
        return;
    }
    std::string text =
        "stream table " + (table.handle.empty() ? "?" : table.handle) + " " + Time(table.utc);
    if (!table.result) {
        text += " refused: " + table.why;
    } else if (table.askedSet) {
        text += ": asks the manager to set the system time";
    } else {
        text += ": does not drive the system time, " + table.why;
    }
    Say(at, text);
}

void Story::Network(std::optional<int64_t> utc, const At& at)
{
    Say(at, utc ? "network time " + Time(*utc) : std::string("network time: none to take"));
}

void Story::Subscription(const std::string& which, bool on, const At& at)
{
    if (on) {  // drops are not logged: only told as what a setting implies
        Say(at, "subscribes to " + which);
    }
}

void Story::ManagerExit(const At& at)
{
    Say(at, "manager deleted");
}

void Story::Undecided(const std::string& what, const At& at)
{
    Say(at, "cannot tell: " + what);
}

}  // namespace daksim::explain
