// Capture replay on streams as real broadcasts send them: broadcaster
// quirks, 192- and 204-byte packets, dates across 2038 and after, TOTs
// with several regions, the time on the wire in local time, bad input, a
// capture read in pieces of any size, and the `tables` listing.
#include <algorithm>
#include <cstdio>
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
#include "TablesCommand.h"

namespace {

using namespace daksim::capture;
using namespace daksim::capture::test;
using daktest::Utc;

constexpr uint16_t kPcrPid = 0x100;

size_t CountNotes(const Capture& capture, const std::string& text)
{
    return static_cast<size_t>(
        std::count_if(capture.notes.begin(), capture.notes.end(),
                      [&](const Note& note) { return note.text.find(text) != std::string::npos; }));
}

std::vector<int64_t> Times(const Capture& capture)
{
    std::vector<int64_t> times;
    for (const TimeTable& table : capture.tables) {
        times.push_back(TableUtc(table).value_or(-1));
    }
    return times;
}

using StreamReplay = ReplayFixture;

// A multiplex whose TDTs carry a CRC_32 after the time and have their
// reserved bits 0, one packet sent twice, TOT and TDT sharing a packet,
// a TDT behind an adaptation field that fills most of its packet: every
// time is taken, each quirk noted once for the PID, none called damage.
TEST(CaptureQuirks, TakenAsAReceiverTakesThem)
{
    const uint32_t t = Utc(2024, 6, 1, 12);
    CaptureWriter writer;
    for (uint32_t i = 0; i < 30; ++i) {
        Bytes tdt = TdtSection(UtcToMjdBcd(t + i));
        tdt[1] &= 0x0FU;  // reserved bits not set
        tdt = WithCrc(tdt);
        writer.Pcr(kPcrPid, uint64_t{i} * 1000U);
        writer.Section(kDvbTimePid, tdt);
        if (i == 3) {
            writer.Repeat();
        }
    }
    writer.Sections(kDvbTimePid, {TotSection(UtcToMjdBcd(t + 30), {Offset("DEU", 60, t, 120)}),
                                  TdtSection(UtcToMjdBcd(t + 31))});
    // 5 header bytes, 174 of adaptation field: the pointer field and the
    // 8-byte TDT fill the rest exactly.
    writer.Sections(kDvbTimePid, {TdtSection(UtcToMjdBcd(t + 32))}, 174);
    writer.Repeat();

    const Capture capture = Read(writer.Data());
    ASSERT_EQ(capture.tables.size(), 33U) << Notes(capture);
    for (uint32_t i = 0; i < 33; ++i) {
        EXPECT_EQ(TableUtc(capture.tables[i]), t + i);
    }
    EXPECT_EQ(capture.tables[0].crc, Crc::Appended);
    EXPECT_EQ(capture.tables[30].kind, TimeTable::Kind::Tot);
    EXPECT_EQ(CountNotes(capture, "bytes after its time"), 1U) << Notes(capture);
    EXPECT_EQ(CountNotes(capture, "reserved bits"), 1U);
    EXPECT_EQ(CountNotes(capture, "sent twice"), 1U);
    EXPECT_EQ(CountNotes(capture, "several sections in one packet"), 1U);
    EXPECT_EQ(CountNotes(capture, "adaptation field"), 1U);
    EXPECT_EQ(CountNotes(capture, "discontinuity"), 0U);
    EXPECT_EQ(capture.notes.size(), 5U) << Notes(capture);
    EXPECT_TRUE(std::none_of(capture.notes.begin(), capture.notes.end(),
                             [](const Note& note) { return note.lost.has_value(); }));
}

// Damage is still refused: a TOT whose CRC fails, a packet lost inside a
// section, an adaptation field that claims the whole packet.
TEST(CaptureQuirks, DamageIsStillSkipped)
{
    const uint32_t t = Utc(2024, 6, 1, 12);
    CaptureWriter writer;
    Bytes badTot = TotSection(UtcToMjdBcd(t), {Offset("DEU", 60, t, 120)});
    badTot[5] ^= 0x01U;
    writer.Section(kDvbTimePid, badTot);
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(t + 1)));
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(t + 2)));
    writer.Data()[188 * 2 + 3] = 0x30U | (writer.Data()[188 * 2 + 3] & 0x0FU);
    writer.Data()[188 * 2 + 4] = 183;  // adaptation field over the whole packet
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(t + 3)));

    const Capture capture = Read(writer.Data());
    EXPECT_EQ(Times(capture), (std::vector<int64_t>{t + 1, t + 3})) << Notes(capture);
    ASSERT_GE(capture.notes.size(), 2U);
    EXPECT_NE(capture.notes[0].text.find("TOT CRC_32 does not match"), std::string::npos);
    EXPECT_EQ(capture.notes[0].lost, TimeTable::Kind::Tot);
    EXPECT_EQ(CountNotes(capture, "claims the whole packet"), 1U) << Notes(capture);
}

