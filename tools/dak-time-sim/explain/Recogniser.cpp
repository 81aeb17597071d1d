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
    {"SetSystemTimeByReleaseTime after factory reset", "", "SetSystemTimeByReleaseTime", Via::Print,
     1, false},
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
    {"SetSystemTimeByNetworkTime] Sucessfully set network time", "", "t_SetSystemTimeByNetworkTime",
     Via::PrintF, 1, false},
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

// A line holds none of the library's messages unless it holds one of these
// (most lines of a log do not: this is what they cost).
constexpr std::array<const char*, 5> kHubs = {"Time", "Stream", "Callback", "Create", "ASSERT!"};

// Where `part` is in `text`, found by its first byte: cheaper than a general
// search for the short words of a log line.
size_t Find(std::string_view text, std::string_view part, size_t from = 0)
{
    if (part.empty() || text.size() < part.size()) {
        return std::string_view::npos;
    }
    const char* const end = text.data() + text.size() - part.size() + 1;
    const char* at = text.data() + from;
    while (at < end) {
        const auto* first =
            static_cast<const char*>(std::memchr(at, part[0], static_cast<size_t>(end - at)));
        if (first == nullptr) {
            return std::string_view::npos;
        }
        if (std::memcmp(first + 1, part.data() + 1, part.size() - 1) == 0) {
            return static_cast<size_t>(first - text.data());
        }
        at = first + 1;
    }
    return std::string_view::npos;
}

bool Holds(std::string_view text, const char* part)
{
    return Find(text, part) != std::string_view::npos;
}

// Most messages start with the manager's class name: found once, then each
// such message is compared where it would start.
constexpr std::string_view kManager = "TCSystemTimeManager::";

// How far before kManager a known message starts (-1: it does not start
// with it).
int ManagerOffset(const char* start)
{
    const std::string_view text(start);
    if (text.rfind("[[", 0) == 0 && text.substr(2, kManager.size()) == kManager) {
        return 2;
    }
    if (text.rfind('[', 0) == 0 && text.substr(1, kManager.size()) == kManager) {
        return 1;
    }
    return text.rfind(kManager, 0) == 0 ? 0 : -1;
}

constexpr std::array<const char*, 6> kVias = {"Print", "PrintF", "Profiling",
                                              "Trace", "Assert", "Stdout"};

}  // namespace

void DropColour(std::string_view text, std::string& out)
{
    if (std::memchr(text.data(), '\x1b', text.size()) == nullptr) {
        out.assign(text);  // most lines: nothing to drop
        return;
    }
    out.clear();
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\x1b' && i + 1 < text.size() && text[i + 1] == '[') {
            size_t end = i + 2;
            while (end < text.size() &&
                   ((text[end] >= '0' && text[end] <= '9') || text[end] == ';')) {
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

std::optional<Message> Recogniser::Read(std::string_view rest, bool simulator)
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
    if (simulator) {
        // The simulator's own lines: a step echoed, a result, a sync firing,
        // a signal. Any other line under its stamp may be a library line
        // behind some other prefix.
        static constexpr std::array<std::string_view, 6> kOwn = {"> ",  "ok ", "FAIL ",
                                                                 "~~ ", "<< ", "-- "};
        const std::string_view own = rest.substr(at);
        for (const std::string_view marker : kOwn) {
            if (own.substr(0, marker.size()) == marker) {
                return std::nullopt;
            }
        }
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
    } else if (Holds(rest, "TCSystemTimeManager") || Holds(rest, "TCStreamClock")) {
        ++m_damaged;
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

// The four bytes after the manager's class name (its method's first
// letters), to tell most known messages apart with one comparison.
uint32_t MethodKey(std::string_view text, size_t manager)
{
    uint32_t key = 0;
    const size_t at = manager + kManager.size();
    if (at + sizeof key <= text.size()) {
        std::memcpy(&key, text.data() + at, sizeof key);
    }
    return key;
}

// Each known message's ManagerOffset, length and method key, worked out once.
struct Shape {
    int offset;
    size_t length;
    uint32_t key;
};
const std::array<Shape, kKnown.size()>& Shapes()
{
    static const std::array<Shape, kKnown.size()> shapes = [] {
        std::array<Shape, kKnown.size()> made{};
        for (size_t i = 0; i < kKnown.size(); ++i) {
            const int offset = ManagerOffset(kKnown[i].start);
            const std::string_view start(kKnown[i].start);
            made[i] = {offset, start.size(),
                       offset >= 0 ? MethodKey(start, static_cast<size_t>(offset)) : 0U};
        }
        return made;
    }();
    return shapes;
}

std::optional<Message> Recogniser::Foreign(std::string_view rest)
{
    DropColour(rest, m_clean);
    const std::string_view clean(m_clean);
    const size_t manager = Find(clean, kManager);
    const uint32_t key = manager == std::string_view::npos ? 0U : MethodKey(clean, manager);
    const auto& shapes = Shapes();
    for (size_t i = 0; i < kKnown.size(); ++i) {
        const Known& known = kKnown[i];
        const int offset = shapes[i].offset;
        size_t at = std::string_view::npos;
        if (offset >= 0) {
            const size_t length = shapes[i].length;
            if (manager == std::string_view::npos || shapes[i].key != key ||
                manager < static_cast<size_t>(offset) ||
                clean.compare(manager - static_cast<size_t>(offset), length, known.start, length) !=
                    0) {
                continue;
            }
            at = manager - static_cast<size_t>(offset);
        } else {
            at = Find(clean, known.start);
        }
        if (at == std::string_view::npos || (known.also[0] != '\0' && !Holds(clean, known.also))) {
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
