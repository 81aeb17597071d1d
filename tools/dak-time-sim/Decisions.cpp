#include "Decisions.h"

#include <utility>

#include "LogFields.h"
#include "Vocabulary.h"

namespace daksim {

using namespace std::string_view_literals;

namespace {

constexpr int kRtcFollowsSystemClock = 4;  // factory option 24
constexpr int64_t kSetTypeNet = 2;
constexpr int64_t kSetTypeSync = 5;

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

void Decisions::CallUnknown()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_callType = kTypeUnknown;
    m_callUtc = -1;
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

std::optional<int64_t> Decisions::Asked(bool onCallThread) const
{
    return onCallThread ? m_callType : std::optional<int64_t>(m_taskType);
}

void Decisions::Refused(std::optional<int64_t> type, std::optional<int64_t> utc,
                        const std::string& why, bool onCallThread)
{
    if (!type) {
        return;
    }
    Setting setting;
    setting.type = *type;
    setting.utc = utc.value_or(onCallThread && *type == m_callType ? m_callUtc : -1);
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
    Read(line, !dakhost::InTaskTurn());
}

void Decisions::LineRead(const dakhost::LogLine& line)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_fromLog = true;
    // A refusal right after a sync's clocks is of the sync's own setting.
    bool byTask = m_inSync;
    if (m_syncPending && (line.via == dakhost::Via::Print || line.via == dakhost::Via::Profiling)) {
        Sync sync = *m_syncPending;
        m_syncPending.reset();
        const bool rtcNext = line.function == "t_SetRTCTime"sv ||
                             Has(line.text, "t_SyncSystemTime[BEGIN] t_SetRTCTime");
        sync.decision = rtcNext ? "hardware clock set from the platform clock"
                                : "platform clock set from the hardware clock";
        EndSync(sync);
        byTask = true;
    }
    if (line.via == dakhost::Via::Print) {
        Read(line, !byTask);
    }
}

void Decisions::EndOfLog()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_syncPending) {
        Sync sync = *m_syncPending;
        m_syncPending.reset();
        sync.decision = "platform clock set from the hardware clock";
        EndSync(sync);
    }
}

void Decisions::Read(const dakhost::LogLine& line, bool onCallThread)
{
    const std::string& text = line.text;
    const std::string& function = line.function;

    if (function == "SetSystemTime"sv) {
        if (Has(text, "is over the range")) {
            Refused(Asked(onCallThread), NumberAfter(text, "UTC"), "beyond 2100", onCallThread);
        } else if (Has(text, "is less than range")) {
            Refused(Asked(onCallThread), NumberAfter(text, "UTC"), "before 2001", onCallThread);
        } else if (Has(text, "not possible to set manual time")) {
            Refused(Asked(onCallThread), std::nullopt, "manual time while the clock is automatic",
                    onCallThread);
        } else if (Has(text, "isn't Created")) {
            Refused(Asked(onCallThread), std::nullopt, "manager not initialised", onCallThread);
        }
    } else if (function == "SetSystemTimeByNetworkTime"sv) {
        // Network time, whether a client or the task asks for it.
        if (Has(text, "current clock mode is Manual")) {
            Refused(kSetTypeNet, std::nullopt, "clock is manual", onCallThread);
        } else if (Has(text, "StreamTime is already set")) {
            Refused(kSetTypeNet, std::nullopt, "the stream is the automatic source", onCallThread);
        } else if (Has(text, "isn't Created")) {
            Refused(kSetTypeNet, std::nullopt, "manager not initialised", onCallThread);
        }
    } else if (function == "t_SetSystemTimeByNetworkTime"sv &&
               Has(text, "Failed to set network time")) {
        Refused(kSetTypeNet, std::nullopt, "no network time", onCallThread);
    } else if (function == "t_GetInitSettingTypeByReason"sv ||
               function == "t_GetSettingTypeByReason"sv) {
        if (const auto type = ParseSetType(WordAfter(text, "result="))) {
            m_callType = type;
        }
    } else if (function == "t_SetSystemTime"sv) {
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
    } else if (function == "t_SyncSystemTime"sv) {
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
            } else if (m_fromLog) {
                m_syncPending = sync;
                m_inSync = false;
                return;
            } else if (m_option24 == kRtcFollowsSystemClock) {
                sync.decision = "hardware clock set from the platform clock";
            } else {
                sync.decision = "platform clock set from the hardware clock";
            }
            EndSync(sync);
        }
    } else if (m_inSync && function == "t_IsPossibleUpdateTime"sv && Has(text, "result=0")) {
        EndSync({m_syncSystem, std::nullopt,
                 "not permitted under " + WordAfter(text, "t_IsPossibleUpdateTime]")});
    } else if (m_inSync && function == "t_GetRTCTime"sv && Has(text, "fail")) {
        EndSync({m_syncSystem, std::nullopt, "hardware clock unreadable"});
    }
}

}  // namespace daksim