// The same stream in 188-, 192- and 204-byte packets reads the same; a
// note says which size it found.
TEST(CaptureFraming, PacketSizesFoundFromTheFile)
{
    const uint32_t t = Utc(2025, 2, 3, 4, 5, 6);
    std::vector<std::vector<int64_t>> times;
    for (const size_t unit : {size_t{188}, size_t{192}, size_t{204}}) {
        CaptureWriter writer(unit);
        for (uint32_t i = 0; i < 6; ++i) {
            writer.Pcr(kPcrPid, uint64_t{i} * 1000U);
            writer.Section(kDvbTimePid,
                           i % 3 == 2 ? TotSection(UtcToMjdBcd(t + i), {Offset("FRA", 60, t, 120)})
                                      : TdtSection(UtcToMjdBcd(t + i)));
        }
        const Capture capture = Read(writer.Data());
        EXPECT_EQ(capture.packetSize, unit);
        EXPECT_EQ(capture.endMs, 5000U);
        EXPECT_EQ(CountNotes(capture, std::to_string(unit) + "-byte packets"),
                  unit == 188 ? 0U : 1U)
            << Notes(capture);
        EXPECT_EQ(capture.notes.size(), unit == 188 ? 0U : 1U) << Notes(capture);
        ASSERT_EQ(capture.tables.size(), 6U);
        EXPECT_EQ(capture.tables[2].packetOffset, 5 * unit);
        times.push_back(Times(capture));
    }
    EXPECT_EQ(times[0], times[1]);
    EXPECT_EQ(times[0], times[2]);
}

// Bad input: garbage before and between packets, a change of packet size,
// a file cut inside a packet, a file of one partial packet.
TEST(CaptureFraming, BadInputIsNotedOrRefused)
{
    const uint32_t t = Utc(2025, 2, 3);
    CaptureWriter small;
    small.Raw({0x12, 0x47, 0x47, 0x00});
    small.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(t)));
    small.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(t + 1)));
    small.Raw(Bytes(50, 0x00));
    small.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(t + 2)));
    small.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(t + 3)));
    CaptureWriter wide(204);
    for (uint32_t i = 4; i < 10; ++i) {
        wide.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(t + i)));
    }
    Bytes bytes = small.Data();
    // The 204-byte part carries on the continuity counters of the first.
    for (size_t at = 0; at < wide.Data().size(); at += 204) {
        wide.Data()[at + 3] = static_cast<uint8_t>(0x10U | ((at / 204 + 4) & 0x0FU));
    }
    bytes.insert(bytes.end(), wide.Data().begin(), wide.Data().end() - 100);

    const Capture capture = Read(bytes);
    EXPECT_EQ(Times(capture),
              (std::vector<int64_t>{t, t + 1, t + 2, t + 3, t + 4, t + 5, t + 6, t + 7, t + 8}))
        << Notes(capture);
    EXPECT_EQ(CountNotes(capture, "4 bytes before the first packet skipped"), 1U) << Notes(capture);
    EXPECT_EQ(CountNotes(capture, "sync byte lost; in sync again at byte 430"), 1U);
    EXPECT_EQ(CountNotes(capture, "in sync again at byte 1010, now 204-byte packets"), 1U);
    EXPECT_EQ(CountNotes(capture, "bytes at the end are not a whole packet"), 1U);

    const Bytes partial(100, 0x47);
    const auto refused = ReadCapture(partial.data(), partial.size());
    ASSERT_TRUE(std::holds_alternative<ReadError>(refused));
    EXPECT_NE(std::get<ReadError>(refused).message.find("shorter than one 188-byte packet"),
              std::string::npos);
}

