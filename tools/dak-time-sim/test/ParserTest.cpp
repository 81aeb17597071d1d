// The scenario reader on its own: words, values, steps and its messages.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <variant>

#include "Calendar.h"
#include "DakHostControl.h"
#include "Parser.h"
#include "TimeText.h"
#include "Vocabulary.h"

namespace daksim {
namespace {

Script Parse(const std::string& text)
{
    auto result = ParseScript("t.scn", text);
    if (const auto* error = std::get_if<ParseError>(&result)) {
        ADD_FAILURE() << "unexpected error: " << error->Format("t.scn");
        return {};
    }
    return std::get<Script>(result);
}

Step ParseOne(const std::string& text)
{
    const Script script = Parse(text);
    EXPECT_EQ(script.steps.size(), 1U) << text;
    return script.steps.empty() ? Step{} : script.steps.front();
}

// The record of the one step of `text`; a failure when it has another.
template <class Args>
Args Of(const std::string& text)
{
    const Step step = ParseOne(text);
    if (const Args* values = step.Get<Args>()) {
        return *values;
    }
    ADD_FAILURE() << "another record for: " << text;
    return {};
}

std::string Error(const std::string& text)
{
    auto result = ParseScript("bad.scn", text);
    if (const auto* error = std::get_if<ParseError>(&result)) {
        return error->Format("bad.scn");
    }
    ADD_FAILURE() << "no error for: " << text;
    return {};
}

TEST(TimeTextTest, ConvertsBothWays)
{
    EXPECT_EQ(UtcFromIso("1970-01-01T00:00:00Z"), 0);
    EXPECT_EQ(UtcFromIso("2001-01-01T00:00:00Z"), 978307200);
    EXPECT_EQ(UtcFromIso("2100-01-01T00:00:00Z"), 4102444800);
    EXPECT_EQ(UtcFromIso("2024-02-29T12:34:56Z"), 1709210096);
    EXPECT_EQ(IsoFromUtc(1709632800), "2024-03-05T10:00:00Z");
    EXPECT_EQ(IsoFromUtc(4102444799), "2099-12-31T23:59:59Z");
    EXPECT_EQ(IsoFromUtc(-1), "1969-12-31T23:59:59Z");
}

TEST(TimeTextTest, RefusesWhatIsNotADate)
{
    EXPECT_FALSE(UtcFromIso("2023-02-29T00:00:00Z"));
    EXPECT_FALSE(UtcFromIso("2024-13-01T00:00:00Z"));
    EXPECT_FALSE(UtcFromIso("2024-03-05T24:00:00Z"));
    EXPECT_FALSE(UtcFromIso("2024-03-05T10:00:00"));
    EXPECT_FALSE(UtcFromIso("2024-03-05 10:00:00Z"));
}

TEST(VocabularyTest, ReadsShortNamesPrintedNamesAndIntegers)
{
    EXPECT_EQ(ParseSetType("facotryreset"), 7);
    EXPECT_EQ(ParseSetType("SetType_netfail"), 4);
    EXPECT_EQ(ParseSetType("3"), 3);
    EXPECT_EQ(ParseSetType("-1"), -1);
    EXPECT_FALSE(ParseSetType("factoryreset"));
    EXPECT_EQ(ParseReason("micom"), 1);
    EXPECT_EQ(ParseReason("Reason_stream"), 3);
    EXPECT_EQ(ParseReason("9"), 9);
    EXPECT_EQ(ParseAutoType("max"), 2);
    EXPECT_EQ(ParseAutoType("AutoType_net"), 1);
    EXPECT_EQ(SetTypeName(3), "SetType_unknown");
    EXPECT_EQ(ReasonName(9), "Reason_unknown");
    EXPECT_EQ(AutoTypeName(0), "AutoType_stream");
    EXPECT_EQ(ParseBool("on"), true);
    EXPECT_EQ(ParseBool("false"), false);
    EXPECT_FALSE(ParseBool("2"));
}

TEST(ParserTest, SkipsBlankAndCommentLinesAndKeepsHeadings)
{
    const Script script = Parse(
        "\n"
        "# a comment\n"
        "   # an indented comment\n"
        "## A heading\n"
        "idle   # a trailing comment\n"
        "mark\n");
    ASSERT_EQ(script.steps.size(), 3U);
    EXPECT_EQ(script.steps[0].kind, StepKind::Heading);
    EXPECT_EQ(script.steps[0].Get<args::Text>()->text, "A heading");
    EXPECT_EQ(script.steps[1].kind, StepKind::Idle);
    EXPECT_EQ(script.steps[1].line, 5);
    EXPECT_EQ(script.steps[1].source, "idle");
    EXPECT_EQ(script.steps[2].line, 6);
}

TEST(ParserTest, ReadsQuotedWordsWithEscapes)
{
    const std::string line = R"(expect log "a \"b\" \\ \e[0m # not a comment")";
    EXPECT_EQ(ParseOne(line).kind, StepKind::ExpectLog);
    EXPECT_EQ(Of<args::LogMatch>(line).text, "a \"b\" \\ \x1b[0m # not a comment");
}

TEST(ParserTest, ReadsTimesAndTolerances)
{
    EXPECT_EQ(ParseOne("settime 2024-03-05T10:00:00Z manual").kind, StepKind::SetTime);
    auto set = Of<args::TimeSetting>("settime 2024-03-05T10:00:00Z manual");
    EXPECT_EQ(set.time.seconds, 1709632800);
    EXPECT_EQ(set.type, 0);
    EXPECT_FALSE(set.dst);

    set = Of<args::TimeSetting>("settime 1709632800 SetType_stream dst=on");
    EXPECT_EQ(set.time.seconds, 1709632800);
    EXPECT_EQ(set.type, 1);
    EXPECT_TRUE(set.dst);

    const TimeValue now = Of<args::Time>("expect clock now~2").time;
    EXPECT_TRUE(now.now);
    EXPECT_EQ(now.tolerance, 2);

    EXPECT_EQ(ParseOne("expect rtc 2024-03-05T10:00:00Z~1").kind, StepKind::ExpectRtc);
    EXPECT_EQ(Of<args::Time>("expect rtc 2024-03-05T10:00:00Z~1").time.tolerance, 1);

    EXPECT_EQ(Of<args::Time>("set rtc 2106-03-01T00:00:00Z").time.seconds,
              dakcal::UtcFromCivil(2106, 3, 1, 0, 0, 0));
}

TEST(ParserTest, ReadsDurations)
{
    EXPECT_EQ(Of<args::Duration>("advance 500ms").ms, 500);
    EXPECT_EQ(Of<args::Duration>("advance 30s").ms, 30000);
    EXPECT_EQ(Of<args::Duration>("advance 2m").ms, 120000);
    EXPECT_EQ(Of<args::Duration>("advance 2h").ms, 7200000);
    EXPECT_EQ(Of<args::Duration>("advance 1d").ms, 86400000);
    // Up to 100 years, a leap day every fourth.
    EXPECT_EQ(Of<args::Duration>("advance 36525d").ms, 36525LL * 86400000);
}

TEST(ParserTest, ReadsHandlesAndStreamSteps)
{
    EXPECT_EQ(ParseOne("stream -3/2 set 2024-03-05T10:00:00Z scan=1 mode=4").kind,
              StepKind::StreamSet);
    const auto set = Of<args::StreamTime>("stream -3/2 set 2024-03-05T10:00:00Z scan=1 mode=4");
    EXPECT_EQ(set.handle.profileId, -3);
    EXPECT_EQ(set.handle.subId, 2);
    EXPECT_TRUE(set.scan);
    EXPECT_EQ(set.mode, 4);

    EXPECT_EQ(ParseOne("stream 1/0 dvboffset -1 60 0").kind, StepKind::StreamDvbOffset);
    const auto offset = Of<args::DvbOffset>("stream 1/0 dvboffset -1 60 0");
    EXPECT_EQ(offset.timeOfChange, 4294967295);
    EXPECT_EQ(offset.next, 60);

    EXPECT_EQ(ParseOne("expect stream 1/65535 clock now~1 set=true").kind,
              StepKind::ExpectStreamClock);
    const auto reading = Of<args::Reading>("expect stream 1/65535 clock now~1 set=true");
    EXPECT_EQ(reading.handle.subId, 65535);
    EXPECT_EQ(reading.isSet, true);

    EXPECT_EQ(ParseOne("expect stream 1/0 dvboffset none").kind, StepKind::ExpectStreamNoDvbOffset);

    const std::string play = "stream 2/1 play \"captures/a b.ts\" jst=1 country=jpn mode=3 scan=on";
    EXPECT_EQ(ParseOne(play).kind, StepKind::StreamPlay);
    const auto capture = Of<args::Capture>(play);
    EXPECT_EQ(capture.file, "captures/a b.ts");
    EXPECT_TRUE(capture.jst);
    EXPECT_TRUE(capture.scan);
    EXPECT_EQ(capture.mode, 3);
    EXPECT_EQ(capture.country, "jpn");
    EXPECT_EQ(Of<args::Capture>("stream 1/0 play x.ts").country, "");
    EXPECT_EQ(Error("stream 1/0 play x.ts country=DE"),
              "bad.scn:1: bad country 'DE' (want three letters)");
    EXPECT_EQ(Error("stream 1/0 play"), "bad.scn:1: missing capture file after 'play'");

    // The time on the wire: hours or hours:minutes east of UTC; a region id.
    const auto wire = Of<args::Capture>("stream 1/0 play x.ts wire=-3 region=63");
    EXPECT_EQ(wire.wireMinutes, -180);
    EXPECT_EQ(wire.region, 63);
    EXPECT_FALSE(Of<args::Capture>("stream 1/0 play x.ts").wireMinutes);
    EXPECT_EQ(Of<args::Capture>("stream 1/0 play x.ts wire=+5:30").wireMinutes, 330);
    EXPECT_EQ(Of<args::Capture>("stream 1/0 play x.ts wire=-0:30").wireMinutes, -30);
    EXPECT_EQ(Of<args::Capture>("stream 1/0 play x.ts wire=9").wireMinutes, 540);
    EXPECT_EQ(Error("stream 1/0 play x.ts wire=+15"),
              "bad.scn:1: bad wire offset '+15' (want +9, -3 or +5:30)");
    EXPECT_EQ(Error("stream 1/0 play x.ts wire=5:3"),
              "bad.scn:1: bad wire offset '5:3' (want +9, -3 or +5:30)");
    EXPECT_EQ(Error("stream 1/0 play x.ts region=64"), "bad.scn:1: bad region '64' (want 0 to 63)");
}

TEST(ParserTest, ReadsPlatformSteps)
{
    const auto agent = Of<args::Agent>("set tzagent 5=540 7=-210");
    EXPECT_EQ(agent.choice, AgentChoice::Answer);
    EXPECT_EQ(agent.offsets.at(5), 540);
    EXPECT_EQ(agent.offsets.at(7), -210);
    EXPECT_EQ(Of<args::Agent>("set tzagent refuse").choice, AgentChoice::Refuse);
    EXPECT_EQ(Of<args::Agent>("set updateagent deny").choice, AgentChoice::Refuse);
    EXPECT_FALSE(Of<args::Option24>("set option24 none").value);
    EXPECT_EQ(Of<args::Option24>("set option24 4").value, 4);
    EXPECT_EQ(Of<args::Value>("set reason Reason_stream").value, 3);
    EXPECT_EQ(Of<args::Text>("set tz \"CET-1CEST,M3.5.0,M10.5.0/3\"").text,
              "CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(ParseOne("set rtc absent").kind, StepKind::SetRtcAbsent);
    EXPECT_EQ(Of<args::Value>("fail clockset -5").value, -5);
    EXPECT_TRUE(Of<args::Switch>("fail mutex on").on);
    EXPECT_FALSE(Of<args::ProcessClock>("set processclock real").time);
    EXPECT_EQ(Of<args::ProcessClock>("set processclock 1709632800").time->seconds, 1709632800);
}

TEST(ParserTest, ReadsRawHardwareClockRegistersAsAnyInt32)
{
    const std::string line = "set rtc raw -1 12 0 24 60 -2147483648";
    EXPECT_EQ(ParseOne(line).kind, StepKind::SetRtcRaw);
    EXPECT_EQ(Of<args::RtcRegisters>(line).registers,
              (std::array<int32_t, 6>{-1, 12, 0, 24, 60, INT32_MIN}));
    EXPECT_NE(Error("set rtc raw 124 2 5 10 0").find("missing second"), std::string::npos);
    EXPECT_EQ(Error("set rtc raw 124 2 5 10 0 2147483648"),
              "bad.scn:1: second out of range '2147483648' (want a 32-bit integer)");
    EXPECT_NE(Error("set rtc raw 124 March 5 10 0 0").find("bad month 'March'"), std::string::npos);
}

TEST(ParserTest, ReadsExpectations)
{
    ExpectedResult expected = Of<args::Result>("expect result true").expected;
    EXPECT_EQ(expected.kind, ExpectedResult::Kind::Bool);
    EXPECT_TRUE(expected.boolean);
    EXPECT_EQ(Of<args::Result>("expect result null").expected.kind, ExpectedResult::Kind::Null);
    expected = Of<args::Result>("expect result 2024-03-05T10:00:00Z~1").expected;
    EXPECT_EQ(expected.kind, ExpectedResult::Kind::Number);
    EXPECT_EQ(expected.number.tolerance, 1);

    const auto signal = Of<args::SignalEntry>("expect signal 2 type=-1");
    EXPECT_EQ(signal.number, 2);
    EXPECT_EQ(signal.type, -1);

    const auto log = Of<args::LogMatch>("expect log level=4 via=PrintF \"over the range\"");
    EXPECT_EQ(log.level, 4);
    EXPECT_EQ(log.via, static_cast<int>(dakhost::Via::PrintF));
    EXPECT_EQ(log.text, "over the range");

    EXPECT_EQ(ParseOne("expect nolog \"level=4\"").kind, StepKind::ExpectNoLog);
    EXPECT_EQ(Of<args::LogMatch>("expect nolog \"level=4\"").text, "level=4");

    const auto stored = Of<args::StoredSetting>("expect setting autoclock max");
    EXPECT_EQ(stored.setting, SettingName::AutoClock);
    EXPECT_EQ(stored.value, 2);
    EXPECT_EQ(Of<args::StoredSetting>("expect setting firststt -7").value, -7);
    EXPECT_EQ(Of<args::StoredSetting>("expect setting firststt 1709632800~3").time.tolerance, 3);
    EXPECT_EQ(Of<args::Subscription>("expect subscribed timemode 1").which, 2);
}

TEST(ParserTest, NamesTheWordNotUnderstood)
{
    EXPECT_EQ(Error("idle\nfrobnicate now\n"), "bad.scn:2: unknown step 'frobnicate'");
    EXPECT_EQ(Error("settime"), "bad.scn:1: missing time after 'settime'");
    EXPECT_EQ(Error("settime yesterday manual"),
              "bad.scn:1: bad time 'yesterday' (want 2024-03-05T10:00:00Z, seconds since 1970 "
              "or now)");
    EXPECT_EQ(Error("settime 2024-02-30T00:00:00Z manual").substr(0, 26),
              "bad.scn:1: bad time '2024-");
    EXPECT_EQ(Error("settime now~2 manual"), "bad.scn:1: no tolerance allowed here 'now~2'");
    EXPECT_EQ(Error("settime 5000000000 manual"),
              "bad.scn:1: time out of range '5000000000' (at most 4294967295)");
    EXPECT_EQ(Error("settime now sometimes"),
              "bad.scn:1: bad setting type 'sometimes' (want manual stream net 3 netfail sync "
              "init facotryreset, a printed name or an integer)");
    EXPECT_EQ(Error("stream 1-0 reset"),
              "bad.scn:1: bad handle '1-0' (want PROFILE/SUB, a 32-bit profile and a 16-bit "
              "sub, e.g. 1/0)");
    EXPECT_EQ(Error("stream 1/70000 reset").substr(0, 29), "bad.scn:1: bad handle '1/7000");
    EXPECT_EQ(Error("advance 10"),
              "bad.scn:1: bad duration '10' (want a number with ms, s, m, h or d)");
    EXPECT_EQ(Error("advance 36526d"),
              "bad.scn:1: advance '36526d' is beyond 100 years (at most 36525d)");
    EXPECT_EQ(Error("idle now"), "bad.scn:1: unexpected word 'now'");
    EXPECT_EQ(Error("settime now manual dst=1 dst=0"), "bad.scn:1: option given twice 'dst=0'");
    EXPECT_EQ(Error("settime now manual scan=1"), "bad.scn:1: unknown option 'scan=1'");
    EXPECT_EQ(Error("expect log \"open"), "bad.scn:1: quoted word not closed: '\"open'");
    EXPECT_EQ(Error("expect log \"a\\n\""),
              "bad.scn:1: unknown escape '\\n' in a quoted word (\\\" \\\\ \\e are known)");
    EXPECT_EQ(Error("expect log via=Fax \"x\""),
              "bad.scn:1: bad output 'via=Fax' (want Print, PrintF, Profiling, Trace, Assert "
              "or Stdout)");
    EXPECT_EQ(Error("expect log level=4"), "bad.scn:1: missing log text after 'log'");
    EXPECT_EQ(Error("expect signal 0 type=net"),
              "bad.scn:1: bad signal number '0' (they count from 1)");
    EXPECT_EQ(Error("expect signal 1"), "bad.scn:1: missing type=T after '1'");
    EXPECT_EQ(Error("set power maybe"),
              "bad.scn:1: bad power state 'maybe' (want 0/1, false/true or off/on)");
    EXPECT_EQ(Error("set tzagent 5:540"),
              "bad.scn:1: bad agent answer '5:540' (want REGION=OFFSET, refuse, none or other)");
    EXPECT_EQ(Error("set colour blue"), "bad.scn:1: unknown setting 'colour'");
    EXPECT_EQ(Error("fail everything 1"), "bad.scn:1: unknown fault 'everything'");
    EXPECT_EQ(Error("expect weather sunny"), "bad.scn:1: unknown expectation 'weather'");
    EXPECT_EQ(Error("set offset 99999999999"),
              "bad.scn:1: offset out of range '99999999999' (want a 32-bit integer)");
}

TEST(ParserTest, NamesThePhraseNotUnderstoodInEachFamily)
{
    EXPECT_EQ(Error("set"), "bad.scn:1: missing what to set after 'set'");
    EXPECT_EQ(Error("fail"), "bad.scn:1: missing what fails after 'fail'");
    EXPECT_EQ(Error("expect"), "bad.scn:1: missing what to expect after 'expect'");
    EXPECT_EQ(Error("stream 1/0"), "bad.scn:1: missing stream operation after '1/0'");
    EXPECT_EQ(Error("stream 1/0 rewind"), "bad.scn:1: unknown stream operation 'rewind'");
    EXPECT_EQ(Error("expect stream 1/0"),
              "bad.scn:1: missing what to expect of the stream clock after '1/0'");
    EXPECT_EQ(Error("expect stream 1/0 colour red"),
              "bad.scn:1: unknown stream expectation 'colour'");
    EXPECT_EQ(Error("expect stream x clock now"),
              "bad.scn:1: bad handle 'x' (want PROFILE/SUB, a 32-bit profile and a 16-bit sub, "
              "e.g. 1/0)");
    EXPECT_EQ(Error("manager stop"), "bad.scn:1: unknown manager step 'stop' (want manager exit)");
    EXPECT_EQ(Error("streams reset"),
              "bad.scn:1: unknown streams step 'reset' (want init or exit)");
    EXPECT_EQ(Error("set updateagent maybe"),
              "bad.scn:1: bad update agent 'maybe' (want allow, deny, none or other)");
    EXPECT_EQ(Error("expect subscribed clock 1"),
              "bad.scn:1: unknown subscription 'clock' (want networktime, timemode or "
              "presentation)");
    EXPECT_EQ(Error("expect setting colour 1"),
              "bad.scn:1: unknown setting 'colour' (want reason, dst, offset, autoclock or "
              "firststt)");
    // A verb is a word of its own: quoted, it is text.
    EXPECT_EQ(Error("\"idle\""), "bad.scn:1: unknown step 'idle'");
    // Words after a complete step are refused, whatever the family.
    EXPECT_EQ(Error("set dst 1 2"), "bad.scn:1: unexpected word '2'");
    EXPECT_EQ(Error("stream 1/0 reset now"), "bad.scn:1: unexpected word 'now'");
    EXPECT_EQ(Error("expect stream 1/0 dvboffset none 1"), "bad.scn:1: unexpected word '1'");
}

TEST(ParserTest, AStreamStepAndItsExpectationReadTheirValuesAlike)
{
    const auto set = Of<args::DvbOffset>("stream 3/4 dvboffset 2024-03-31T01:00:00Z 60 -30");
    const auto expected =
        Of<args::DvbOffset>("expect stream 3/4 dvboffset 2024-03-31T01:00:00Z 60 -30");
    EXPECT_EQ(set.handle.profileId, expected.handle.profileId);
    EXPECT_EQ(set.handle.subId, expected.handle.subId);
    EXPECT_EQ(set.timeOfChange, expected.timeOfChange);
    EXPECT_EQ(set.next, expected.next);
    EXPECT_EQ(set.local, -30);
    EXPECT_EQ(expected.local, -30);
    EXPECT_EQ(Of<args::StreamMode>("stream 1/0 mode -2").mode,
              Of<args::StreamMode>("expect stream 1/0 mode -2").mode);
    EXPECT_EQ(Error("expect stream 1/0 dvboffset now 1"),
              "bad.scn:1: missing local offset after '1'");
    EXPECT_EQ(Error("stream 1/0 mode 2147483648"),
              "bad.scn:1: mode out of range '2147483648' (want a 32-bit integer)");
    // The settings a `set` writes are named as they are written.
    EXPECT_EQ(Error("set clockmode x"), "bad.scn:1: bad clockmode 'x' (want an integer)");
    EXPECT_EQ(Error("set region 99999999999"),
              "bad.scn:1: region out of range '99999999999' (want a 32-bit integer)");
}

}  // namespace
}  // namespace daksim
