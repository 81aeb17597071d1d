// The input component's parts that need no stream: the CRC, the addresses,
// RTP headers, and a demux that fails or overflows (a fake in the kernel's
// place: this machine has no DVB adapter).
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <deque>
#include <map>

#include "Crc32.h"
#include "DemuxInput.h"
#include "DvbTime.h"
#include "InputFixture.h"
#include "UdpAddress.h"

namespace dakinput::test {
namespace {

using daksim::capture::TdtSection;
using daksim::capture::TotSection;

TEST(Crc32, MatchesTheMpegCheckValueAndEverySectionTheWriterMakes)
{
    const std::string check = "123456789";
    EXPECT_EQ(Crc32(reinterpret_cast<const uint8_t*>(check.data()), check.size()), 0x0376E6E7U);
    // libdvbpsi writes the TOT's CRC; ours must find it right, and wrong
    // after any bit flips.
    Bytes tot =
        TotSection(UtcToMjdBcd(1774746123), {daksim::capture::Offset("DEU", 60, 1774746123, 120)});
    EXPECT_TRUE(SectionCrcMatches(tot.data(), tot.size()));
    for (size_t bit = 0; bit < tot.size() * 8; bit += 7) {
        tot[bit / 8] ^= static_cast<uint8_t>(1U << (bit % 8));
        EXPECT_FALSE(SectionCrcMatches(tot.data(), tot.size())) << "bit " << bit;
        tot[bit / 8] ^= static_cast<uint8_t>(1U << (bit % 8));
    }
}

TEST(UdpUrl, TakesGroupsSourcesPortsAndInterfacesAndRefusesTheRest)
{
    std::string error;
    auto address = ParseUdpUrl("udp://239.1.2.3:5000", error);
    ASSERT_TRUE(address) << error;
    EXPECT_TRUE(address->multicast);
    EXPECT_EQ(address->port, 5000);
    EXPECT_FALSE(address->source);
    address = ParseUdpUrl("udp://10.0.0.1@232.1.1.1:1234?interface=lo", error);
    ASSERT_TRUE(address) << error;
    EXPECT_EQ(UdpAddressText(*address), "10.0.0.1@232.1.1.1:1234");
    EXPECT_EQ(address->interface, "lo");
    address = ParseUdpUrl("udp://@239.0.0.1:1", error);
    ASSERT_TRUE(address) << error;
    EXPECT_FALSE(address->source);
    address = ParseUdpUrl("udp://0.0.0.0:7000", error);
    ASSERT_TRUE(address) << error;
    EXPECT_FALSE(address->multicast);
    for (const char* bad : {"udp://239.1.2.3", "udp://239.1.2.3:0", "udp://239.1.2.3:70000",
                            "udp://name:5000", "udp://10.0.0.1@10.0.0.2:5000", "rtp://239.1.1.1:5",
                            "udp://239.1.1.1:5?ttl=3", "udp://x@239.1.1.1:5"}) {
        error.clear();
        EXPECT_FALSE(ParseUdpUrl(bad, error)) << bad;
        EXPECT_NE(error.find('\''), std::string::npos) << bad << ": " << error;
    }
}

TEST(UdpDatagram, TakesTheRtpHeaderOffWithItsSourcesExtensionAndPadding)
{
    Bytes packets(size_t{2} * 188, 0xFF);
    packets[0] = packets[188] = 0x47;
    auto payload = DatagramPayload(packets.data(), packets.size());
    ASSERT_TRUE(payload);
    EXPECT_FALSE(payload->rtp);
    EXPECT_EQ(payload->size, packets.size());

    // Version 2, padding, extension, two contributing sources.
    Bytes rtp = {0xB2, 33, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0};
    rtp.insert(rtp.end(), 8, 0);                // two CSRCs
    rtp.insert(rtp.end(), {0xBE, 0xDE, 0, 1});  // extension header, one word
    rtp.insert(rtp.end(), 4, 0);
    const size_t header = rtp.size();
    rtp.insert(rtp.end(), packets.begin(), packets.end());
    rtp.insert(rtp.end(), {0, 0, 3});  // three bytes of padding
    payload = DatagramPayload(rtp.data(), rtp.size());
    ASSERT_TRUE(payload);
    EXPECT_TRUE(payload->rtp);
    EXPECT_EQ(payload->data, rtp.data() + header);
    EXPECT_EQ(payload->size, packets.size());

    const Bytes cut = {0x90, 33, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0xBE, 0xDE};
    EXPECT_FALSE(DatagramPayload(cut.data(), cut.size()));
}

TEST(InputAddress, EachKindOpensAndAWrongOneSaysWhy)
{
    std::string error;
    const InputOptions options;
    EXPECT_NE(OpenInput("udp://239.1.1.1:1234", options, error), nullptr) << error;
    EXPECT_NE(OpenInput("dvb://0.1", options, error), nullptr) << error;
    EXPECT_EQ(DemuxPath("dvb://1.2"), "/dev/dvb/adapter1/demux2");
    EXPECT_EQ(DemuxPath("/dev/dvb/adapter0/demux0"), "/dev/dvb/adapter0/demux0");
    EXPECT_NE(OpenInput("file:///tmp/x.ts?speed=0", options, error), nullptr) << error;
    EXPECT_NE(OpenInput("scenarios/broadcast-2038.ts", options, error), nullptr) << error;
    for (const char* bad : {"dvb://zero", "http://example/x.ts", "file://x.ts?speed=-1",
                            "file://x.ts?loop=1", "udp://239.1.1.1"}) {
        error.clear();
        EXPECT_EQ(OpenInput(bad, options, error), nullptr) << bad;
        EXPECT_FALSE(error.empty()) << bad;
    }
}

// A demux whose filters are datagram sockets: each section the test sends
// is one read, and the test scripts the errors a real demux returns.
class FakeDemux : public DemuxDevice {
public:
    struct Filter {
        int theirs = -1;
        std::deque<int> errors;  // errno of the next reads, before any section
        int restarts = 0;
    };