// The reader keeps only a bounded buffer: a capture handed over in pieces
// of any size, over several buffers' worth, reads as it does whole.
TEST(CaptureFraming, ReadInPiecesOfAnySize)
{
    const uint32_t t = Utc(2025, 2, 3);
    CaptureWriter writer(192);
    for (uint32_t i = 0; i < 40; ++i) {
        writer.Pcr(kPcrPid, uint64_t{i} * 100U);
        writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(t + i)));
        for (int filler = 0; filler < 300; ++filler) {
            writer.Filler(0x200);
        }
    }
    const Bytes& data = writer.Data();
    ASSERT_GT(data.size(), size_t{2} << 20U);
    const Capture whole = Read(data);
    ASSERT_EQ(whole.tables.size(), 40U);
    for (const size_t piece : {size_t{1}, size_t{7}, size_t{65536} + 3}) {
        Capture pieces;
        struct Collect : CaptureSink {
            explicit Collect(Capture& to) : capture(to) {}
            void Table(const TimeTable& table) override { capture.tables.push_back(table); }
            void Note(const struct Note& note) override { capture.notes.push_back(note); }
            Capture& capture;
        } sink(pieces);
        size_t done = 0;
        const auto end = ReadCaptureStream(
            [&](uint8_t* to, size_t room) {
                const size_t part = std::min({room, piece, data.size() - done});
                std::copy(data.begin() + static_cast<long>(done),
                          data.begin() + static_cast<long>(done + part), to);
                done += part;
                return static_cast<long>(part);
            },
            sink);
        ASSERT_TRUE(std::holds_alternative<CaptureEnd>(end));
        EXPECT_EQ(std::get<CaptureEnd>(end).endMs, 3900U);
        EXPECT_EQ(Times(pieces), Times(whole)) << "pieces of " << piece;
        EXPECT_EQ(pieces.notes.size(), whole.notes.size());
        EXPECT_EQ(pieces.tables.back().pcrMs, 3900U);
    }
}

// DVB dates: the MJD below 0x8000 counts from 0x10000.
TEST(CaptureDates, MjdRollover)
{
    EXPECT_EQ(MjdBcdToUtc(0xFFFF235959ULL), Utc(2038, 4, 22, 23, 59, 59));
    EXPECT_EQ(MjdBcdToUtc(0x0000000000ULL), Utc(2038, 4, 22) + 86400);
    EXPECT_EQ(UtcToMjdBcd(Utc(2038, 4, 23)), 0x0000000000ULL);
    // 15020 was 1900-01-01 before the rollover, and wrapped to 2036 in 32 bits.
    EXPECT_EQ(MjdBcdToUtc(0x3AAC000000ULL), Utc(2079, 6, 7));
    // The first day the field can carry, 1948-08-05: before 1970.
    EXPECT_EQ(MjdBcdToUtc(0x8000000000ULL), int64_t{-7819} * 86400);
    // The last day DVB can send: past what the set's 32-bit time holds.
    const auto last = MjdBcdToUtc(0x7FFF235959ULL);
    ASSERT_TRUE(last);
    EXPECT_FALSE(FitsSetTime(*last));
    EXPECT_EQ(UtcToMjdBcd(*last), 0x7FFF235959ULL);
}

