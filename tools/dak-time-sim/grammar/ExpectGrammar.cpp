// `expect ...`: what a file checks of the library and the platform.
#include <limits>
#include <string>

#include "Grammar.h"
#include "Values.h"
#include "Vocabulary.h"

namespace daksim::grammar {

namespace {

using K = StepKind;

// expect result true|false|on|off|null|N|T
StepArgs Result(StepWords& in, StepKind& /*kind*/)
{
    const Word& word = in.Next("result");
    ExpectedResult expected;
    if (SameWord(word.text, "null")) {
        expected.kind = ExpectedResult::Kind::Null;
    } else if (SameWord(word.text, "true") || SameWord(word.text, "false") ||
               SameWord(word.text, "on") || SameWord(word.text, "off")) {
        expected.kind = ExpectedResult::Kind::Bool;
        expected.boolean = *ParseBool(word.text);
    } else {
        expected.kind = ExpectedResult::Kind::Number;
        if (const auto integer = ParseInteger(word.text)) {
            expected.number.seconds = *integer;
        } else {
            expected.number = Time(word, Tolerance::Allowed);
        }
    }
    return args::Result{expected};
}

// expect setting reason|dst|offset|autoclock|firststt V
StepArgs Setting(StepWords& in, StepKind& /*kind*/)
{
    const Word& which = in.Next("setting name");
    args::StoredSetting stored;
    if (which.text == "reason") {
        stored.setting = SettingName::Reason;
        stored.value = Reason(in.Next("reason"));
    } else if (which.text == "dst") {
        stored.setting = SettingName::Dst;
        stored.value = Int32(in.Next("value"), "dst");
    } else if (which.text == "offset") {
        stored.setting = SettingName::Offset;
        stored.value = Int32(in.Next("value"), "offset");
    } else if (which.text == "autoclock") {
        stored.setting = SettingName::AutoClock;
        stored.value = AutoType(in.Next("auto clock type"));
    } else if (which.text == "firststt") {
        stored.setting = SettingName::FirstStt;
        stored.time = FirstStreamTime(in.Next("first stream time"), Tolerance::Allowed);
        stored.value = stored.time.seconds;
    } else {
        throw LineError{"unknown setting " + Quote(which.text) +
                        " (want reason, dst, offset, autoclock or firststt)"};
    }
    return stored;
}

StepArgs AutoClock(StepWords& in, StepKind& /*kind*/)
{
    return args::Value{AutoType(in.Next("auto clock type"))};
}

StepArgs Clock(StepWords& in, StepKind& /*kind*/)
{
    return args::Time{Time(in.Next("time"), Tolerance::Allowed)};
}

// The hardware clock counts past 2106.
StepArgs Rtc(StepWords& in, StepKind& /*kind*/)
{
    return args::Time{
        Time(in.Next("time"), Tolerance::Allowed, std::numeric_limits<int64_t>::max())};
}

StepArgs Count(StepWords& in, StepKind& /*kind*/)
{
    return args::Value{Integer(in.Next("count"), "count")};
}

// expect signal N type=T
StepArgs Signal(StepWords& in, StepKind& /*kind*/)
{
    const Word& index = in.Next("signal number");
    args::SignalEntry signal;
    signal.number = Integer(index, "signal number");
    if (signal.number < 1) {
        throw LineError{"bad signal number " + Quote(index.text) + " (they count from 1)"};
    }
    const auto options = in.Options({"type"});
    if (options.empty()) {
        throw LineError{"missing type=T after " + Quote(index.text)};
    }
    signal.type = SetType(Word{options.front().second, false});
    return signal;
}

StepArgs Subscribed(StepWords& in, StepKind& /*kind*/)
{
    const Word& which = in.Next("networktime, timemode or presentation");
    static constexpr const char* kSubscriptions[] = {"networktime", "timemode", "presentation"};
    for (int i = 0; i < 3; ++i) {
        if (which.text == kSubscriptions[i]) {
            return args::Subscription{i + 1, Boolean(in.Next("0 or 1"), "subscription state")};
        }
    }
    throw LineError{"unknown subscription " + Quote(which.text) +
                    " (want networktime, timemode or presentation)"};
}

StepArgs Running(StepWords& in, StepKind& /*kind*/)
{
    return args::Switch{Boolean(in.Next("0 or 1"), "running state")};
}

// expect log|nolog [level=N] [via=V] TEXT, the options on either side.
StepArgs Log(StepWords& in, StepKind& kind)
{
    args::LogMatch match;
    bool haveText = false;
    bool haveLevel = false;
    while (!in.AtEnd()) {
        const Word& word = in.Next("log text");
        const size_t equals = word.text.find('=');
        if (!word.quoted && equals != std::string::npos) {
            const std::string key = word.text.substr(0, equals);
            const Word value{word.text.substr(equals + 1), false};
            if (key == "level" && !haveLevel) {
                haveLevel = true;
                match.level = Integer(value, "level");
                continue;
            }
            if (key == "via" && !match.via) {
                match.via = ViaByName(value.text);
                if (!match.via) {
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
        match.text = word.text;
    }
    if (!haveText) {
        throw LineError{std::string("missing log text after ") +
                        (kind == K::ExpectLog ? "'log'" : "'nolog'")};
    }
    return match;
}

// expect stream H clock|system T [set=B]
StepArgs StreamReading(StepWords& in, const args::StreamHandle& handle, StepKind& /*kind*/)
{
    args::Reading reading{handle, Time(in.Next("time"), Tolerance::Allowed), std::nullopt};
    for (const auto& option : in.Options({"set"})) {
        reading.isSet = Boolean(Word{option.second, false}, "set flag");
    }
    return reading;
}

StepArgs StreamDst(StepWords& in, const args::StreamHandle& handle, StepKind& /*kind*/)
{
    return args::StreamDst{handle,
                           Boolean(in.Next("daylight-saving state"), "daylight-saving state"), 0};
}

// expect stream H dvboffset TOC NEXT LOCAL | none
StepArgs StreamDvbOffset(StepWords& in, const args::StreamHandle& handle, StepKind& kind)
{
    const Word& toc = in.Next("time of change or none");
    if (SameWord(toc.text, "none")) {
        kind = K::ExpectStreamNoDvbOffset;
        return args::Stream{handle};
    }
    return ReadDvbOffset(in, handle, toc);
}

// clang-format off
constexpr StreamPhrase kStreamExpectations[] = {
    {"clock", K::ExpectStreamClock, StreamReading},
    {"system", K::ExpectStreamSystem, StreamReading},
    {"mode", K::ExpectStreamMode, ReadStreamMode},
    {"dst", K::ExpectStreamDst, StreamDst},
    {"dvboffset", K::ExpectStreamDvbOffset, StreamDvbOffset},
};
// clang-format on

// expect stream H ...
StepArgs Stream(StepWords& in, StepKind& kind)
{
    return ReadStreamPhrase(in, kind, kStreamExpectations, "what to expect of the stream clock",
                            "unknown stream expectation");
}

// clang-format off
constexpr Phrase kExpectations[] = {
    {"result", K::ExpectResult, Result},
    {"setting", K::ExpectSetting, Setting},
    {"autoclock", K::ExpectAutoClock, AutoClock},
    {"clock", K::ExpectClock, Clock},
    {"rtc", K::ExpectRtc, Rtc},
    {"signals", K::ExpectSignals, Count},
    {"signal", K::ExpectSignal, Signal},
    {"subscribed", K::ExpectSubscribed, Subscribed},
    {"running", K::ExpectRunning, Running},
    {"stream", K::ExpectStreamClock, Stream},
    {"log", K::ExpectLog, Log},
    {"nolog", K::ExpectNoLog, Log},
    {"registered", K::ExpectRegistered, Count},
};
// clang-format on

}  // namespace

StepArgs ReadExpect(StepWords& in, StepKind& kind)
{
    return ReadPhrase(in, kind, kExpectations, "what to expect", "unknown expectation");
}

}  // namespace daksim::grammar
