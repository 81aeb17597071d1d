#include "Recogniser.h"

#include <array>
#include <cstring>

namespace daksim::explain {

namespace {

using dakhost::Via;

struct Known {
    const char* start;  // the message's own first words
    const char* also;   // and a further text it holds ("" none)
    const char* function;
    Via via;
    int level;
    bool twice;  // logged twice with this same text
};

// More particular texts before the texts they hold.
constexpr std::array<Known, 66> kKnown = {{
    {"[TCSystemTimeManager::SetSystemTime] TCSystemTimeManager isn't Created", "", "SetSystemTime",
     Via::Print, 4, false},
    {"SetSystemTime UTC ", " range", "SetSystemTime", Via::PrintF, 4, false},
    {"[TCSystemTimeManager::SetSystemTime] UTC ", "", "SetSystemTime", Via::Print, 4, false},
    {"[TCSystemTimeManager::SetSystemTime]  not possible to set manual time", "", "SetSystemTime",
     Via::Print, 4, true},
    {"[TCSystemTimeManager::GetSystemTime]  UTC! failed", "", "GetSystemTime", Via::Print, 1, true},
    {"[TCSystemTimeManager::GetSystemTime]  UTC = ", "", "GetSystemTime", Via::Print, 4, true},
    {"[TCSystemTimeManager::GetSystemTime]  UTC!", "", "GetSystemTime", Via::Print, 5, false},
    {"[TCSystemTimeManager::t_SetSystemTime] UTC = ", "", "t_SetSystemTime", Via::Print, 4, false},
    {"[[TCSystemTimeManager::t_SetSystemTime]  SetSystemClock UTC!failed", "", "t_SetSystemTime",
     Via::PrintF, 1, false},
    {"[TCSystemTimeManager::t_SetSystemTime]  SetSystemClock ", "", "t_SetSystemTime", Via::Print,
     1, false},
    {"t_SetSystemTime  UTC = ", "", "t_SetSystemTime", Via::PrintF, 1, false},
    {"TCSystemTimeManager::t_SetSystemTime send SIGNAL_BP_TIME_UPDATED", "", "t_SetSystemTime",
     Via::Print, 4, false},
    {"SyncSystemTime UTC=", "", "t_SyncSystemTime", Via::Print, 4, true},
    {"[TCSystemTimeManager::t_SyncSystemTime] UTC=", "", "t_SyncSystemTime", Via::Print, 4, true},
    {"SetSystemTimeByReleaseTime, after factory reset", "", "SetSystemTimeByReleaseTime",
     Via::PrintF, 1, false},
    {"SetSystemTimeByReleaseTime after factory reset", "", "SetSystemTimeByReleaseTime",
     Via::Print, 1, false},
    {"[TCSystemTimeManager::t_IsPossibleUpdateTime]  ", "", "t_IsPossibleUpdateTime", Via::Print, 4,
     true},
    {"[TCSystemTimeManager::t_GetSettingTypeByReason]  ", "", "t_GetInitSettingTypeByReason",
     Via::Print, 4, true},
    {"[TCSystemTimeManager::Init] TCSystemTimeManager is already Created", "", "Init", Via::Print,
     4, true},
    {"[TCSystemTimeManager::Init , isMasterPowerOn:", "", "Init", Via::Print, 1, false},
    {"[TCSystemTimeManager::Init] isMasterPowerOn:", "", "Init", Via::PrintF, 1, false},
    {"InitSystemTime UTC=", "", "Init", Via::Print, 4, true},
    {"InitSystemTime  UTC=", "", "Init", Via::Print, 1, true},
    {"[TCSystemTimeManager::Init] hardware clock unreadable", "", "Init", Via::Print, 1, true},
    {"[TCSystemTimeManager::Init] Mutex create failed", "", "Init", Via::Print, 1, false},
    {"[TCSystemTimeManager::Init] no product helper", "", "Init", Via::Print, 1, false},
    {"[TCSystemTimeManager::Init] sync alarm create failed", "", "Init", Via::Print, 1, false},
    {"thread Create TCSystemTimeManger", "", "Init", Via::Print, 5, false},
    {"[TCSystemTimeManager::t_GetRTCTime] _time=", "", "t_GetRTCTime", Via::Print, 4, false},
    {"[TCSystemTimeManager::t_GetRTCTime] ", "", "t_GetRTCTime", Via::Print, 1, true},
    {"[TCSystemTimeManager::t_SetRTCTime] _time=", "", "t_SetRTCTime", Via::Print, 4, true},
    {"[TCSystemTimeManager::t_SetRTCTime] ", "", "t_SetRTCTime", Via::Print, 1, true},
    {"[TCSystemTimeManager::SetSystemTimeByNetworkTime] TCSystemTimeManager isn't Created", "",
     "SetSystemTimeByNetworkTime", Via::Print, 4, false},
    {"[TCSystemTimeManager::SetSystemTimeByNetworkTime] manualClock = ", "",
     "SetSystemTimeByNetworkTime", Via::Print, 4, false},
    {"[TCSystemTimeManager::SetSystemTimeByNetworkTime] current clock mode is Manual", "",
     "SetSystemTimeByNetworkTime", Via::Print, 4, true},
    {"[TCSystemTimeManager::SetSystemTimeByNetworkTime] StreamTime is already set", "",
     "SetSystemTimeByNetworkTime", Via::Print, 4, true},
    {"[TCSystemTimeManager::t_SetSystemTimeByNetworkTime]Failed to set network time", "",
     "t_SetSystemTimeByNetworkTime", Via::Print, 4, false},
    {"SetSystemTimeByNetworkTime] Failed to set network time", "", "t_SetSystemTimeByNetworkTime",
     Via::PrintF, 1, false},
    {"[TCSystemTimeManager::t_SetSystemTimeByNetworkTime] Sucessfully set  network time", "",
     "t_SetSystemTimeByNetworkTime", Via::Print, 4, false},
    {"SetSystemTimeByNetworkTime] Sucessfully set network time", "",
     "t_SetSystemTimeByNetworkTime", Via::PrintF, 1, false},
    {"[TCSystemTimeManager::t_SetNetworkTimeOffset] networkTimeOffset ", "",
     "t_SetNetworkTimeOffset", Via::Print, 1, true},
    {"[TCSystemTimeManager::GetNetworkDst] ", "", "GetNetworkDst", Via::Print, 4, false},
    {"[TCSystemTimeManager::t_SetBroadcastTimeOffset] no time zone offset agent", "",
     "t_SetBroadcastTimeOffset", Via::Print, 1, true},
    {"[TCSystemTimeManager::t_SetBroadcastTimeOffset] ret:", "", "t_SetBroadcastTimeOffset",
     Via::Print, 4, false},
    {"TCSystemTimeManager::t_SetBroadcastTimeOffset]  ret:", "", "t_SetBroadcastTimeOffset",
     Via::PrintF, 4, false},
    {"Register TimeMode Callback", "", "t_SubscribeTimeModeCallback", Via::Print, 4, true},
    {"Register Presentation Time Callback", "", "t_SubscribePresentationTimeCallback", Via::Print,
     4, true},
    {"[TCSystemTimeManager::OnVConfCallback] ", "", "OnVConfCallback", Via::Print, 4, false},
    {"[TCSystemTimeManager::~TCSystemTimeManager] ", "", "~TCSystemTimeManager", Via::Print, 4,
     false},
    {"[TCSystemTimeManager::t_OnEvent] ", "", "t_OnEvent", Via::Print, 5, false},
    {"[TCStreamClock::SetStreamClock] utc ", "", "SetStreamClock", Via::Print, 4, false},
    {"TCStreamClockManager::SetStreamClock, Invalid UTC[", "  <", "SetStreamClock", Via::PrintF, 5,
     false},
    {"TCStreamClockManager::SetStreamClock, Invalid UTC[", "", "SetStreamClock", Via::Print, 4,
     false},
    {"TCStreamClockManager::SetStreamClock, First STT Set-->UTC[", "", "SetStreamClock", Via::Print,
     4, false},
    {"TCStreamClockManager::SetStreamClock, ", "", "SetStreamClock", Via::Print, 5, false},
    {"Doesn't set Stream Clock manualClock = ", "", "SetStreamClock", Via::Print, 5, false},
    {"oldTime [", "", "SetStreamClock", Via::Print, 5, false},
    {"BPTime_set_current_time ", "", "SetStreamClock", Via::Print, 5, false},
    {"SetStreamDST  bOnOfft = ", "", "SetStreamDST", Via::Print, 1, false},
    {"SetStreamDST, dst=", "", "SetStreamDST", Via::PrintF, 1, false},
    {"Get StreamDST  bOnOfft", "", "StreamDST", Via::Print, 4, false},
    {"SetDVBTimeOffset  timeOfchange = ", "", "SetDVBTimeOffset", Via::Print, 5, false},
    {"TCStreamClockManager::StreamClock", "", "StreamClock", Via::Print, 5, false},
    {"t_SyncSystemTime[BEGIN] t_SetRTCTime", "", "PrintProfiling", Via::Profiling, 5, false},
    {"SetSystemTime[END] SIGNAL_SYSTEM_TIME_UPDATED", "", "PrintProfiling", Via::Profiling, 5,
     false},
    {"ASSERT!, Func:", "", "printf", Via::Stdout, 1, false},
}};

// A line holds none of the library's messages unless it holds one of these.
constexpr std::array<const char*, 8> kHubs = {
    "SystemTime", "Stream", "Callback", "oldTime [", "BPTime_set", "thread Create", "ASSERT!",
    "DVBTimeOffset"};

bool Holds(std::string_view text, const char* part)
{
    const size_t length = std::strlen(part);
    return text.size() >= length && memmem(text.data(), text.size(), part, length) != nullptr;
}

constexpr std::array<const char*, 6> kVias = {"Print", "PrintF", "Profiling", "Trace", "Assert",
                                              "Stdout"};

}  // namespace

void DropColour(std::string_view text, std::string& out)
{
    out.clear();
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\x1b' && i + 1 < text.size() && text[i + 1] == '[') {
            size_t end = i + 2;
            while (end < text.size() && ((text[end] >= '0' && text[end] <= '9') || text[end] == ';')) {
                ++end;
            }
            if (end < text.size() && text[end] == 'm') {
                i = end;
                continue;
            }
        }
        out += text[i];
    }
}