// Across the signed 32-bit rollover (2038-01-19T03:14:08Z): the stream
// clock takes both sides, and so do the platform clock and hardware clock.
TEST_F(StreamReplay, AcrossTheSigned32BitRollover)
{
    const uint32_t rollover = 0x80000000U;
    CaptureWriter writer;
    for (uint32_t i = 0; i < 4; ++i) {
        writer.Pcr(kPcrPid, uint64_t{i} * 1000U);
        writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(rollover - 2 + i)));
    }
    writer.Pcr(kPcrPid, 4000);
    EXPECT_EQ(Play(writer.Data()), 4);
    EXPECT_TRUE(std::all_of(m_replayed.begin(), m_replayed.end(),
                            [](const Replayed& replayed) { return replayed.accepted; }));
    EXPECT_EQ(m_replayed.back().utc, rollover + 1);
    EXPECT_EQ(dakhost::PlatformClock(), rollover + 2);
    EXPECT_EQ(dakhost::Rtc(), rollover + 2);
    EXPECT_EQ(StreamClock(), rollover + 2);  // its last table plus the capture after it
}

// Across 2038-04-22T23:59:59Z → 2038-04-23T00:00:00Z: no table refused, and
// the offset record's time of change is in 2038, not 1995.
TEST_F(StreamReplay, AcrossTheMjdRollover)
{
    const uint32_t midnight = Utc(2038, 4, 23);
    CaptureWriter writer;
    for (uint32_t i = 0; i < 4; ++i) {
        writer.Pcr(kPcrPid, uint64_t{i} * 1000U);
        writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(midnight - 2 + i)));
    }
    writer.Section(kDvbTimePid, TotSection(UtcToMjdBcd(midnight + 2),
                                           {Offset("DEU", 60, midnight + 86400, 120)}));
    EXPECT_EQ(Play(writer.Data(), {}), 5);
    EXPECT_FALSE(daktest::HasLog("Invalid UTC"));
    // Set at the first table, 3 s of capture before the last.
    EXPECT_EQ(dakhost::PlatformClock(), midnight + 1);
    unsigned long toc = 0;
    int next = 0;
    int local = 0;
    ASSERT_TRUE(m_clock->GetDVBTimeOffset(toc, next, local));
    EXPECT_EQ(toc, midnight + 86400UL);
    EXPECT_EQ(next, 120);
    EXPECT_EQ(local, 60);
}

// A stream from 2090 sets the set to 2090; a date after 2106 is not handed
// over, and the table's line says why.
TEST_F(StreamReplay, From2090AndPastThe32BitTime)
{
    const uint32_t in2090 = Utc(2090, 6, 1, 12);
    CaptureWriter writer;
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(in2090)));
    writer.Section(kDvbTimePid, TdtSection(0x7000120000ULL));  // 2116-10-23
    EXPECT_EQ(Play(writer.Data()), 1);
    ASSERT_EQ(m_replayed.size(), 2U);
    EXPECT_TRUE(m_replayed[0].accepted);
    EXPECT_EQ(dakhost::PlatformClock(), in2090);
    EXPECT_FALSE(m_replayed[1].handedOver);
    EXPECT_NE(m_replayed[1].remark.find("does not fit the set's 32-bit time"), std::string::npos)
        << m_replayed[1].remark;
    EXPECT_EQ(StreamClock(), in2090);
}

// A TOT with several countries and regions: the entry of the country and
// region asked for; ISDB-Tb sends UTC-3 in the field called UTC.
TEST_F(StreamReplay, RegionAndWireOffset)
{
    const uint32_t utc = Utc(2025, 10, 1, 15);
    const uint32_t wire = utc - 3 * 3600;
    CaptureWriter writer;
    writer.Section(kDvbTimePid,
                   TotSection(UtcToMjdBcd(wire), {Offset("BRA", -180, wire + 600, -120, 1),
                                                  Offset("BRA", -240, wire + 900, -180, 2),
                                                  Offset("BRA", -300, wire + 1200, -240, 3)}));
    PlayOptions options;
    options.country = "BRA";
    options.region = 2;
    options.wireMinutes = -180;
    EXPECT_EQ(Play(writer.Data(), options), 1);
    EXPECT_EQ(StreamClock(), utc);
    EXPECT_EQ(dakhost::PlatformClock(), utc);
    unsigned long toc = 0;
    int next = 0;
    int local = 0;
    ASSERT_TRUE(m_clock->GetDVBTimeOffset(toc, next, local));
    EXPECT_EQ(toc, utc + 900UL);
    EXPECT_EQ(next, -180);
    EXPECT_EQ(local, -240);

    options.region = 4;
    EXPECT_EQ(Play(writer.Data(), options), 1);
    EXPECT_EQ(m_replayed.at(0).remark, "no local time offset entry for BRA region 4");
}

