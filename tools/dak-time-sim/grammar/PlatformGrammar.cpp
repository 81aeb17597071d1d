// `set ...` and `fail ...`: the host platform's settings, providers, clocks,
// agents and injected faults.
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Grammar.h"
#include "Values.h"
#include "Vocabulary.h"

namespace daksim::grammar {

namespace {

using K = StepKind;

// set dst|offset|region|clockmode|presentation N
StepArgs SettingValue(StepWords& in, StepKind& /*kind*/)
{
    const std::string name = in.Previous().text;
    return args::Value{Int32(in.Next("value"), name.c_str())};
}

StepArgs ReasonValue(StepWords& in, StepKind& /*kind*/)
{
    return args::Value{Reason(in.Next("reason"))};
}

StepArgs FirstStt(StepWords& in, StepKind& /*kind*/)
{
    return args::Value{FirstStreamTime(in.Next("first stream time"), Tolerance::Refused).seconds};
}

StepArgs NetworkSet(StepWords& in, StepKind& /*kind*/)
{
    return args::Switch{Boolean(in.Next("network time state"), "network time state")};
}

StepArgs Option24(StepWords& in, StepKind& /*kind*/)
{
    const Word& word = in.Next("option 24 value");
    if (SameWord(word.text, "none")) {
        return args::Option24{};
    }
    return args::Option24{Int32(word, "option 24 value")};
}

StepArgs Power(StepWords& in, StepKind& /*kind*/)
{
    return args::Switch{Boolean(in.Next("power state"), "power state")};
}

StepArgs Tz(StepWords& in, StepKind& /*kind*/)
{
    return args::Text{in.Next("time zone").text};
}

// set rtc TIME | absent | raw YEAR MON MDAY HOUR MIN SEC
StepArgs Rtc(StepWords& in, StepKind& kind)
{
    const Word& word = in.Next("hardware clock time");
    if (SameWord(word.text, "absent")) {
        kind = K::SetRtcAbsent;
        return args::None{};
    }
    if (SameWord(word.text, "raw")) {
        kind = K::SetRtcRaw;
        static constexpr const char* kRegisters[] = {"year", "month",  "day of month",
                                                     "hour", "minute", "second"};
        args::RtcRegisters raw;
        for (size_t i = 0; i < raw.registers.size(); ++i) {
            raw.registers[i] = Int32(in.Next(kRegisters[i]), kRegisters[i]);
        }
        return raw;
    }
    return args::Time{Time(word, Tolerance::Refused, std::numeric_limits<int64_t>::max())};
}

StepArgs Clock(StepWords& in, StepKind& /*kind*/)
{
    return args::Time{Time(in.Next("time"), Tolerance::Refused)};
}

StepArgs ProcessClock(StepWords& in, StepKind& /*kind*/)
{
    const Word& word = in.Next("process clock time or real");
    if (SameWord(word.text, "real")) {
        return args::ProcessClock{};
    }
    return args::ProcessClock{Time(word, Tolerance::Refused)};
}

// set tzagent REGION=OFFSET... | refuse | none | other
StepArgs TzAgent(StepWords& in, StepKind& /*kind*/)
{
    const Word& first = in.Next("REGION=OFFSET, refuse, none or other");
    if (SameWord(first.text, "refuse")) {
        return args::Agent{AgentChoice::Refuse, {}};
    }
    if (SameWord(first.text, "none")) {
        return args::Agent{AgentChoice::None, {}};
    }
    if (SameWord(first.text, "other")) {
        return args::Agent{AgentChoice::Other, {}};
    }
    args::Agent agent{AgentChoice::Answer, {}};
    const Word* word = &first;
    while (true) {
        const size_t equals = word->text.find('=');
        const auto region = AsInt32(std::string_view(word->text).substr(0, equals));
        const auto offset = equals == std::string::npos
                                ? std::nullopt
                                : AsInt32(std::string_view(word->text).substr(equals + 1));
        if (!region || !offset) {
            throw LineError{"bad agent answer " + Quote(word->text) +
                            " (want REGION=OFFSET, refuse, none or other)"};
        }
        agent.offsets[*region] = *offset;
        if (in.AtEnd()) {
            return agent;
        }
        word = &in.Next("REGION=OFFSET");
    }
}

StepArgs UpdateAgent(StepWords& in, StepKind& /*kind*/)
{
    const Word& word = in.Next("allow, deny, none or other");
    static constexpr std::pair<const char*, AgentChoice> kAnswers[] = {
        {"allow", AgentChoice::Answer},
        {"deny", AgentChoice::Refuse},
        {"none", AgentChoice::None},
        {"other", AgentChoice::Other},
    };
    for (const auto& [name, choice] : kAnswers) {
        if (SameWord(word.text, name)) {
            return args::Agent{choice, {}};
        }
    }
    throw LineError{"bad update agent " + Quote(word.text) + " (want allow, deny, none or other)"};
}

StepArgs EventManager(StepWords& in, StepKind& /*kind*/)
{
    return args::Switch{Boolean(in.Next("on or off"), "event manager state")};
}

StepArgs Factory(StepWords& in, StepKind& /*kind*/)
{
    return args::Switch{Boolean(in.Next("on or off"), "object factory state")};
}

// fail WHAT B
StepArgs FaultState(StepWords& in, StepKind& /*kind*/)
{
    return args::Switch{Boolean(in.Next("0 or 1"), "fault state")};
}

// fail clockget|clockset CODE
StepArgs FaultCode(StepWords& in, StepKind& /*kind*/)
{
    return args::Value{Int32(in.Next("code"), "code")};
}

// clang-format off
constexpr Phrase kSettings[] = {
    {"reason", K::SetReason, ReasonValue},
    {"dst", K::SetDst, SettingValue},
    {"offset", K::SetOffset, SettingValue},
    {"region", K::SetRegion, SettingValue},
    {"firststt", K::SetFirstStt, FirstStt},
    {"clockmode", K::SetClockMode, SettingValue},
    {"networkset", K::SetNetworkSet, NetworkSet},
    {"presentation", K::SetPresentation, SettingValue},
    {"option24", K::SetOption24, Option24},
    {"power", K::SetPower, Power},
    {"tz", K::SetTz, Tz},
    {"rtc", K::SetRtc, Rtc},
    {"clock", K::SetClock, Clock},
    {"processclock", K::SetProcessClock, ProcessClock},
    {"tzagent", K::SetTzAgent, TzAgent},
    {"updateagent", K::SetUpdateAgent, UpdateAgent},
    {"eventmanager", K::SetEventManager, EventManager},
    {"factory", K::SetFactory, Factory},
};

constexpr Phrase kFaults[] = {
    {"rtcread", K::FailRtcRead, FaultState},
    {"rtcwrite", K::FailRtcWrite, FaultState},
    {"clockget", K::FailClockGet, FaultCode},
    {"clockset", K::FailClockSet, FaultCode},
    {"monotonic", K::FailMonotonic, FaultState},
    {"processclock", K::FailProcessClock, FaultState},
    {"send", K::FailSend, FaultState},
    {"mutex", K::FailMutex, FaultState},
    {"taskcreate", K::FailTaskCreate, FaultState},
};
// clang-format on

}  // namespace

StepArgs ReadSet(StepWords& in, StepKind& kind)
{
    return ReadPhrase(in, kind, kSettings, "what to set", "unknown setting");
}

StepArgs ReadFail(StepWords& in, StepKind& kind)
{
    return ReadPhrase(in, kind, kFaults, "what fails", "unknown fault");
}

}  // namespace daksim::grammar
