#include "Decisions.h"

#include <utility>

#include "LibraryMessages.h"
#include "TimeSettingTypes.h"
#include "Vocabulary.h"

namespace daksim {

namespace msg = dak::msg;

namespace {
constexpr int kRtcFollowsSystemClock = 4;  // factory option 24
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
    Tell(setting);
}

void Decisions::EndSync(const Sync& sync)
{
    m_inSync = false;
    if (m_onSync) {
        m_onSync(sync);
    } else {
        m_decided.emplace_back(sync);
    }
}

void Decisions::Tell(const Setting& setting)
{
    if (m_onSetting) {
        m_onSetting(setting);
    } else {
        m_decided.emplace_back(setting);
    }
}

void Decisions::Line(const dakhost::LogLine& line)
{
    // Most messages are logged twice, via Print and via PrintF: one is read.
    if (line.via != dakhost::Via::Print) {
        return;
    }
    const LibraryMessage known = Identify(line.function, line.text);
    const std::lock_guard<std::mutex> lock(m_lock);
    // A task's handler may run on the caller's thread (the fixed scheduling
    // rule): what counts is whose turn it is.
    Read(known, !dakhost::InTaskTurn());
}

void Decisions::LineRead(const dakhost::LogLine& line, const LibraryMessage& known)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_fromLog = true;
    // A refusal right after a sync's clocks is of the sync's own setting.
    bool byTask = m_inSync;
    if (m_syncPending && (line.via == dakhost::Via::Print || line.via == dakhost::Via::Profiling)) {
        Sync sync = *m_syncPending;
        m_syncPending.reset();
        bool rtcNext = false;
        switch (known.id) {
            case Id(msg::kRtcWrite):
            case Id(msg::kRtcWriteOpenFail):
            case Id(msg::kRtcWriteFail):
            case Id(msg::kProfileSyncRtcBegin):
                rtcNext = true;
                break;
            default:
                break;
        }
        sync.decision = rtcNext ? "hardware clock set from the platform clock"
                                : "platform clock set from the hardware clock";
        EndSync(sync);
        byTask = true;
    }
    if (line.via == dakhost::Via::Print) {
        Read(known, !byTask);
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

void Decisions::Read(const LibraryMessage& known, bool onCallThread)
{
    switch (known.id) {
        case Id(msg::kSetOverRange):
            Refused(Asked(onCallThread), known.Number(0), "beyond 2100", onCallThread);
            break;
        case Id(msg::kSetUnderRange):
            Refused(Asked(onCallThread), known.Number(0), "before 2001", onCallThread);
            break;
        case Id(msg::kSetManualRefused):
            Refused(Asked(onCallThread), std::nullopt, "manual time while the clock is automatic",
                    onCallThread);
            break;
        case Id(msg::kSetNotCreated):
            Refused(Asked(onCallThread), std::nullopt, "manager not initialised", onCallThread);
            break;
        // Network time, whether a client or the task asks for it.
        case Id(msg::kNetManual):
            Refused(SetType_net, std::nullopt, "clock is manual", onCallThread);
            break;
        case Id(msg::kNetStreamSet):
            Refused(SetType_net, std::nullopt, "the stream is the automatic source", onCallThread);
            break;
        case Id(msg::kNetNotCreated):
            Refused(SetType_net, std::nullopt, "manager not initialised", onCallThread);
            break;
        case Id(msg::kNetFailed):
            Refused(SetType_net, std::nullopt, "no network time", onCallThread);
            break;
        case Id(msg::kInitType):  // "%s, result=%s": the stored reason, the replay's type
            if (const auto type = ParseSetType(known.Word(1))) {
                m_callType = type;
            }
            break;
        case Id(msg::kApplying): {  // "UTC = %lu,  %s"
            Setting setting;
            setting.utc = known.Number(0).value_or(-1);
            setting.type = ParseSetType(known.Word(1)).value_or(-1);
            setting.accepted = true;
            setting.reasonBefore = m_reasonBefore;
            m_applying = setting;
            break;
        }
        case Id(msg::kClockRefused):  // "ret=%d"
            if (m_applying) {
                m_applying->accepted = false;
                m_applying->clockResult = static_cast<int>(known.Number(0).value_or(0));
                m_applying->why =
                    "platform clock refused, ret=" + std::to_string(m_applying->clockResult);
                m_applying->reasonAfter = m_reason;
                Tell(*m_applying);
                m_applying.reset();
            }
            break;
        case Id(msg::kApplied):
            if (m_applying) {
                m_applying->reasonAfter = m_reason;
                Tell(*m_applying);
                m_applying.reset();
            }
            break;
        case Id(msg::kSyncState):  // "UTC=%lu, %s, ret=%d, ...": the platform clock read
            m_inSync = true;
            m_taskType = SetType_sync;
            m_syncSystem = known.Number(0);
            if (known.Number(2).value_or(1) == 0) {
                EndSync({std::nullopt, std::nullopt, "platform clock unreadable"});
            }
            break;
        case Id(msg::kSyncClocks):  // "UTC=%lu, rtcTime=%lu, sub=%lu"
            if (m_inSync) {
                ReadSyncClocks(known);
            }
            break;
        case Id(msg::kPermitted):  // "%s, result=%d": the stored reason, the answer
            if (m_inSync && known.Number(1) == 0) {
                EndSync({m_syncSystem, std::nullopt, "not permitted under " + known.Word(0)});
            }
            break;
        case Id(msg::kRtcReadOpenFail):
        case Id(msg::kRtcReadFail):
        case Id(msg::kRtcReadInvalid):
            if (m_inSync) {
                EndSync({m_syncSystem, std::nullopt, "hardware clock unreadable"});
            }
            break;
        default:
            break;
    }
}

void Decisions::ReadSyncClocks(const LibraryMessage& known)
{
    Sync sync;
    sync.system = known.Number(0);
    sync.rtc = known.Number(1);
    const int64_t magnitude = known.Number(2).value_or(0);
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

}  // namespace daksim
