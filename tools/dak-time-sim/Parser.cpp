#include "Parser.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <limits>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "DakHostControl.h"
#include "TimeText.h"
#include "Vocabulary.h"

namespace daksim {

std::string ParseError::Format(const std::string& name) const
{
    return name + ":" + std::to_string(line) + ": " + message;
}

namespace {

constexpr int64_t kMaxUnsigned32 = std::numeric_limits<uint32_t>::max();
constexpr int64_t kMinSigned32 = std::numeric_limits<int32_t>::min();
constexpr int64_t kMaxSigned32 = std::numeric_limits<int32_t>::max();

// Thrown inside the parser of one line; caught per file.
struct LineError {
    std::string message;
};

struct Word {
    std::string text;
    bool quoted = false;
};

std::string Quote(std::string_view word)
{
    return "'" + std::string(word) + "'";
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

// Splits one line into words; none for a blank or comment line. A `#` at the
// start of a word (after white space) starts a comment.
std::vector<Word> SplitWords(std::string_view line)
{
    std::vector<Word> words;
    size_t pos = 0;
    while (true) {
        while (pos < line.size() && IsBlank(line[pos])) {
            ++pos;
        }
        if (pos >= line.size() || line[pos] == '#') {
            return words;
        }
        Word word;
        if (line[pos] == '"') {
            word.quoted = true;
            ++pos;
            bool closed = false;
            while (pos < line.size()) {
                const char c = line[pos++];
                if (c == '"') {
                    closed = true;
                    break;
                }
                if (c != '\\') {
                    word.text += c;
                    continue;
                }
                if (pos >= line.size()) {
                    break;
                }
                const char escaped = line[pos++];
                if (escaped == '"' || escaped == '\\') {
                    word.text += escaped;
                } else if (escaped == 'e') {
                    word.text += '\x1b';
                } else {
                    throw LineError{"unknown escape " + Quote(std::string("\\") + escaped) +
                                    R"( in a quoted word (\" \\ \e are known))"};
                }
            }
            if (!closed) {
                throw LineError{"quoted word not closed: " + Quote(std::string("\"") + word.text)};
            }
            if (pos < line.size() && !IsBlank(line[pos])) {
                size_t end = pos;
                while (end < line.size() && !IsBlank(line[end])) {
                    ++end;
                }
                throw LineError{"no blank after the quoted word before " +
                                Quote(line.substr(pos, end - pos))};
            }
        } else {
            while (pos < line.size() && !IsBlank(line[pos])) {
                word.text += line[pos++];
            }
        }
        words.push_back(std::move(word));
    }
}

// The words of one step, read left to right.
class LineReader {
public:
    explicit LineReader(std::vector<Word> words) : m_words(std::move(words)) {}

    bool AtEnd() const { return m_next >= m_words.size(); }

    // The next word; "missing WHAT after 'previous'" when there is none.
    const Word& Next(const char* what)
    {
        if (AtEnd()) {
            std::string message = std::string("missing ") + what;
            if (m_next > 0) {
                message += " after " + Quote(m_words[m_next - 1].text);
            }
            throw LineError{message};
        }
        return m_words[m_next++];
    }

    // Nothing may follow.
    void End() const
    {
        if (!AtEnd()) {
            throw LineError{"unexpected word " + Quote(m_words[m_next].text)};
        }
    }

    // The remaining words as `key=value` options among `allowed`; each at
    // most once.
    std::vector<std::pair<std::string, std::string>> Options(
        const std::set<std::string_view>& allowed)
    {
        std::vector<std::pair<std::string, std::string>> options;
        std::set<std::string> seen;
        while (!AtEnd()) {
            const Word& word = m_words[m_next++];
            const size_t equals = word.text.find('=');
            if (word.quoted || equals == std::string::npos) {
                throw LineError{"unexpected word " + Quote(word.text)};
            }
            std::string key = word.text.substr(0, equals);
            if (allowed.count(key) == 0) {
                throw LineError{"unknown option " + Quote(word.text)};
            }
            if (!seen.insert(key).second) {
                throw LineError{"option given twice " + Quote(word.text)};
            }
            options.emplace_back(std::move(key), word.text.substr(equals + 1));
        }
        return options;
    }

private:
    std::vector<Word> m_words;
    size_t m_next = 0;
};

// ---- values ------------------------------------------------------------------

int64_t Integer(const Word& word, const char* what)
{
    const auto value = ParseInteger(word.text);
    if (!value) {
        throw LineError{std::string("bad ") + what + " " + Quote(word.text) + " (want an integer)"};
    }
    return *value;
}

// A settings-store value: a signed 32-bit integer.
int64_t Int32(const Word& word, const char* what)
{
    const int64_t value = Integer(word, what);
    if (value < kMinSigned32 || value > kMaxSigned32) {
        throw LineError{std::string(what) + " out of range " + Quote(word.text) +
                        " (want a 32-bit integer)"};
    }
    return value;
}

bool Boolean(const Word& word, const char* what)
{
    const auto value = ParseBool(word.text);
    if (!value) {
        throw LineError{std::string("bad ") + what + " " + Quote(word.text) +
                        " (want 0/1, false/true or off/on)"};
    }
    return *value;
}

// The time zone of the time on the wire: "+9", "-3", "+5:30" or "0", in
// minutes east of UTC, at most 14 hours either way.
int32_t WireOffset(const std::string& text)
{
    const bool negative = !text.empty() && text[0] == '-';
    const bool signed_ = !text.empty() && (text[0] == '-' || text[0] == '+');
    const std::string body = text.substr(signed_ ? 1 : 0);
    const size_t colon = body.find(':');
    const std::string hours = body.substr(0, colon);
    const std::string minutes = colon == std::string::npos ? "00" : body.substr(colon + 1);
    const auto digits = [](const std::string& part, size_t most) {
        return !part.empty() && part.size() <= most &&
               std::all_of(part.begin(), part.end(),
                           [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; });
    };
    if (!digits(hours, 2) || !digits(minutes, 2) || minutes.size() != 2 || std::stoi(hours) > 14 ||
        std::stoi(minutes) > 59) {
        throw LineError{"bad wire offset " + Quote(text) + " (want +9, -3 or +5:30)"};
    }
    const int32_t total = std::stoi(hours) * 60 + std::stoi(minutes);
    return negative ? -total : total;
}

int64_t SetType(const Word& word)
{
    const auto value = ParseSetType(word.text);
    if (!value) {
        throw LineError{"bad setting type " + Quote(word.text) +
                        " (want manual stream net 3 netfail sync init facotryreset, a printed "
                        "name or an integer)"};
    }
    return *value;
}

int64_t Reason(const Word& word)
{
    const auto value = ParseReason(word.text);
    if (!value || *value < kMinSigned32 || *value > kMaxSigned32) {
        throw LineError{"bad reason " + Quote(word.text) +
                        " (want init micom net stream, a printed name or an integer)"};
    }
    return *value;
}

int64_t AutoType(const Word& word)
{
    const auto value = ParseAutoType(word.text);
    if (!value || *value < kMinSigned32 || *value > kMaxSigned32) {
        throw LineError{"bad auto clock type " + Quote(word.text) +
                        " (want stream net max, a printed name or an integer)"};
    }
    return *value;
}

enum class Tolerance { Refused, Allowed };

// `2024-03-05T10:00:00Z`, seconds since 1970, or `now`; with `~N` when allowed.
TimeValue Time(const Word& word, Tolerance tolerance, int64_t maximum = kMaxUnsigned32)
{
    const std::string& text = word.text;
    TimeValue time;
    std::string_view base = text;
    const size_t tilde = text.find('~');
    if (tilde != std::string::npos) {
        if (tolerance == Tolerance::Refused) {
            throw LineError{"no tolerance allowed here " + Quote(text)};
        }
        const auto within = ParseInteger(std::string_view(text).substr(tilde + 1));
        if (!within || *within < 0) {
            throw LineError{"bad tolerance " + Quote(text) + " (want TIME~SECONDS)"};
        }
        time.tolerance = *within;
        base = base.substr(0, tilde);
    }
    if (SameWord(base, "now")) {
        time.now = true;
        return time;
    }
    std::optional<int64_t> seconds = UtcFromIso(base);
    if (!seconds && !base.empty() && base.front() >= '0' && base.front() <= '9') {
        seconds = ParseInteger(base);
    }
    if (!seconds) {
        throw LineError{"bad time " + Quote(text) +
                        " (want 2024-03-05T10:00:00Z, seconds since 1970 or now)"};
    }
    if (*seconds < 0 || *seconds > maximum) {
        throw LineError{"time out of range " + Quote(text) + " (at most " +
                        std::to_string(maximum) + ")"};
    }
    time.seconds = *seconds;
    return time;
}

// A number with ms, s, m, h or d; in milliseconds.
int64_t Duration(const Word& word)
{
    const std::string& text = word.text;
    struct Unit {
        const char* suffix;
        int64_t ms;
    };
    static constexpr Unit kUnits[] = {
        {"ms", 1}, {"s", 1000}, {"m", 60000}, {"h", 3600000}, {"d", 86400000}};
    for (const Unit& unit : kUnits) {
        const std::string_view suffix = unit.suffix;
        if (text.size() <= suffix.size() ||
            text.compare(text.size() - suffix.size(), suffix.size(), suffix) != 0) {
            continue;
        }
        const std::string_view number =
            std::string_view(text).substr(0, text.size() - suffix.size());
        const auto value = ParseInteger(number);
        if (!value || *value < 0) {
            break;
        }
        if (*value > std::numeric_limits<int64_t>::max() / unit.ms) {
            throw LineError{"duration too long " + Quote(text)};
        }
        return *value * unit.ms;
    }
    throw LineError{"bad duration " + Quote(text) + " (want a number with ms, s, m, h or d)"};
}

// `PROFILE/SUB`.
void Handle(const Word& word, Step& step)
{
    const std::string& text = word.text;
    const size_t slash = text.find('/');
    std::optional<int64_t> profile;
    std::optional<int64_t> sub;
    if (slash != std::string::npos) {
        profile = ParseInteger(std::string_view(text).substr(0, slash));
        sub = ParseInteger(std::string_view(text).substr(slash + 1));
    }
    if (!profile || !sub || *profile < kMinSigned32 || *profile > kMaxSigned32 || *sub < 0 ||
        *sub > std::numeric_limits<uint16_t>::max()) {
        throw LineError{"bad handle " + Quote(text) +
                        " (want PROFILE/SUB, a 32-bit profile and a 16-bit sub, e.g. 1/0)"};
    }
    step.profileId = static_cast<int32_t>(*profile);
    step.subId = static_cast<uint16_t>(*sub);
}

std::optional<int> ViaByName(std::string_view word)
{
    using dakhost::Via;
    static constexpr std::pair<const char*, Via> kVias[] = {
        {"Print", Via::Print}, {"PrintF", Via::PrintF}, {"Profiling", Via::Profiling},
        {"Trace", Via::Trace}, {"Assert", Via::Assert}, {"Stdout", Via::Stdout},
    };
    for (const auto& [name, via] : kVias) {
        if (SameWord(word, name)) {
            return static_cast<int>(via);
        }
    }
    return std::nullopt;
}

// ---- steps -------------------------------------------------------------------

void ParseSet(LineReader& reader, Step& step)
{
    const Word& what = reader.Next("what to set");
    const std::string& name = what.text;
    struct SimpleInt {
        const char* name;
        StepKind kind;
    };
    static constexpr SimpleInt kInts[] = {
        {"dst", StepKind::SetDst},
        {"offset", StepKind::SetOffset},
        {"region", StepKind::SetRegion},
        {"clockmode", StepKind::SetClockMode},
        {"presentation", StepKind::SetPresentation},
    };
    for (const SimpleInt& entry : kInts) {
        if (name == entry.name) {
            step.kind = entry.kind;
            step.value = Int32(reader.Next("value"), entry.name);
            reader.End();
            return;
        }
    }
    if (name == "reason") {
        step.kind = StepKind::SetReason;
        step.value = Reason(reader.Next("reason"));
    } else if (name == "firststt") {
        step.kind = StepKind::SetFirstStt;
        const Word& word = reader.Next("first stream time");
        const auto integer = ParseInteger(word.text);
        if (integer && *integer < 0) {
            step.value = Int32(word, "first stream time");
        } else {
            step.value = Time(word, Tolerance::Refused).seconds;
        }
    } else if (name == "networkset") {
        step.kind = StepKind::SetNetworkSet;
        step.flag = Boolean(reader.Next("network time state"), "network time state");
    } else if (name == "option24") {
        step.kind = StepKind::SetOption24;
        const Word& word = reader.Next("option 24 value");
        if (!SameWord(word.text, "none")) {
            step.option = Int32(word, "option 24 value");
        }
    } else if (name == "power") {
        step.kind = StepKind::SetPower;
        step.flag = Boolean(reader.Next("power state"), "power state");
    } else if (name == "tz") {
        step.kind = StepKind::SetTz;
        step.text = reader.Next("time zone").text;
    } else if (name == "rtc") {
        const Word& word = reader.Next("hardware clock time");
        if (SameWord(word.text, "absent")) {
            step.kind = StepKind::SetRtcAbsent;
        } else if (SameWord(word.text, "raw")) {
            step.kind = StepKind::SetRtcRaw;
            static constexpr const char* kRegisters[] = {"year", "month",  "day of month",
                                                         "hour", "minute", "second"};
            for (size_t i = 0; i < step.rtcRaw.size(); ++i) {
                step.rtcRaw[i] =
                    static_cast<int32_t>(Int32(reader.Next(kRegisters[i]), kRegisters[i]));
            }
        } else {
            step.kind = StepKind::SetRtc;
            step.time = Time(word, Tolerance::Refused, std::numeric_limits<int64_t>::max());
        }
    } else if (name == "clock") {
        step.kind = StepKind::SetClock;
        step.time = Time(reader.Next("time"), Tolerance::Refused);
    } else if (name == "processclock") {
        step.kind = StepKind::SetProcessClock;
        const Word& word = reader.Next("process clock time or real");
        step.flag = SameWord(word.text, "real");
        if (!step.flag) {
            step.time = Time(word, Tolerance::Refused);
        }
    } else if (name == "tzagent") {
        step.kind = StepKind::SetTzAgent;
        const Word& first = reader.Next("REGION=OFFSET, refuse, none or other");
        if (SameWord(first.text, "refuse")) {
            step.agent = AgentChoice::Refuse;
        } else if (SameWord(first.text, "none")) {
            step.agent = AgentChoice::None;
        } else if (SameWord(first.text, "other")) {
            step.agent = AgentChoice::Other;
        } else {
            step.agent = AgentChoice::Answer;
            const Word* word = &first;
            while (true) {
                const size_t equals = word->text.find('=');
                std::optional<int64_t> region;
                std::optional<int64_t> offset;
                if (equals != std::string::npos) {
                    region = ParseInteger(std::string_view(word->text).substr(0, equals));
                    offset = ParseInteger(std::string_view(word->text).substr(equals + 1));
                }
                if (!region || !offset || *region < kMinSigned32 || *region > kMaxSigned32 ||
                    *offset < kMinSigned32 || *offset > kMaxSigned32) {
                    throw LineError{"bad agent answer " + Quote(word->text) +
                                    " (want REGION=OFFSET, refuse, none or other)"};
                }
                step.offsets[static_cast<int>(*region)] = static_cast<int>(*offset);
                if (reader.AtEnd()) {
                    break;
                }
                word = &reader.Next("REGION=OFFSET");
            }
        }
    } else if (name == "updateagent") {
        step.kind = StepKind::SetUpdateAgent;
        const Word& word = reader.Next("allow, deny, none or other");
        if (SameWord(word.text, "allow")) {
            step.agent = AgentChoice::Answer;
        } else if (SameWord(word.text, "deny")) {
            step.agent = AgentChoice::Refuse;
        } else if (SameWord(word.text, "none")) {
            step.agent = AgentChoice::None;
        } else if (SameWord(word.text, "other")) {
            step.agent = AgentChoice::Other;
        } else {
            throw LineError{"bad update agent " + Quote(word.text) +
                            " (want allow, deny, none or other)"};
        }
    } else if (name == "eventmanager") {
        step.kind = StepKind::SetEventManager;
        step.flag = Boolean(reader.Next("on or off"), "event manager state");
    } else if (name == "factory") {
        step.kind = StepKind::SetFactory;
        step.flag = Boolean(reader.Next("on or off"), "object factory state");
    } else {
        throw LineError{"unknown setting " + Quote(name)};
    }
    reader.End();
}

void ParseFail(LineReader& reader, Step& step)
{
    const Word& what = reader.Next("what fails");
    const std::string& name = what.text;
    struct Fault {
        const char* name;
        StepKind kind;
        bool code;  // CODE rather than B
    };
    static constexpr Fault kFaults[] = {
        {"rtcread", StepKind::FailRtcRead, false},
        {"rtcwrite", StepKind::FailRtcWrite, false},
        {"clockget", StepKind::FailClockGet, true},
        {"clockset", StepKind::FailClockSet, true},
        {"monotonic", StepKind::FailMonotonic, false},
        {"processclock", StepKind::FailProcessClock, false},
        {"send", StepKind::FailSend, false},
        {"mutex", StepKind::FailMutex, false},
        {"taskcreate", StepKind::FailTaskCreate, false},
    };
    for (const Fault& fault : kFaults) {
        if (name != fault.name) {
            continue;
        }
        step.kind = fault.kind;
        if (fault.code) {
            step.value = Int32(reader.Next("code"), "code");
        } else {
            step.flag = Boolean(reader.Next("0 or 1"), "fault state");
        }
        reader.End();
        return;
    }
    throw LineError{"unknown fault " + Quote(name)};
}

void ParseStream(LineReader& reader, Step& step)
{
    Handle(reader.Next("handle"), step);
    const Word& what = reader.Next("stream operation");
    const std::string& name = what.text;
    if (name == "set") {
        step.kind = StepKind::StreamSet;
        step.time = Time(reader.Next("time"), Tolerance::Refused);
        for (const auto& [key, value] : reader.Options({"scan", "mode"})) {
            if (key == "scan") {
                step.scan = Boolean(Word{value, false}, "scan");
            } else {
                step.mode = Int32(Word{value, false}, "mode");
            }
        }
    } else if (name == "mode") {
        step.kind = StepKind::StreamMode;
        step.mode = Int32(reader.Next("mode"), "mode");
    } else if (name == "dst") {
        step.kind = StepKind::StreamDst;
        step.flag = Boolean(reader.Next("daylight-saving state"), "daylight-saving state");
        for (const auto& option : reader.Options({"mode"})) {
            step.mode = Int32(Word{option.second, false}, "mode");
        }
    } else if (name == "dvboffset") {
        step.kind = StepKind::StreamDvbOffset;
        const Word& toc = reader.Next("time of change");
        const auto integer = ParseInteger(toc.text);
        if (integer && *integer < 0) {
            // An integer is taken modulo 2^32, like the interface takes it.
            step.time.seconds =
                static_cast<int64_t>(static_cast<uint32_t>(Int32(toc, "time of change")));
        } else {
            step.time = Time(toc, Tolerance::Refused);
        }
        step.next = Int32(reader.Next("next offset"), "next offset");
        step.local = Int32(reader.Next("local offset"), "local offset");
    } else if (name == "reset") {
        step.kind = StepKind::StreamReset;
    } else if (name == "play") {
        step.kind = StepKind::StreamPlay;
        step.text = reader.Next("capture file").text;
        for (const auto& [key, value] :
             reader.Options({"scan", "mode", "country", "jst", "wire", "region"})) {
            const Word word{value, false};
            if (key == "wire") {
                step.wireMinutes = WireOffset(value);
            } else if (key == "region") {
                const int64_t region = Int32(word, "region");
                if (region < 0 || region > 63) {
                    throw LineError{"bad region " + Quote(value) + " (want 0 to 63)"};
                }
                step.region = static_cast<int32_t>(region);
            } else if (key == "scan") {
                step.scan = Boolean(word, "scan");
            } else if (key == "mode") {
                step.mode = Int32(word, "mode");
            } else if (key == "jst") {
                step.jst = Boolean(word, "jst");
            } else if (value.size() == 3 && std::all_of(value.begin(), value.end(), [](char c) {
                           return std::isalpha(static_cast<unsigned char>(c)) != 0;
                       })) {
                step.country = value;
            } else {
                throw LineError{"bad country " + Quote(value) + " (want three letters)"};
            }
        }
    } else {
        throw LineError{"unknown stream operation " + Quote(name)};
    }
    reader.End();
}

void ParseExpectStream(LineReader& reader, Step& step)
{
    Handle(reader.Next("handle"), step);
    const Word& what = reader.Next("what to expect of the stream clock");
    const std::string& name = what.text;
    if (name == "clock" || name == "system") {
        step.kind = name == "clock" ? StepKind::ExpectStreamClock : StepKind::ExpectStreamSystem;
        step.time = Time(reader.Next("time"), Tolerance::Allowed);
        for (const auto& option : reader.Options({"set"})) {
            step.isSet = Boolean(Word{option.second, false}, "set flag");
        }
    } else if (name == "mode") {
        step.kind = StepKind::ExpectStreamMode;
        step.mode = Int32(reader.Next("mode"), "mode");
    } else if (name == "dst") {
        step.kind = StepKind::ExpectStreamDst;
        step.flag = Boolean(reader.Next("daylight-saving state"), "daylight-saving state");
    } else if (name == "dvboffset") {
        const Word& toc = reader.Next("time of change or none");
        if (SameWord(toc.text, "none")) {
            step.kind = StepKind::ExpectStreamNoDvbOffset;
        } else {
            step.kind = StepKind::ExpectStreamDvbOffset;
            const auto integer = ParseInteger(toc.text);
            if (integer && *integer < 0) {
                step.time.seconds =
                    static_cast<int64_t>(static_cast<uint32_t>(Int32(toc, "time of change")));
            } else {
                step.time = Time(toc, Tolerance::Refused);
            }
            step.next = Int32(reader.Next("next offset"), "next offset");
            step.local = Int32(reader.Next("local offset"), "local offset");
        }
    } else {
        throw LineError{"unknown stream expectation " + Quote(name)};
    }
    reader.End();
}

void ParseExpectLog(LineReader& reader, Step& step)
{
    bool haveText = false;
    bool haveLevel = false;
    while (!reader.AtEnd()) {
        const Word& word = reader.Next("log text");
        const size_t equals = word.text.find('=');
        if (!word.quoted && equals != std::string::npos) {
            const std::string key = word.text.substr(0, equals);
            const Word value{word.text.substr(equals + 1), false};
            if (key == "level" && !haveLevel) {
                haveLevel = true;
                step.level = Integer(value, "level");
                continue;
            }
            if (key == "via" && !step.via) {
                step.via = ViaByName(value.text);
                if (!step.via) {
                    throw LineError{"bad output " + Quote(word.text) +
                                    " (want Print, PrintF, Profiling, Trace, Assert or Stdout)"};
                }
                continue;
            }
            if (key == "level" || key == "via") {
                throw LineError{"option given twice " + Quote(word.text)};
            }
        }
        if (haveText) {
            throw LineError{"unexpected word " + Quote(word.text) + " (quote a text with blanks)"};
        }
        haveText = true;
        step.text = word.text;
    }
    if (!haveText) {
        throw LineError{std::string("missing log text after ") +
                        (step.kind == StepKind::ExpectLog ? "'log'" : "'nolog'")};
    }
}

void ParseExpect(LineReader& reader, Step& step)
{
    const Word& what = reader.Next("what to expect");
    const std::string& name = what.text;
    if (name == "result") {
        step.kind = StepKind::ExpectResult;
        const Word& word = reader.Next("result");
        ExpectedResult& expected = step.expected;
        if (SameWord(word.text, "null")) {
            expected.kind = ExpectedResult::Kind::Null;
        } else if (SameWord(word.text, "true") || SameWord(word.text, "false") ||
                   SameWord(word.text, "on") || SameWord(word.text, "off")) {
            expected.kind = ExpectedResult::Kind::Bool;
            expected.boolean = *ParseBool(word.text);
        } else {
            expected.kind = ExpectedResult::Kind::Number;
            const auto integer = ParseInteger(word.text);
            if (integer) {
                expected.number.seconds = *integer;
            } else {
                expected.number = Time(word, Tolerance::Allowed);
            }
        }
    } else if (name == "setting") {
        step.kind = StepKind::ExpectSetting;
        const Word& which = reader.Next("setting name");
        if (which.text == "reason") {
            step.setting = SettingName::Reason;
            step.value = Reason(reader.Next("reason"));
        } else if (which.text == "dst") {
            step.setting = SettingName::Dst;
            step.value = Int32(reader.Next("value"), "dst");
        } else if (which.text == "offset") {
            step.setting = SettingName::Offset;
            step.value = Int32(reader.Next("value"), "offset");
        } else if (which.text == "autoclock") {
            step.setting = SettingName::AutoClock;
            step.value = AutoType(reader.Next("auto clock type"));
        } else if (which.text == "firststt") {
            step.setting = SettingName::FirstStt;
            const Word& word = reader.Next("first stream time");
            const auto integer = ParseInteger(word.text);
            if (integer && *integer < 0) {
                step.value = Int32(word, "first stream time");
            } else {
                step.time = Time(word, Tolerance::Allowed);
                step.value = step.time.seconds;
            }
        } else {
            throw LineError{"unknown setting " + Quote(which.text) +
                            " (want reason, dst, offset, autoclock or firststt)"};
        }
    } else if (name == "autoclock") {
        step.kind = StepKind::ExpectAutoClock;
        step.value = AutoType(reader.Next("auto clock type"));
    } else if (name == "clock" || name == "rtc") {
        step.kind = name == "clock" ? StepKind::ExpectClock : StepKind::ExpectRtc;
        step.time = Time(reader.Next("time"), Tolerance::Allowed,
                         name == "clock" ? kMaxUnsigned32 : std::numeric_limits<int64_t>::max());
    } else if (name == "signals") {
        step.kind = StepKind::ExpectSignals;
        step.value = Integer(reader.Next("count"), "count");
    } else if (name == "signal") {
        step.kind = StepKind::ExpectSignal;
        const Word& index = reader.Next("signal number");
        step.value = Integer(index, "signal number");
        if (step.value < 1) {
            throw LineError{"bad signal number " + Quote(index.text) + " (they count from 1)"};
        }
        const auto options = reader.Options({"type"});
        if (options.empty()) {
            throw LineError{"missing type=T after " + Quote(index.text)};
        }
        const Word type{options.front().second, false};
        step.settingType = SetType(type);
    } else if (name == "subscribed") {
        step.kind = StepKind::ExpectSubscribed;
        const Word& which = reader.Next("networktime, timemode or presentation");
        if (which.text == "networktime") {
            step.subscription = 1;
        } else if (which.text == "timemode") {
            step.subscription = 2;
        } else if (which.text == "presentation") {
            step.subscription = 3;
        } else {
            throw LineError{"unknown subscription " + Quote(which.text) +
                            " (want networktime, timemode or presentation)"};
        }
        step.flag = Boolean(reader.Next("0 or 1"), "subscription state");
    } else if (name == "running") {
        step.kind = StepKind::ExpectRunning;
        step.flag = Boolean(reader.Next("0 or 1"), "running state");
    } else if (name == "stream") {
        ParseExpectStream(reader, step);
        return;
    } else if (name == "log" || name == "nolog") {
        step.kind = name == "log" ? StepKind::ExpectLog : StepKind::ExpectNoLog;
        ParseExpectLog(reader, step);
        return;
    } else if (name == "registered") {
        step.kind = StepKind::ExpectRegistered;
        step.value = Integer(reader.Next("count"), "count");
    } else {
        throw LineError{"unknown expectation " + Quote(name)};
    }
    reader.End();
}

void ParseStep(LineReader& reader, Step& step)
{
    const Word& verb = reader.Next("step");
    const std::string& name = verb.text;
    struct Simple {
        const char* name;
        StepKind kind;
    };
    static constexpr Simple kSimple[] = {
        {"init", StepKind::Init},
        {"gettime", StepKind::GetTime},
        {"networktime", StepKind::NetworkTime},
        {"releasetime", StepKind::ReleaseTime},
        {"idle", StepKind::Idle},
        {"sync", StepKind::Sync},
        {"mark", StepKind::Mark},
    };
    if (!verb.quoted) {
        for (const Simple& simple : kSimple) {
            if (name == simple.name) {
                step.kind = simple.kind;
                reader.End();
                return;
            }
        }
    }
    if (verb.quoted) {
        throw LineError{"unknown step " + Quote(name)};
    }
    if (name == "set") {
        ParseSet(reader, step);
    } else if (name == "fail") {
        ParseFail(reader, step);
    } else if (name == "manager") {
        const Word& what = reader.Next("'exit'");
        if (what.text != "exit") {
            throw LineError{"unknown manager step " + Quote(what.text) + " (want manager exit)"};
        }
        step.kind = StepKind::ManagerExit;
        reader.End();
    } else if (name == "settime") {
        step.kind = StepKind::SetTime;
        step.time = Time(reader.Next("time"), Tolerance::Refused);
        step.settingType = SetType(reader.Next("setting type"));
        for (const auto& option : reader.Options({"dst"})) {
            step.flag = Boolean(Word{option.second, false}, "dst");
        }
    } else if (name == "streams") {
        const Word& what = reader.Next("'init' or 'exit'");
        if (what.text == "init") {
            step.kind = StepKind::StreamsInit;
        } else if (what.text == "exit") {
            step.kind = StepKind::StreamsExit;
        } else {
            throw LineError{"unknown streams step " + Quote(what.text) + " (want init or exit)"};
        }
        reader.End();
    } else if (name == "stream") {
        ParseStream(reader, step);
    } else if (name == "advance") {
        step.kind = StepKind::Advance;
        const Word& duration = reader.Next("duration");
        step.value = Duration(duration);
        // A longer run is a mistake (a unit left out), not a soak test.
        constexpr int64_t kMaxAdvanceMs = 36525LL * 86400000;  // 100 years of 365.25 days
        if (step.value > kMaxAdvanceMs) {
            throw LineError{"advance " + Quote(duration.text) +
                            " is beyond 100 years (at most 36525d)"};
        }
        reader.End();
    } else if (name == "expect") {
        ParseExpect(reader, step);
    } else {
        throw LineError{"unknown step " + Quote(name)};
    }
}

// The text of a line without its comment and surrounding blanks.
std::string StepSource(std::string_view line)
{
    bool quoted = false;
    bool escaped = false;
    size_t end = line.size();
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quoted) {
            if (escaped) {
                escaped = false;
            } else if (c == '\\') {
                escaped = true;
            } else if (c == '"') {
                quoted = false;
            }
            continue;
        }
        if (c == '"') {
            quoted = true;
        } else if (c == '#' && (i == 0 || IsBlank(line[i - 1]))) {
            end = i;
            break;
        }
    }
    size_t begin = 0;
    while (begin < end && IsBlank(line[begin])) {
        ++begin;
    }
    while (end > begin && IsBlank(line[end - 1])) {
        --end;
    }
    return std::string(line.substr(begin, end - begin));
}

}  // namespace