    explicit FakeDemux(Collect& sink) : m_sink(sink) {}

    int Open(uint16_t pid, uint8_t tableId, unsigned) override
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        ++opens;
        m_sink.Poke();
        if (openError != 0) {
            errno = openError;
            return -1;
        }
        int pair[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair) != 0) {
            return -1;
        }
        m_filters[pair[0]].theirs = pair[1];
        m_keys[Key(pid, tableId)] = pair[0];
        return pair[0];
    }
    long Read(int fd, uint8_t* to, size_t size) override
    {
        {
            const std::lock_guard<std::mutex> hold(m_lock);
            Filter& filter = m_filters[fd];
            if (!filter.errors.empty()) {
                uint8_t token = 0;
                (void)read(fd, &token, 1);  // the wake-up the test sent
                errno = filter.errors.front();
                filter.errors.pop_front();
                return -1;
            }
        }
        return static_cast<long>(read(fd, to, size));
    }
    bool Restart(int fd) override
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        ++m_filters[fd].restarts;
        return true;
    }
    void Close(int fd) override
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        close(m_filters[fd].theirs);
        close(fd);
        m_filters.erase(fd);
        ++closes;
    }
    const std::string& Path() const override { return m_path; }

    // Sends a section (or, with `error`, an error) to the filter of the PID and table.
    void Send(uint16_t pid, uint8_t tableId, const Bytes& section, int error = 0)
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        const int fd = m_keys.at(Key(pid, tableId));
        Filter& filter = m_filters[fd];
        if (error != 0) {
            filter.errors.push_back(error);
            const uint8_t token = 0;
            ASSERT_EQ(write(filter.theirs, &token, 1), 1);
            return;
        }
        ASSERT_EQ(write(filter.theirs, section.data(), section.size()),
                  static_cast<ssize_t>(section.size()));
    }
    int Restarts(uint16_t pid, uint8_t tableId)
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        return m_filters[m_keys.at(Key(pid, tableId))].restarts;
    }
    bool Opened(uint16_t pid, uint8_t tableId)
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        return m_keys.count(Key(pid, tableId)) != 0;
    }

    int openError = 0;
    std::atomic<int> opens{0};
    std::atomic<int> closes{0};

private:
    Collect& m_sink;
    static int Key(uint16_t pid, uint8_t tableId) { return pid << 8 | tableId; }
    std::mutex m_lock;
    std::map<int, Filter> m_filters;
    std::map<int, int> m_keys;
    std::string m_path = "/dev/dvb/adapter9/demux0";
};

constexpr uint32_t kTime = 1774746123;  // 2026-03-29T01:02:03Z

