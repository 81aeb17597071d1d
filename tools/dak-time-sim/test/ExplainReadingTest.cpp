// Reading a set's log as real loggers and terminals leave it: the stamp
// forms of journald, logcat, syslog and the kernel, stamps from the set's
// own clock that jump when the library sets it, the ends of line and escape
// sequences of serial consoles and terminals, a compressed log cut short.
#include <gtest/gtest.h>
#include <zlib.h>

#include <fstream>
#include <string>
#include <vector>

#include "LineReader.h"
#include "LineReaderFixture.h"
#include "Moments.h"
#include "Stamp.h"

namespace daksim::explain {
namespace {

constexpr int64_t k20240305T100000 = 1709632800;

int64_t WallMs(const char* line, int64_t year = 2024)
{
    const auto stamp = ReadStamp(line);
    EXPECT_TRUE(stamp) << line;
    if (!stamp) {
        return -1;
    }
    return stamp->kind == Stamp::Kind::Syslog ? InYear(*stamp, year) : stamp->ms;
}

TEST(ExplainStampForms, EveryFormOfTheSameMoment)
{
    const int64_t want = k20240305T100000 * 1000 + 123;
    // journald
    EXPECT_EQ(WallMs("2024-03-05T10:00:00.123456+0000 tv-set tvservice[812]: x"), want);
    EXPECT_EQ(WallMs("2024-03-05T11:00:00.123+01:00 tv-set tvservice[812]: x"), want);
    EXPECT_EQ(WallMs("Mar 05 10:00:00.123456 tv-set tvservice[812]: x"), want);
    EXPECT_EQ(WallMs("Mar 05 10:00:00 tv-set tvservice[812]: x"), want - 123);
    EXPECT_EQ(WallMs("Tue 2024-03-05 10:00:00 UTC tv-set tvservice[812]: x"), want - 123);
    // logcat
    EXPECT_EQ(WallMs("03-05 10:00:00.123   812   845 I DAK     : x"), want);
    EXPECT_EQ(WallMs("03-05 10:00:00.123 I/DAK     (  812): x"), want);
    EXPECT_EQ(WallMs("2024-03-05 10:00:00.123   812   845 I DAK     : x"), want);
    EXPECT_EQ(WallMs("1709632800.123   812   845 I DAK     : x"), want);
    // syslog
    EXPECT_EQ(WallMs("<134>1 2024-03-05T10:00:00.123Z tv-set tvservice 812 - - x"), want);
    EXPECT_EQ(WallMs("<134>Mar  5 10:00:00 tv-set tvservice[812]: x"), want - 123);

    const auto logcatUptime = ReadStamp("  1234.567   812   845 I DAK     : x");
    ASSERT_TRUE(logcatUptime);
    EXPECT_EQ(logcatUptime->kind, Stamp::Kind::Uptime);
    EXPECT_EQ(logcatUptime->ms, 1234567);
    const auto journaldUptime = ReadStamp("[ 1234.567890] tv-set tvservice[812]: x");
    ASSERT_TRUE(journaldUptime);
    EXPECT_EQ(journaldUptime->kind, Stamp::Kind::Uptime);
    EXPECT_EQ(journaldUptime->ms, 1234567);

    // The rest of the line starts after the stamp.
    const std::string line = "03-05 10:00:00.123   812 x";
    EXPECT_EQ(line.substr(ReadStamp(line)->length), "   812 x");
}

TEST(ExplainStampForms, WithoutAYearAndWhatIsNoStamp)
{
    const auto leap = ReadStamp("Feb 29 12:00:00 x");
    ASSERT_TRUE(leap);
    EXPECT_EQ(leap->kind, Stamp::Kind::Syslog);
    EXPECT_EQ(InYear(*leap, 2024) / 1000, 1709208000);
    EXPECT_EQ(YearOf(k20240305T100000), 2024);
    EXPECT_EQ(YearOf(4102444799), 2099);
    EXPECT_EQ(YearOf(0), 1970);

    EXPECT_FALSE(ReadStamp("812 845 I DAK: x"));         // a number without a fraction
    EXPECT_FALSE(ReadStamp("13-05 10:00:00.123 x"));     // no such month
    EXPECT_FALSE(ReadStamp("<134>1 - tv-set app - x"));  // RFC 5424 without a time
}

// Lines "STAMP library" through the moments, each with what it tells of the
// clock: "set U" (the library set the clock), "read U", "to U" (about to set).
struct Logged {
    const char* line;
    const char* tells = "";
    int64_t utc = 0;
};

std::vector<uint64_t> ElapsedOf(const std::vector<Logged>& lines)
{
    Moments moments;
    std::vector<uint64_t> out;
    for (const Logged& logged : lines) {
        const std::string tells = logged.tells;
        moments.Stamped(ReadStamp(logged.line), tells != "other");
        if (tells == "set") {
            moments.ClockSet(logged.utc);
        } else if (tells == "read") {
            moments.ClockIs(logged.utc);
        } else if (tells == "to") {
            moments.ClockSetting(logged.utc);
        }
        out.push_back(moments.Now().elapsedMs);
    }
    return out;
}

TEST(ExplainMoments, StampsFromTheSetsClockLoseItsMoves)
{
    // A boot at 1970 that the broadcast sets to 2024, level 1 only: the
    // stamp jumps on the line that says so.
    EXPECT_EQ(ElapsedOf({{"1970-01-01T00:00:05Z a", "read", 5},
                         {"1970-01-01T00:15:00Z b"},
                         {"2024-03-05T10:00:00Z c", "set", k20240305T100000},
                         {"2024-03-05T10:10:00Z d"}}),
              (std::vector<uint64_t>{0, 895000, 895000, 1495000}));
    // With the lines before the move: the stamps jump on a line before the
    // one that says the clock was set, and another program's line (stamped
    // after the move) moves nothing.
    EXPECT_EQ(ElapsedOf({{"2024-03-05T10:00:00Z a", "read", k20240305T100000},
                         {"2024-03-05T10:00:30Z b", "to", k20240305T100000 - 1800},
                         {"2024-03-05T09:30:00Z other", "other"},
                         {"2024-03-05T09:30:00Z c"},
                         {"2024-03-05T09:30:01Z d", "set", k20240305T100000 - 1800},
                         {"2024-03-05T09:40:01Z e"}}),
              (std::vector<uint64_t>{0, 30000, 30000, 30000, 31000, 631000}));
    // The same log from a collector's clock: the stamps do not jump.
    EXPECT_EQ(ElapsedOf({{"2024-03-05T10:00:00Z a", "read", k20240305T100000},
                         {"2024-03-05T10:00:30Z b", "to", k20240305T100000 - 1800},
                         {"2024-03-05T10:00:31Z d", "set", k20240305T100000 - 1800},
                         {"2024-03-05T10:10:31Z e"}}),
              (std::vector<uint64_t>{0, 30000, 31000, 631000}));
    // Moved by something the log does not show: once the clock is read, the
    // move is taken back out where the stamps jumped.
    const auto outside = ElapsedOf({{"Dec 31 23:59:00 a", "read", 4102444740},
                                    {"Mar  5 10:00:00 b"},
                                    {"Mar  5 10:00:01 c", "read", k20240305T100000 + 1},
                                    {"Mar  5 10:00:31 d"}});
    EXPECT_EQ(outside[2], 1000U);
    EXPECT_EQ(outside[3], 31000U);
}

TEST(ExplainMoments, TheClockASettingReplaced)
{
    // A level-1 log: no reading just before the setting, the clock the log
    // told last runs on with the stamps.
    Moments moments;
    moments.Stamped(ReadStamp("2024-03-05T10:00:00Z a"));
    moments.ClockIs(k20240305T100000);
    moments.Stamped(ReadStamp("2024-03-05T10:05:00Z b"));
    moments.Stamped(ReadStamp("2024-03-05T12:00:00Z c"));
    moments.ClockSet(k20240305T100000 + 7200);
    ASSERT_TRUE(moments.ClockBefore());
    EXPECT_EQ(*moments.ClockBefore(), k20240305T100000 + 300);
    EXPECT_EQ(moments.Now().elapsedMs, 300000U);
    EXPECT_EQ(moments.Now().clock, k20240305T100000 + 7200);
}

TEST(ExplainMoments, ALevelOneLogsSettingsFromEitherClock)
{
    // Only the settings' lines, stamped by a collector: the stamps run on
    // whatever the clock is set to, and keep the 12 hours between.
    auto settings = [](const char* first, const char* second) {
        Moments moments;
        moments.Line(1);
        moments.Stamped(ReadStamp(first));
        moments.ClockSet(1709596800);  // 2024-03-05T00:00:00Z
        moments.Line(2);
        moments.Stamped(ReadStamp(second));
        moments.ClockSet(1709640033);  // 12 hours later and 3 s
        return moments;
    };
    const Moments collector = settings("2024-03-05T10:00:00Z a", "2024-03-05T22:00:30Z b");
    EXPECT_EQ(collector.Now().elapsedMs, 43230000U);
    EXPECT_EQ(collector.UnsplitMoves(), 0U);
    // Stamped by the set's clock, which the settings moved: how much of the
    // step was the move and how much time passing is not in the log.
    const Moments own = settings("2024-03-05T00:00:00Z a", "2024-03-05T12:00:33Z b");
    EXPECT_EQ(own.UnsplitMoves(), 1U);
    EXPECT_EQ(own.FirstUnsplit(), 2U);
}

TEST(ExplainMoments, TheYearOfStampsWithoutOne)
{
    // Across the end of February: a day in 1970 (no year known), two in a
    // leap year the user gives; the clock the log reads wins over both.
    auto across = [](std::optional<int64_t> year, std::optional<int64_t> clock) {
        Moments moments;
        moments.Reset(year);
        moments.Stamped(ReadStamp("Feb 28 12:00:00 a"));
        if (clock) {
            moments.ClockIs(*clock);
        }
        moments.Stamped(ReadStamp("Mar  1 12:00:00 b"));
        return moments.Now().elapsedMs / 1000 / 3600;
    };
    EXPECT_EQ(across(std::nullopt, std::nullopt), 24U);
    EXPECT_EQ(across(2024, std::nullopt), 48U);
    EXPECT_EQ(across(std::nullopt, 1709121600), 48U);  // 2024-02-28T12:00:00Z
    EXPECT_EQ(across(2024, 1677585600), 24U);          // 2023-02-28T12:00:00Z
}

TEST(ExplainMoments, NeverBackNorAYearAtOnce)
{
    // Stamps without a moves the log shows: back, and a year ahead, are held.
    EXPECT_EQ(ElapsedOf({{"2024-03-05T10:00:00Z a"},
                         {"2024-03-05T09:00:00Z b"},
                         {"2025-03-06T09:00:00Z c"},
                         {"2025-03-06T09:00:10Z d"}}),
              (std::vector<uint64_t>{0, 0, 0, 10000}));
    // Uptime is taken as it is, whatever the clock does.
    EXPECT_EQ(ElapsedOf({{"[   12.000000] a", "read", 5},
                         {"[   42.500000] b", "set", k20240305T100000},
                         {"[   50.000000] c"}}),
              (std::vector<uint64_t>{0, 30500, 38000}));
}

TEST_F(ExplainLineReader, EveryEndOfLineAndNoEscapeSequence)
{
    size_t cut = 0;
    std::string error;
    const auto Read = [&](const std::string& name, const std::string& content) {
        Write(name, content);
        return ReadAll(name, cut, &error);
    };
    const std::vector<std::string> three = {"one", "two", "three"};
    EXPECT_EQ(Read("lf", "one\ntwo\nthree\n"), three);
    EXPECT_EQ(Read("crlf", "one\r\ntwo\r\nthree\r\n"), three);
    EXPECT_EQ(Read("crcrlf", "one\r\r\ntwo\r\r\nthree\r\r\n"), three);
    EXPECT_EQ(Read("lfcr", "one\n\rtwo\n\rthree\n\r"), three);
    EXPECT_EQ(Read("cr", "one\rtwo\rthree"), three);
    // grep's colours and erase-to-end, a cursor move, a terminal title (BEL
    // and ST ended), a character set.
    EXPECT_EQ(Read("escapes",
                   "\x1b[1;31mone\x1b[0m\x1b[K\n"
                   "t\x1b[2;5Hwo\n"
                   "\x1b]0;tv-set\x07th\x1b]2;x\x1b\\ree\x1b(B\n"),
              three);
    EXPECT_EQ(cut, 0U);
    EXPECT_TRUE(error.empty());
}

TEST_F(ExplainLineReader, ACompressedLogCutShortSaysSo)
{
    std::string text;
    for (int i = 0; i < 50000; ++i) {
        text += "2024-03-05T10:00:00Z line " + std::to_string(i) + "\n";
    }
    const std::string whole = Path("whole.gz");
    gzFile file = gzopen(whole.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(gzwrite(file, text.data(), static_cast<unsigned>(text.size())),
              static_cast<int>(text.size()));
    gzclose(file);
    std::ifstream in(whole, std::ios::binary | std::ios::ate);
    std::string compressed(static_cast<size_t>(in.tellg()), '\0');
    in.seekg(0);
    in.read(compressed.data(), static_cast<std::streamsize>(compressed.size()));
    size_t cut = 0;
    std::string error;
    Write("cut.gz", compressed.substr(0, compressed.size() / 2));
    const auto lines = ReadAll("cut.gz", cut, &error);
    EXPECT_FALSE(error.empty());
    EXPECT_GT(lines.size(), 1000U);
    EXPECT_LT(lines.size(), 50000U);
    EXPECT_EQ(cut, 1U);  // the last line, which the cut went through
    EXPECT_EQ(lines[1000], "2024-03-05T10:00:00Z line 1000");
}

}  // namespace
}  // namespace daksim::explain