std::optional<Message> Recogniser::Read(std::string_view rest, bool printedOnly)
{
    size_t at = 0;
    while (at < rest.size() && rest[at] == ' ') {
        ++at;
    }
    if (at + 3 < rest.size() && rest[at] == '[' && rest[at + 1] >= '0' && rest[at + 1] <= '9') {
        if (auto printed = Printed(rest.substr(at))) {
            ++m_count;
            return printed;
        }
    }
    if (printedOnly) {
        return std::nullopt;
    }
    bool any = false;
    for (const char* hub : kHubs) {
        if (Holds(rest, hub)) {
            any = true;
            break;
        }
    }
    if (!any) {
        return std::nullopt;
    }
    auto message = Foreign(rest);
    if (message) {
        ++m_count;
    }
    return message;
}

// "[LEVEL OUTPUT FUNCTION] text".
std::optional<Message> Recogniser::Printed(std::string_view rest)
{
    size_t i = 1;
    int level = 0;
    while (i < rest.size() && rest[i] >= '0' && rest[i] <= '9' && level < 1000) {
        level = level * 10 + (rest[i] - '0');
        ++i;
    }
    if (i >= rest.size() || rest[i] != ' ') {
        return std::nullopt;
    }
    const size_t viaEnd = rest.find(' ', i + 1);
    if (viaEnd == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view viaName = rest.substr(i + 1, viaEnd - i - 1);
    size_t via = 0;
    while (via < kVias.size() && viaName != kVias[via]) {
        ++via;
    }
    const size_t close = rest.find("] ", viaEnd + 1);
    if (via == kVias.size() || close == std::string_view::npos) {
        return std::nullopt;
    }
    Message message;
    message.line.level = level;
    message.line.via = static_cast<Via>(via);
    message.line.function = std::string(rest.substr(viaEnd + 1, close - viaEnd - 1));
    message.line.line = 0;
    message.line.module = 18;
    DropColour(rest.substr(close + 2), message.line.text);
    return message;
}

std::optional<Message> Recogniser::Foreign(std::string_view rest)
{
    DropColour(rest, m_clean);
    for (const Known& known : kKnown) {
        const size_t at = m_clean.find(known.start);
        if (at == std::string::npos || (known.also[0] != '\0' && !Holds(m_clean, known.also))) {
            continue;
        }
        Message message;
        message.line.function = known.function;
        message.line.level = known.level;
        message.line.via = known.via;
        message.line.line = 0;
        message.line.module = 18;
        message.line.text = m_clean.substr(at);
        if (known.twice) {
            if (!m_unpaired.empty() && m_count - m_unpairedAt <= 3 &&
                message.line.text == m_unpaired) {
                message.line.via = Via::PrintF;
                m_unpaired.clear();
            } else {
                m_unpaired = message.line.text;
                m_unpairedAt = m_count;
            }
        }
        return message;
    }
    return std::nullopt;
}

}  // namespace daksim::explain
