// Capture replay: captures written here, read by the capture reader and
// played into a stream clock of the library on the host platform; checked
// by what a user sees (stream clock, its offset record and DST flag, the
// platform clock and the hardware clock) and by the reader's notes.
#include <algorithm>
#include <string>
#include <variant>
#include <vector>

#include "CapturePlayer.h"
#include "CaptureReader.h"
#include "CaptureWriter.h"
#include "DakTestFixture.h"
#include "DvbTime.h"
#include "ReplayFixture.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace {

using namespace daksim::capture;
using namespace daksim::capture::test;
using daktest::Utc;

constexpr uint16_t kPcrPid = 0x100;
constexpr uint32_t kGpsEpoch = 315964800;

bool HasNote(const Capture& capture, uint64_t offset, const std::string& text)
{
    return std::any_of(capture.notes.begin(), capture.notes.end(), [&](const Note& note) {
        return note.packetOffset == offset && note.text.find(text) != std::string::npos;
    });
}

using CaptureReplay = ReplayFixture;

// Sections as the standards print them, decoded through libdvbpsi and our
// own field decoding: the worked example of EN 300 468 (MJD 0xC079 is
// 1993-10-13), a TOT with a negative offset, and an STT.
TEST(CaptureReader, DecodesHandBuiltSections)
{
    CaptureWriter writer;
    writer.Section(kDvbTimePid, {0x70, 0x70, 0x05, 0xC0, 0x79, 0x12, 0x45, 0x00});
    // TOT 1993-10-13T12:45:00Z, "USA" region 3, polarity 1: -05:00 now,
    // -04:00 from 1993-10-31T06:00:00Z (MJD 0xC08B).
    Bytes tot = {0x73, 0x70, 0x00, 0xC0, 0x79, 0x12, 0x45, 0x00, 0xF0, 0x0F, 0x58, 0x0D, 'U',
                 'S',  'A',  0x0F, 0x05, 0x00, 0xC0, 0x8B, 0x06, 0x00, 0x00, 0x04, 0x00};
    tot[2] = static_cast<uint8_t>(tot.size() + 4 - 3);
    const Bytes withCrc =
        TotSection(0xC079124500ULL, {Offset("USA", -300, Utc(1993, 10, 31, 6), -240, 3)});
    ASSERT_EQ(Bytes(withCrc.begin(), withCrc.end() - 4), tot) << "the writer's TOT";
    writer.Section(kDvbTimePid, withCrc);
    // STT: 1 000 000 000 GPS seconds, GPS_UTC_offset 18, DS_status 1 with
    // DS_day_of_month 0x1F and DS_hour 5.
    const Bytes stt = SttSection(1000000000, 18, 0x9F05);
    ASSERT_EQ(Bytes(stt.begin(), stt.end() - 4),
              (Bytes{0xCD, 0xF0, 0x11, 0x00, 0x00, 0xC1, 0x00, 0x00, 0x00, 0x3B, 0x9A, 0xCA, 0x00,
                     0x12, 0x9F, 0x05}));
    writer.Section(kAtscBasePid, stt);
    writer.Section(kAtscBasePid, stt);

    const Capture capture = Read(writer.Data());
    EXPECT_TRUE(capture.notes.empty()) << Notes(capture);
    ASSERT_EQ(capture.tables.size(), 4U);
    EXPECT_EQ(capture.tables[0].kind, TimeTable::Kind::Tdt);
    EXPECT_EQ(TableUtc(capture.tables[0]), Utc(1993, 10, 13, 12, 45));

    const TimeTable& decodedTot = capture.tables[1];
    EXPECT_EQ(decodedTot.kind, TimeTable::Kind::Tot);
    EXPECT_EQ(decodedTot.packetOffset, 188U);
    ASSERT_EQ(decodedTot.offsets.size(), 1U);
    const OffsetEntry& entry = decodedTot.offsets[0];
    EXPECT_EQ(entry.country, "USA");
    EXPECT_EQ(entry.region, 3);
    EXPECT_TRUE(entry.negative);
    EXPECT_EQ(BcdHhmmToMinutes(entry.localOffset), 300);
    EXPECT_EQ(BcdHhmmToMinutes(entry.nextOffset), 240);
    EXPECT_EQ(MjdBcdToUtc(entry.timeOfChange), Utc(1993, 10, 31, 6));

    // Both STTs, though their version never changes; DS_status kept.
    for (size_t i = 2; i < 4; ++i) {
        EXPECT_EQ(capture.tables[i].kind, TimeTable::Kind::Stt);
        EXPECT_EQ(capture.tables[i].systemTime, 1000000000U);
        EXPECT_EQ(capture.tables[i].gpsUtcOffset, 18);
        EXPECT_EQ(capture.tables[i].daylightSavings, 0x9F05);
        EXPECT_EQ(TableUtc(capture.tables[i]), 1000000000U - 18U + kGpsEpoch);
    }
}