std::variant<Script, ParseError> ParseScript(const std::string& name, const std::string& text)
{
    Script script;
    script.name = name;
    size_t start = 0;
    int lineNumber = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        const std::string_view line = std::string_view(text).substr(start, end - start);
        start = end + 1;
        ++lineNumber;

        size_t first = 0;
        while (first < line.size() && IsBlank(line[first])) {
            ++first;
        }
        const std::string_view content = line.substr(first);
        if (content.substr(0, 3) == "## ") {
            Step heading;
            heading.kind = StepKind::Heading;
            heading.line = lineNumber;
            std::string_view rest = content.substr(3);
            while (!rest.empty() && IsBlank(rest.back())) {
                rest.remove_suffix(1);
            }
            heading.text = std::string(rest);
            heading.source = std::string(content);
            script.steps.push_back(std::move(heading));
            continue;
        }
        try {
            std::vector<Word> words = SplitWords(line);
            if (words.empty()) {
                continue;
            }
            Step step;
            step.line = lineNumber;
            step.source = StepSource(line);
            LineReader reader(std::move(words));
            ParseStep(reader, step);
            script.steps.push_back(std::move(step));
        } catch (const LineError& error) {
            return ParseError{lineNumber, error.message};
        }
    }
    return script;
}

}  // namespace daksim
