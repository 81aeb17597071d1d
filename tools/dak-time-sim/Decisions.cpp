#include "Decisions.h"

#include <cstdlib>
#include <utility>

#include "Vocabulary.h"

namespace daksim {

namespace {

constexpr int kRtcFollowsSystemClock = 4;  // factory option 24
constexpr int64_t kSetTypeSync = 5;

bool Has(const std::string& text, const char* part)
{
    return text.find(part) != std::string::npos;
}

// The decimal number after `key` in `text`.
std::optional<int64_t> NumberAfter(const std::string& text, const char* key)
{
    const size_t at = text.find(key);
    if (at == std::string::npos) {
        return std::nullopt;
    }
    const char* start = text.c_str() + at + std::char_traits<char>::length(key);
    while (*start == ' ') {
        ++start;
    }
    char* end = nullptr;
    const long long value = std::strtoll(start, &end, 10);
    if (end == start) {
        return std::nullopt;
    }
    return value;
}

// The word after `key` (up to a blank, a comma or an escape character).
std::string WordAfter(const std::string& text, const char* key)
{
    size_t at = text.find(key);
    if (at == std::string::npos) {
        return {};
    }
    at += std::char_traits<char>::length(key);
    while (at < text.size() && text[at] == ' ') {
        ++at;
    }
    size_t end = at;
    while (end < text.size() && text[end] != ' ' && text[end] != ',' && text[end] != '\x1b') {
        ++end;
    }
    return text.substr(at, end - at);
}

}  // namespace

Decisions::Decisions(std::function<void(const Setting&)> onSetting,
                     std::function<void(const Sync&)> onSync)
    : m_onSetting(std::move(onSetting)), m_onSync(std::move(onSync))
{
}

void Decisions::CallStep(std::optional<int64_t> type, int64_t utc)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_callType = type;
    m_callUtc = utc;
}

void Decisions::ReasonStored(int reason)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_reasonBefore = m_reason;
    m_reason = reason;
}

void Decisions::Option24(std::optional<int> value)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_option24 = value;
}

void Decisions::Refused(bool onCallThread, std::optional<int64_t> utc, const std::string& why)
{
    const std::optional<int64_t> type = onCallThread ? m_callType : m_taskType;
    if (!type) {
        return;
    }
    Setting setting;
    setting.type = *type;
    setting.utc = utc.value_or(onCallThread ? m_callUtc : -1);
    setting.accepted = false;
    setting.why = why;
    setting.reasonBefore = m_reason;
    setting.reasonAfter = m_reason;
    m_onSetting(setting);
}

void Decisions::EndSync(const Sync& sync)
{
    m_inSync = false;
    m_onSync(sync);
}

void Decisions::Line(const dakhost::LogLine& line)
{
    // Most messages are logged twice, via Print and via PrintF: one is read.
    if (line.via != dakhost::Via::Print) {
        return;
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    // A task's handler may run on the caller's thread (the fixed scheduling
    // rule): what counts is whose turn it is.
    const bool onCallThread = !dakhost::InTaskTurn();
    const std::string& text = line.text;
    const std::string& function = line.function;

    if (function == "SetSystemTime") {
        if (Has(text, "is over the range")) {
            Refused(onCallThread, NumberAfter(text, "UTC"), "beyond 2100");
        } else if (Has(text, "is less than range")) {
            Refused(onCallThread, NumberAfter(text, "UTC"), "before 2001");
        } else if (Has(text, "not possible to set manual time")) {
            Refused(onCallThread, std::nullopt, "manual time while the clock is automatic");
        } else if (Has(text, "isn't Created")) {
            Refused(onCallThread, std::nullopt, "manager not initialised");
        }
    } else if (function == "SetSystemTimeByNetworkTime") {
        if (Has(text, "current clock mode is Manual")) {
            Refused(onCallThread, std::nullopt, "clock is manual");
        } else if (Has(text, "StreamTime is already set")) {
            Refused(onCallThread, std::nullopt, "the stream is the automatic source");
        } else if (Has(text, "isn't Created")) {
            Refused(onCallThread, std::nullopt, "manager not initialised");
        }
    } else if (function == "t_SetSystemTimeByNetworkTime" &&
               Has(text, "Failed to set network time")) {
        Refused(onCallThread, std::nullopt, "no network time");
    } else if (function == "t_GetInitSettingTypeByReason" ||
               function == "t_GetSettingTypeByReason") {
        if (const auto type = ParseSetType(WordAfter(text, "result="))) {
            m_callType = type;
        }
    } else if (function == "t_SetSystemTime") {
        if (Has(text, "t_SetSystemTime] UTC =")) {
            Setting setting;
            setting.utc = NumberAfter(text, "UTC =").value_or(-1);
            setting.type = ParseSetType(WordAfter(text, ",")).value_or(-1);
            setting.accepted = true;
            setting.reasonBefore = m_reasonBefore;
            m_applying = setting;
        } else if (m_applying && Has(text, "SetSystemClock UTC!failed")) {
            m_applying->accepted = false;
            m_applying->why = "platform clock refused, ret=" +
                              std::to_string(NumberAfter(text, "ret=").value_or(0));
            m_applying->reasonAfter = m_reason;
            m_onSetting(*m_applying);
            m_applying.reset();
        } else if (m_applying && Has(text, "SetSystemClock")) {
            m_applying->reasonAfter = m_reason;
            m_onSetting(*m_applying);
            m_applying.reset();
        }
    } else if (function == "t_SyncSystemTime") {
        if (Has(text, "SyncSystemTime UTC=")) {
            m_inSync = true;
            m_taskType = kSetTypeSync;
            m_syncSystem = NumberAfter(text, "UTC=");
            if (NumberAfter(text, "ret=").value_or(1) == 0) {
                EndSync({std::nullopt, std::nullopt, "platform clock unreadable"});
            }
        } else if (m_inSync && Has(text, "sub=")) {
            Sync sync;
            sync.system = NumberAfter(text, "UTC=");
            sync.rtc = NumberAfter(text, "rtcTime=");
            const int64_t magnitude = NumberAfter(text, "sub=").value_or(0);
            if (magnitude <= 1) {
                sync.decision = "in step";
            } else if (m_option24 == kRtcFollowsSystemClock) {
                sync.decision = "hardware clock set from the platform clock";
            } else {
                sync.decision = "platform clock set from the hardware clock";
            }
            EndSync(sync);
        }
    } else if (m_inSync && function == "t_IsPossibleUpdateTime" && Has(text, "result=0")) {
        EndSync({m_syncSystem, std::nullopt,
                 "not permitted under " + WordAfter(text, "t_IsPossibleUpdateTime]")});
    } else if (m_inSync && function == "t_GetRTCTime" && Has(text, "fail")) {
        EndSync({m_syncSystem, std::nullopt, "hardware clock unreadable"});
    }
}

}  // namespace daksim