// Field decoding refuses what is not a time: a BCD digit above 9, 24 hours,
// 60 minutes of an offset.
TEST(CaptureReader, RefusesBadBcd)
{
    EXPECT_FALSE(MjdBcdToUtc(0xC0791A4500ULL));
    EXPECT_FALSE(MjdBcdToUtc(0xC079244500ULL));
    EXPECT_TRUE(MjdBcdToUtc(0xC079235960ULL));  // a leap second
    EXPECT_FALSE(BcdHhmmToMinutes(0x0160));
    EXPECT_FALSE(BcdHhmmToMinutes(0x0A00));
    EXPECT_EQ(UtcToMjdBcd(Utc(1993, 10, 13, 12, 45)), 0xC079124500ULL);
}

// Damage: a CRC error and a section cut short skip their tables, a lost
// sync byte resynchronises; each note names its packet's byte.
TEST(CaptureReader, SkipsDamageAndResynchronises)
{
    const uint32_t t = Utc(2024, 6, 1, 12);
    CaptureWriter writer;
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(t)));  // byte 0
    Bytes badCrc = TotSection(UtcToMjdBcd(t + 1), {Offset("DEU", 120, t, 60)});
    badCrc[badCrc.size() - 1] ^= 0x01U;
    writer.Section(kDvbTimePid, badCrc);                          // byte 188
    writer.Raw({0x00, 0x47, 0x12, 0x34, 0x56});                   // byte 376
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(t + 2)));  // byte 381
    Bytes stt = SttSection(1400000000, 18, 0);
    stt[8] ^= 0x80U;                                              // CRC no longer matches
    writer.Section(kAtscBasePid, stt);                            // byte 569
    writer.Section(kAtscBasePid, SttSection(1400000001, 18, 0));  // byte 757
    // A TOT in two packets whose second is lost, then a TDT.
    const Bytes longTot =
        TotSection(UtcToMjdBcd(t + 3), std::vector<OffsetEntry>(15, Offset("DEU", 120, t, 60)));
    ASSERT_GT(longTot.size(), 183U);
    writer.Section(kDvbTimePid, longTot);  // bytes 945, 1133
    writer.Data().resize(writer.Data().size() - 188);
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(t + 4)));  // byte 1133
    // The same TOT cut short by the end of the capture.
    writer.Section(kDvbTimePid, longTot);  // bytes 1321, 1509
    writer.Data().resize(writer.Data().size() - 188);
    writer.Raw({0x47, 0x00});  // byte 1509

    const Capture capture = Read(writer.Data());
    ASSERT_EQ(capture.tables.size(), 4U) << Notes(capture);
    EXPECT_EQ(TableUtc(capture.tables[3]), t + 4);
    EXPECT_TRUE(HasNote(capture, 1133, "discontinuity")) << Notes(capture);
    EXPECT_EQ(TableUtc(capture.tables[0]), t);
    EXPECT_EQ(TableUtc(capture.tables[1]), t + 2);
    EXPECT_EQ(capture.tables[1].packetOffset, 381U);
    EXPECT_EQ(capture.tables[2].systemTime, 1400000001U);
    EXPECT_TRUE(HasNote(capture, 188, "CRC")) << Notes(capture);
    EXPECT_TRUE(HasNote(capture, 376, "sync byte lost; in sync again at byte 381"))
        << Notes(capture);
    EXPECT_TRUE(HasNote(capture, 569, "CRC")) << Notes(capture);
    EXPECT_TRUE(HasNote(capture, 1321, "cut off by the end of the capture")) << Notes(capture);
    EXPECT_TRUE(HasNote(capture, 1509, "not a whole packet")) << Notes(capture);
}

