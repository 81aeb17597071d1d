// The set's state rebuilt from the manager's own lines: the clock read, the
// settings applied, the syncs' state, the stored reason, network time, the
// offsets and the subscriptions.
#include "LibraryMessages.h"
#include "ReadWords.h"
#include "Rebuild.h"

namespace daksim::explain {

namespace msg = dak::msg;

void Rebuild::Manager(const dakhost::LogLine& line, const LibraryMessage& known)
{
    if (known.id == Id(msg::kNetTakenShort)) {  // the PrintF line alone: "time = %lu"
        m_networkTaken = true;
        m_out.Network(known.Number(0), Here());
    }
    if (known.id == Id(msg::kDestroy)) {
        m_out.ManagerExit(Here());
        m_startupReader.ManagerGone();
        AutoClock(AutoType_max);
    }
    if (m_copyDue && known.id == Id(msg::kAppliedShort) && m_decidedLine != m_line) {
        AppliedAlone(known, true);  // the copy of a damaged level-1 setting line
    }
    m_copyDue = false;
    if (line.via != dakhost::Via::Print) {
        return;
    }
    switch (known.id) {
        case Id(msg::kClockReadFailed):  // "ret=%d"
            m_out.ClockRead(std::nullopt, static_cast<int>(known.Number(0).value_or(0)), Here());
            break;
        case Id(msg::kClockRead):  // "UTC = %lu"
            if (const auto utc = known.Number(0)) {
                m_out.ClockRead(utc, 0, Here());
                m_moments.ClockIs(*utc);
                if (m_applyingSeen && !m_clockBefore) {
                    m_clockBefore = utc;
                }
            }
            break;
        case Id(msg::kApplied):  // "UTC = %lu, %s, offset =%d"
            if (m_decidedLine != m_line) {
                AppliedAlone(known, false);
            }
            break;
        case Id(msg::kSyncState):  // "UTC=%lu, %s, ret=%d, %s, ...": the reason, the auto clock
            if (const auto reason = ReasonWord(known.Word(1))) {
                ReasonSeen(static_cast<int>(*reason));
            }
            if (const auto autoClock = AutoTypeWord(known.Word(3))) {
                AutoClock(static_cast<int>(*autoClock));
            }
            break;
        case Id(msg::kPermitted):  // "%s, result=...": the stored reason
        case Id(msg::kInitType):
            if (const auto reason = ReasonWord(known.Word(0))) {
                ReasonSeen(static_cast<int>(*reason));
            }
            break;
        case Id(msg::kNetClockMode):  // "manualClock = %d"
            if (const auto mode = known.Number(0)) {
                m_out.Store("clockmode", *mode, Here());
            }
            break;
        case Id(msg::kNetFailed):
            m_out.Network(std::nullopt, Here());
            break;
        case Id(msg::kNetOffset):  // "networkTimeOffset %d, dst:%d"
            m_out.Store("offset", known.Number(0).value_or(0), Here());
            m_out.Store("dst", known.Number(1).value_or(0), Here());
            break;
        case Id(msg::kBroadcastOffset):  // "ret:%d,  curRegionId=%d, curTimeZoneOffset =%d"
            if (known.Number(0) == 1) {
                m_out.Store("offset", known.Number(2).value_or(0), Here());
            }
            break;
        case Id(msg::kTimeModeSubscribed):
            m_out.Subscription("timemode", true, Here());
            break;
        case Id(msg::kPresentationSubscribed):
            m_out.Subscription("presentation", true, Here());
            break;
        default:
            break;
    }
}

}  // namespace daksim::explain