// A lost table reaches the report as lost, after its note.
TEST_F(StreamReplay, DamagedTableReportedLost)
{
    const uint32_t t = Utc(2025, 1, 1);
    CaptureWriter writer;
    Bytes tot = TotSection(UtcToMjdBcd(t), {Offset("DEU", 60, t, 120)});
    tot.back() ^= 0xFFU;
    writer.Section(kDvbTimePid, tot);
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(t)));
    EXPECT_EQ(Play(writer.Data()), 1);
    ASSERT_EQ(m_replayed.size(), 2U);
    EXPECT_TRUE(m_replayed[0].lost);
    EXPECT_FALSE(m_replayed[0].handedOver);
    EXPECT_TRUE(m_replayed[1].handedOver);
}

// `tables` lists each time table on a line, with its offset records, CRC
// and quirks; --json as JSON Lines; exit 2 for what is not a transport
// stream.
TEST(TablesCommandTest, ListsTheTimeTables)
{
    const uint32_t t = Utc(2026, 3, 29, 0, 59, 30);
    CaptureWriter writer(192);
    writer.Pcr(kPcrPid, 0);
    writer.Section(kDvbTimePid, WithCrc(TdtSection(UtcToMjdBcd(t))));
    writer.Pcr(kPcrPid, 1500);
    writer.Section(kDvbTimePid, TotSection(UtcToMjdBcd(t + 1), {Offset("DEU", 60, t + 30, 120, 0),
                                                                Offset("PRT", 0, t + 30, 60, 1)}));
    const std::string path = testing::TempDir() + "tables-test.ts";
    ASSERT_TRUE(writer.Save(path));

    const auto run = [&](std::vector<std::string> args, int& status) {
        args.push_back(path);
        std::FILE* out = std::tmpfile();
        std::FILE* err = std::tmpfile();
        status = TablesCommand(args, out, err);
        std::string text(1 << 16, '\0');
        std::rewind(out);
        text.resize(std::fread(text.data(), 1, text.size(), out));
        std::fclose(out);
        std::fclose(err);
        return text;
    };
    int status = -1;
    const std::string text = run({}, status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(text.find("note (byte 0): 192-byte packets"), std::string::npos) << text;
    EXPECT_NE(text.find("0.000s PID 0x0014 TDT 2026-03-29T00:59:30Z CRC appended 0x"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("quirks bytes-after-time"), std::string::npos) << text;
    EXPECT_NE(text.find("1.500s PID 0x0014 TOT 2026-03-29T00:59:31Z offset DEU/0 +01:00 next "
                        "+02:00 from 2026-03-29T01:00:00Z offset PRT/1 +00:00 next +01:00 from "
                        "2026-03-29T01:00:00Z CRC ok 0x"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("2 time tables, 2 notes; 192-byte packets"), std::string::npos) << text;

    const std::string json = run({"--json"}, status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(json.find("{\"byte\":576,\"ms\":1500,\"pid\":20,\"table\":\"TOT\",\"utc\":" +
                        std::to_string(t + 1)),
              std::string::npos)
        << json;
    EXPECT_NE(json.find("{\"country\":\"PRT\",\"region\":1,\"local\":0,\"next\":60,\"change\":" +
                        std::to_string(t + 30)),
              std::string::npos)
        << json;
    EXPECT_EQ(std::count(json.begin(), json.end(), '\n'), 5);

    const std::string notTs = testing::TempDir() + "tables-test.txt";
    std::FILE* file = std::fopen(notTs.c_str(), "w");
    ASSERT_NE(file, nullptr);
    std::fputs("not a capture\n", file);
    std::fclose(file);
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    EXPECT_EQ(TablesCommand({notTs}, out, err), 2);
    std::fclose(out);
    std::fclose(err);
}

}  // namespace