TEST(CaptureReader, RefusesWhatIsNotATransportStream)
{
    const std::string text(1000, 'x');
    const auto notTs = ReadCapture(reinterpret_cast<const uint8_t*>(text.data()), text.size());
    ASSERT_TRUE(std::holds_alternative<ReadError>(notTs));
    EXPECT_NE(std::get<ReadError>(notTs).message.find("not an MPEG transport stream"),
              std::string::npos);
    EXPECT_TRUE(std::holds_alternative<ReadError>(ReadCapture(nullptr, 0)));
    // A capture without time tables is a capture: nothing to hand over.
    CaptureWriter writer;
    writer.Pcr(kPcrPid, 0);
    EXPECT_TRUE(Read(writer.Data()).tables.empty());
}

// DVB across an offset change, paced by the PCR: a minute of capture is a
// minute of the set's life, the hardware-clock sync running inside it.
TEST_F(CaptureReplay, DvbOffsetChangePacedByPcr)
{
    const uint32_t change = Utc(2026, 3, 29, 1);
    const uint32_t start = change - 30;
    CaptureWriter writer;
    for (uint64_t ms = 0; ms <= 65000; ms += 100) {
        writer.Pcr(kPcrPid, 1000000 + ms);  // the first PCR is the capture's zero
        const auto now = start + static_cast<uint32_t>(ms / 1000U);
        if (ms % 10000U == 5000U) {
            writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(now)));
        }
        if (ms == 20000U || ms == 50000U) {
            const bool before = now < change;
            writer.Section(kDvbTimePid,
                           TotSection(UtcToMjdBcd(now),
                                      {Offset("DEU", before ? 60 : 120, change, before ? 120 : 60),
                                       Offset("PRT", before ? 0 : 60, change, before ? 60 : 0)}));
        }
    }
    PlayOptions options;
    options.country = "prt";
    EXPECT_EQ(Play(writer.Data(), options), 9);

    bool isSet = false;
    EXPECT_EQ(StreamClock(&isSet), start + 65);
    EXPECT_TRUE(isSet);
    unsigned long toc = 0;
    int next = 0;
    int local = 0;
    ASSERT_TRUE(m_clock->GetDVBTimeOffset(toc, next, local));
    EXPECT_EQ(toc, change);
    EXPECT_EQ(next, 0);
    EXPECT_EQ(local, 60);
    // The first TDT set the clocks (at 5 s); 60 s of capture followed.
    EXPECT_EQ(dakhost::PlatformClock(), start + 65);
    EXPECT_EQ(dakhost::Rtc(), start + 65);
    EXPECT_EQ(dakhost::GetSetting(dakhost::Setting::Reason), 3);  // Reason_stream
    EXPECT_GE(daktest::CountLogs("SetStreamClock] utc"), 9);
}

// A broadcaster's clock left at 2000 is refused by the stream clock and
// leaves the set's clocks alone; without a PCR the table times pace the
// replay, and the jump to the right time moves nothing.
TEST_F(CaptureReplay, Year2000TdtIsRefused)
{
    const uint32_t right = Utc(2024, 1, 1, 0, 0, 40);
    CaptureWriter writer;
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(Utc(2000, 1, 1))));
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(Utc(2000, 1, 1, 0, 0, 10))));
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(right)));
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(right + 5)));
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(right + 3)));  // never backwards
    EXPECT_EQ(Play(writer.Data()), 5);

    EXPECT_TRUE(daktest::HasLog("Invalid UTC[946684800 <978307199  - 4102444800>]"));
    EXPECT_TRUE(daktest::HasLog("Invalid UTC[946684810 <978307199  - 4102444800>]"));
    // 10 s between the 2000 tables, 5 s between the right ones: 15 s passed.
    // The right time set the clocks 10 s in; 5 s later the set reads +5.
    EXPECT_EQ(dakhost::PlatformClock(), right + 5);
    EXPECT_EQ(StreamClock(), right + 3);
}