TEST(DemuxInput, SectionsOfEachFilterBecomeTablesAndADamagedTotIsRefused)
{
    Collect sink;
    auto owned = std::make_unique<FakeDemux>(sink);
    FakeDemux& demux = *owned;
    DemuxInput input("dvb://9.0", std::move(owned), 60);
    Running running(input, sink);
    ASSERT_TRUE(sink.WaitFor([&](const auto&, const auto&) { return demux.opens == 3; }));
    ASSERT_TRUE(demux.Opened(0x14, 0x70) && demux.Opened(0x14, 0x73) && demux.Opened(0x1FFB, 0xCD));
    demux.Send(0x14, 0x70, TdtSection(UtcToMjdBcd(kTime)));
    Bytes tot = TotSection(UtcToMjdBcd(kTime + 1), {});
    tot[5] ^= 0x01;  // a bit flipped in the time: the CRC_32 no longer matches
    demux.Send(0x14, 0x73, tot);
    demux.Send(0x14, 0x73, TotSection(UtcToMjdBcd(kTime + 2), {}));
    ASSERT_TRUE(sink.WaitTables(2)) << sink.Notes();
    ASSERT_TRUE(sink.WaitNote("TOT CRC_32 does not match")) << sink.Notes();
    const auto tables = sink.Tables();
    EXPECT_EQ(tables[0].kind, TimeTable::Kind::Tdt);
    EXPECT_EQ(MjdBcdToUtc(tables[0].dvbTime), kTime);
    EXPECT_EQ(tables[1].kind, TimeTable::Kind::Tot);
    EXPECT_EQ(MjdBcdToUtc(tables[1].dvbTime), kTime + 2);
}

TEST(DemuxInput, AnOverflowOrTimeoutRestartsTheFilterAndAFailureReopensIt)
{
    Collect sink;
    auto owned = std::make_unique<FakeDemux>(sink);
    FakeDemux& demux = *owned;
    DemuxInput input("dvb://9.0", std::move(owned), 60, 20);
    Running running(input, sink);
    ASSERT_TRUE(sink.WaitFor([&](const auto&, const auto&) { return demux.opens == 3; }));
    demux.Send(0x14, 0x70, {}, EOVERFLOW);
    ASSERT_TRUE(sink.WaitNote("TDT filter (PID 0x0014 table 0x70) overflowed")) << sink.Notes();
    EXPECT_EQ(demux.Restarts(0x14, 0x70), 1);
    demux.Send(0x1FFB, 0xCD, {}, ETIMEDOUT);
    ASSERT_TRUE(sink.WaitNote("no STT within 60 s")) << sink.Notes();
    EXPECT_EQ(demux.Restarts(0x1FFB, 0xCD), 1);
    // A device error closes the filter; it is opened again and works.
    demux.Send(0x14, 0x70, {}, EIO);
    ASSERT_TRUE(sink.WaitNote("TDT filter (PID 0x0014 table 0x70) failed")) << sink.Notes();
    ASSERT_TRUE(sink.WaitFor([&](const auto&, const auto&) { return demux.opens == 4; }));
    demux.Send(0x14, 0x70, TdtSection(UtcToMjdBcd(kTime)));
    ASSERT_TRUE(sink.WaitTables(1)) << sink.Notes();
    EXPECT_EQ(demux.closes, 1);
}

TEST(DemuxInput, ADemuxThatCannotBeOpenedIsNotedOnceAndTriedAgain)
{
    Collect sink;
    auto owned = std::make_unique<FakeDemux>(sink);
    FakeDemux& demux = *owned;
    demux.openError = ENOENT;
    DemuxInput input("dvb://9.0", std::move(owned), 60, 20);
    Running running(input, sink);
    ASSERT_TRUE(sink.WaitFor([&](const auto&, const auto&) { return demux.opens >= 9; }));
    const std::string notes = sink.Notes();
    size_t count = 0;
    for (size_t at = notes.find("cannot start the TDT filter"); at != std::string::npos;
         at = notes.find("cannot start the TDT filter", at + 1)) {
        ++count;
    }
    EXPECT_EQ(count, 1U) << notes;
    EXPECT_NE(notes.find("No such file or directory"), std::string::npos) << notes;
}

}  // namespace
}  // namespace dakinput::test
