#include "Recogniser.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "LibraryMessages.h"

namespace daksim::explain {

namespace {

using dakhost::Via;

// The logger's outputs, in the order of the catalogue's dak::LogOutput.
constexpr auto kVias =
    std::array{Via::Print, Via::PrintF, Via::Profiling, Via::Trace, Via::Assert, Via::Stdout};
static_assert(kVias.size() == static_cast<size_t>(dak::LogOutput::Stdout) + 1);

Via ViaOf(dak::LogOutput output)
{
    return kVias[static_cast<size_t>(output)];
}

// A line holds none of the library's messages unless it holds one of these
// (most lines of a log do not: this is what they cost). Every message's
// start holds one (the catalogue test checks it).
constexpr std::array<std::string_view, 11> kHubs = {"Time",    "Stream", "Callback", "Create",
                                                    "ASSERT!", "Power",  "Factory",  "Dst",
                                                    "Mutex",   "clock",  "Clock"};

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
int ManagerOffset(std::string_view text)
{
    if (text.rfind("[[", 0) == 0 && text.substr(2, kManager.size()) == kManager) {
        return 2;
    }
    if (text.rfind('[', 0) == 0 && text.substr(1, kManager.size()) == kManager) {
        return 1;
    }
    return text.rfind(kManager, 0) == 0 ? 0 : -1;
}

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

namespace {

bool HoldsAHub(std::string_view text)
{
    return std::any_of(kHubs.begin(), kHubs.end(), [text](std::string_view hub) {
        return Find(text, hub) != std::string_view::npos;
    });
}

}  // namespace

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
    if (!HoldsAHub(rest)) {
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
    while (via < kVias.size() && viaName != dakhost::ViaName(kVias[via])) {
        ++via;
    }
    const size_t close = rest.find("] ", viaEnd + 1);
    if (via == kVias.size() || close == std::string_view::npos) {
        return std::nullopt;
    }
    Message message;
    message.line.level = level;
    message.line.via = kVias[via];
    message.line.function = std::string(rest.substr(viaEnd + 1, close - viaEnd - 1));
    message.line.line = 0;
    message.line.module = dak::kModule;
    DropColour(rest.substr(close + 2), message.line.text);
    message.id = Identify(message.line.function, message.line.text).id;
    return message;
}

namespace {

// The four bytes after the manager's class name (its method's first
// letters), to tell most messages apart with one comparison.
uint32_t MethodKey(std::string_view text, size_t manager)
{
    uint32_t key = 0;
    const size_t at = manager + kManager.size();
    if (at + sizeof key <= text.size()) {
        std::memcpy(&key, text.data() + at, sizeof key);
    }
    return key;
}

// The messages sorted for finding: those that start with the manager's
// class name by their method key (or none, when the start is shorter), the
// others under the first hub their start holds, with where it stands in it.
struct Index {
    struct Managed {
        unsigned id;
        std::string_view start;
        size_t offset;  // of the class name in the start
        bool keyed;
        uint32_t key;
    };
    struct Hubbed {
        unsigned id;
        std::string_view start;
        size_t hubAt;
    };
    std::vector<Managed> managed;
    std::array<std::vector<Hubbed>, kHubs.size()> hubbed;

    Index()
    {
        for (unsigned id = 0; id < dak::kMessageCount; ++id) {
            const std::string_view start = StartOf(id);
            const int offset = ManagerOffset(start);
            if (offset >= 0) {
                const auto at = static_cast<size_t>(offset);
                const bool keyed = at + kManager.size() + sizeof(uint32_t) <= start.size();
                managed.push_back({id, start, at, keyed, keyed ? MethodKey(start, at) : 0U});
                continue;
            }
            for (size_t hub = 0; hub < kHubs.size(); ++hub) {
                const size_t hubAt = start.find(kHubs[hub]);
                if (hubAt != std::string_view::npos) {
                    hubbed[hub].push_back({id, start, hubAt});
                    break;
                }
            }
        }
    }
};

const Index& TheIndex()
{
    static const Index index;
    return index;
}

// The message the line holds whole, else the one it agrees with furthest;
// of two whole, the one that starts first ("[[TC..." before "[TC...").
class BestReading {
public:
    void Try(unsigned id, std::string_view clean, size_t at)
    {
        LibraryMessage read;
        if (!read.ReadAs(id, clean.substr(at))) {
            return;
        }
        const bool better = best.whole
                                ? read.whole && (at < bestAt || (at == bestAt && id < best.id))
                                : read.whole || !best.Known() || read.reached > best.reached;
        if (better) {
            best = read;
            bestAt = at;
        }
    }

    LibraryMessage best;
    size_t bestAt = 0;
};

}  // namespace

std::optional<Message> Recogniser::Foreign(std::string_view rest)
{
    DropColour(rest, m_clean);
    const std::string_view clean(m_clean);
    const Index& index = TheIndex();
    BestReading reading;
    const size_t manager = Find(clean, kManager);
    if (manager != std::string_view::npos) {
        const uint32_t key = MethodKey(clean, manager);
        for (const Index::Managed& message : index.managed) {
            if ((!message.keyed || message.key == key) && manager >= message.offset &&
                clean.compare(manager - message.offset, message.start.size(), message.start) == 0) {
                reading.Try(message.id, clean, manager - message.offset);
            }
        }
    }
    // A whole message of the manager's is the line's: the others are looked
    // for only when there is none.
    for (size_t hub = 0; hub < kHubs.size() && !reading.best.whole; ++hub) {
        if (index.hubbed[hub].empty()) {
            continue;
        }
        const std::string_view word = kHubs[hub];
        for (size_t at = Find(clean, word); at != std::string_view::npos;
             at = Find(clean, word, at + 1)) {
            for (const Index::Hubbed& message : index.hubbed[hub]) {
                const size_t from = at - message.hubAt;
                if (at >= message.hubAt && clean[from] == message.start[0] &&
                    clean.compare(from, message.start.size(), message.start) == 0) {
                    reading.Try(message.id, clean, from);
                }
            }
        }
    }
    const LibraryMessage& best = reading.best;
    const size_t bestAt = reading.bestAt;
    if (!best.Known()) {
        return std::nullopt;
    }
    const dak::LogMessage& known = dak::kMessages[best.id];
    Message message;
    message.id = best.id;
    message.line.function = known.function;
    message.line.level = known.first.level;
    message.line.via = ViaOf(known.first.output);
    message.line.line = 0;
    message.line.module = dak::kModule;
    message.line.text = m_clean.substr(bestAt);
    if (known.second.level != 0) {
        // Of two equal texts close together, the second is the copy. The
        // first may be alone (the log's level dropped the other): it is
        // taken for the Print one, which the readers read, at the lower of
        // the two levels, which the log had on.
        const bool printFirst = known.second.output != dak::LogOutput::Print;
        const dak::LogEmission& copy = printFirst ? known.second : known.first;
        if (!m_unpaired.empty() && m_count - m_unpairedAt <= 3 && message.line.text == m_unpaired) {
            message.line.level = copy.level;
            message.line.via = ViaOf(copy.output);
            m_unpaired.clear();
        } else {
            message.line.level = std::min(known.first.level, known.second.level);
            message.line.via = ViaOf(printFirst ? known.first.output : known.second.output);
            m_unpaired = message.line.text;
            m_unpairedAt = m_count;
        }
    }
    return message;
}

}  // namespace daksim::explain