TEST_F(CaptureReplay, Year2000OnlyLeavesEverythingAlone)
{
    CaptureWriter writer;
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(Utc(2000, 1, 1))));
    EXPECT_EQ(Play(writer.Data()), 1);
    bool isSet = true;
    StreamClock(&isSet);
    EXPECT_FALSE(isSet);
    EXPECT_EQ(dakhost::PlatformClock(), Utc(2024, 1, 1));
    EXPECT_EQ(dakhost::Rtc(), Utc(2024, 1, 1));
}

// ATSC: every STT counts; DS_status reaches the stream's DST flag (and,
// with the stream as the clock source, the settings store); a stale
// GPS_UTC_offset shows as a clock that many seconds off.
TEST_F(CaptureReplay, AtscSttEveryTableAndDst)
{
    const uint32_t gps = Utc(2024, 7, 4, 18) - kGpsEpoch + 18;
    CaptureWriter writer;
    for (uint32_t i = 0; i < 3; ++i) {
        writer.Pcr(kPcrPid, uint64_t{i} * 1000U);
        writer.Section(kAtscBasePid, SttSection(gps + i, 18, 0));
    }
    writer.Pcr(kPcrPid, 3000);
    // Daylight saving begins, and the GPS_UTC_offset goes stale (0).
    writer.Section(kAtscBasePid, SttSection(gps + 3, 0, 0x8000));
    EXPECT_EQ(Play(writer.Data()), 4);

    EXPECT_TRUE(m_clock->StreamDST());
    EXPECT_EQ(StreamClock(), Utc(2024, 7, 4, 18, 0, 21));
    EXPECT_EQ(dakhost::PlatformClock(), Utc(2024, 7, 4, 18, 0, 21));
    EXPECT_EQ(dakhost::GetSetting(dakhost::Setting::FlagDst), 1);
    EXPECT_EQ(daktest::CountLogs("SetStreamClock] utc"), 4);
}

// ISDB sends Japan Standard Time: with jst the table's time and its time of
// change are taken back 9 hours.
TEST_F(CaptureReplay, IsdbJst)
{
    const uint32_t utc = Utc(2024, 5, 1, 3);
    const uint32_t jst = utc + 9 * 3600;
    CaptureWriter writer;
    writer.Section(kDvbTimePid, TotSection(UtcToMjdBcd(jst), {Offset("JPN", 0, jst + 3600, 0)}));
    PlayOptions options;
    options.wireMinutes = kJstMinutes;
    EXPECT_EQ(Play(writer.Data(), options), 1);
    EXPECT_EQ(StreamClock(), utc);
    EXPECT_EQ(dakhost::PlatformClock(), utc);
    unsigned long toc = 0;
    int next = 1;
    int local = 1;
    ASSERT_TRUE(m_clock->GetDVBTimeOffset(toc, next, local));
    EXPECT_EQ(toc, utc + 3600);
    EXPECT_EQ(next, 0);
    EXPECT_EQ(local, 0);
}

// A TOT without an entry for the asked country sets the clock only.
TEST_F(CaptureReplay, TotWithoutTheCountry)
{
    const uint32_t t = Utc(2024, 5, 1, 3);
    CaptureWriter writer;
    writer.Section(kDvbTimePid, TotSection(UtcToMjdBcd(t), {Offset("DEU", 60, t, 60)}));
    PlayOptions options;
    options.country = "FRA";
    EXPECT_EQ(Play(writer.Data(), options), 1);
    EXPECT_EQ(StreamClock(), t);
    unsigned long toc = 0;
    int next = 0;
    int local = 0;
    EXPECT_FALSE(m_clock->GetDVBTimeOffset(toc, next, local));
}

}  // namespace
