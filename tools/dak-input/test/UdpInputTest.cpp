// The UDP input on the loopback of a namespace of the test's own: a sender
// in the test plays captures to a multicast group, and what the input hands
// over reaches a set's stream clock, whose system clock the test reads.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <fstream>
#include <iterator>
#include <random>

#include "BPTime.h"
#include "ClockFeed.h"
#include "DvbTime.h"
#include "InputFixture.h"
#include "LoopbackNamespace.h"
#include "ReplayFixture.h"
#include "UdpInput.h"

namespace dakinput::test {
namespace {

using daksim::capture::CaptureWriter;
using daksim::capture::TdtSection;
using daksim::capture::TotSection;

constexpr uint16_t kPort = 5004;
constexpr const char* kGroup = "239.255.0.1";
constexpr uint32_t kTime = 1774746123;  // 2026-03-29T01:02:03Z

// Sends captures to the group from the loopback, seven packets a datagram.
class Sender {
public:
    Sender() : m_fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        in_addr loopback{};
        inet_pton(AF_INET, "127.0.0.1", &loopback);
        setsockopt(m_fd, IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof loopback);
        m_to.sin_family = AF_INET;
        m_to.sin_port = htons(kPort);
        inet_pton(AF_INET, kGroup, &m_to.sin_addr);
    }
    ~Sender() { close(m_fd); }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    void Datagram(const uint8_t* data, size_t size)
    {
        ASSERT_EQ(
            sendto(m_fd, data, size, 0, reinterpret_cast<const sockaddr*>(&m_to), sizeof m_to),
            static_cast<ssize_t>(size));
    }
    // The capture in datagrams of `per` units, behind an RTP header when asked.
    void Play(const Bytes& capture, size_t unit = 188, bool rtp = false, size_t per = 7)
    {
        for (size_t at = 0; at < capture.size(); at += unit * per) {
            Bytes datagram;
            if (rtp) {
                datagram = {0x80,
                            33,
                            static_cast<uint8_t>(m_sequence >> 8U),
                            static_cast<uint8_t>(m_sequence),
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            0,
                            1};
                ++m_sequence;
            }
            const size_t end = std::min(capture.size(), at + unit * per);
            datagram.insert(datagram.end(), capture.begin() + static_cast<long>(at),
                            capture.begin() + static_cast<long>(end));
            Datagram(datagram.data(), datagram.size());
        }
    }

private:
    int m_fd;
    sockaddr_in m_to{};
    uint16_t m_sequence = 0;
};

Bytes Tdt(uint32_t utc, size_t unit = 188)
{
    CaptureWriter writer(unit);
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(utc)));
    return writer.Data();
}

Bytes FileBytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A set with its manager and a stream clock, fed by a UDP input.
class UdpInputTest : public daksim::capture::test::ReplayFixture {
protected:
    void SetUp() override
    {
        if (!g_namespaceRefused.empty()) {
            GTEST_SKIP() << "no loopback namespace, the UDP tests need one: " << g_namespaceRefused;
        }
        ReplayFixture::SetUp();
        m_feed = std::make_unique<ClockFeed>(*m_clock, FeedOptions{}, nullptr);
        m_sink = std::make_unique<Collect>(m_feed.get());
    }
    void TearDown() override
    {
        m_running.reset();
        if (g_namespaceRefused.empty()) {
            ReplayFixture::TearDown();
        }
    }

    void Start(const std::string& url = std::string("udp://") + kGroup + ":" +
                                        std::to_string(kPort) + "?interface=lo",
               int stallMs = 5000)
    {
        std::string error;
        const auto address = ParseUdpUrl(url, error);
        ASSERT_TRUE(address) << error;
        m_input = std::make_unique<UdpInput>(url, *address, stallMs);
        m_running = std::make_unique<Running>(*m_input, *m_sink);
        // A datagram sent before the group is joined is lost.
        ASSERT_TRUE(m_sink->WaitNote("joined ")) << m_sink->Notes();
    }

    uint32_t SystemClock()
    {
        dakhost::WaitIdle();
        return dakhost::PlatformClock();
    }

    std::unique_ptr<ClockFeed> m_feed;
    std::unique_ptr<Collect> m_sink;
    std::unique_ptr<UdpInput> m_input;
    std::unique_ptr<Running> m_running;
    Sender m_sender;
};

TEST_F(UdpInputTest, TheStreamSetsTheClockBehindRtpAndIn204BytePackets)
{
    Start();
    m_sender.Play(Tdt(kTime));
    ASSERT_TRUE(m_sink->WaitTables(1)) << m_sink->Notes();
    EXPECT_EQ(SystemClock(), kTime);
    m_sender.Play(Tdt(kTime + 100, 204), 204, true);
    ASSERT_TRUE(m_sink->WaitTables(2)) << m_sink->Notes();
    EXPECT_EQ(SystemClock(), kTime + 100);
    const std::string notes = m_sink->Notes();
    EXPECT_NE(notes.find("RTP header (taken off)"), std::string::npos) << notes;
    EXPECT_NE(notes.find("204-byte packets"), std::string::npos) << notes;
    const FeedStatus status = m_feed->Status();
    EXPECT_EQ(status.tables, 2U);
    EXPECT_EQ(status.last.utc, kTime + 100);
    EXPECT_TRUE(status.last.accepted);
}

TEST_F(UdpInputTest, AStreamThatStopsIsNotedAndTheGroupJoinedAgainUntilItComesBack)
{
    Start(std::string("udp://") + kGroup + ":" + std::to_string(kPort) + "?interface=lo", 200);
    m_sender.Play(Tdt(kTime));
    ASSERT_TRUE(m_sink->WaitTables(1)) << m_sink->Notes();
    ASSERT_TRUE(m_sink->WaitNote("no datagram for")) << m_sink->Notes();
    m_sender.Play(Tdt(kTime + 60));
    ASSERT_TRUE(m_sink->WaitTables(2)) << m_sink->Notes();
    EXPECT_NE(m_sink->Notes().find("datagrams again after"), std::string::npos) << m_sink->Notes();
    EXPECT_EQ(SystemClock(), kTime + 60);
}

TEST_F(UdpInputTest, ATotWithABadCrcNeverReachesTheClock)
{
    Start();
    CaptureWriter writer;
    Bytes tot = TotSection(UtcToMjdBcd(kTime + 3600), {});
    tot[4] ^= 0x10;  // the date, one bit off
    writer.Section(kDvbTimePid, tot);
    writer.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(kTime)));
    m_sender.Play(writer.Data());
    ASSERT_TRUE(m_sink->WaitTables(1)) << m_sink->Notes();
    EXPECT_NE(m_sink->Notes().find("TOT CRC_32 does not match"), std::string::npos)
        << m_sink->Notes();
    EXPECT_EQ(m_sink->Tables().at(0).kind, TimeTable::Kind::Tdt);
    EXPECT_EQ(SystemClock(), kTime);
}

TEST_F(UdpInputTest, TheCaptureOver2038SetsTheClockPastTheOld16BitDate)
{
    Start();
    const Bytes capture = FileBytes(DAK_SCENARIOS_DIR "/broadcast-2038.ts");
    ASSERT_FALSE(capture.empty());
    m_sender.Play(capture);
    ASSERT_TRUE(m_sink->WaitTables(6)) << m_sink->Notes();
    // 2038-04-23T00:00:10Z: the MJD field has wrapped past 0xFFFF.
    EXPECT_EQ(m_feed->Status().last.utc, 2155593610U);
    EXPECT_EQ(SystemClock(), 2155593610U);
}

TEST_F(UdpInputTest, GarbageIsSkippedAndTheStreamAfterItIsRead)
{
    Start();
    std::mt19937 random(7);
    Bytes garbage(1000);
    for (auto& byte : garbage) {
        byte = static_cast<uint8_t>(random());
    }
    for (size_t i = 0; i < 50; ++i) {
        m_sender.Datagram(garbage.data(), garbage.size() - i);
    }
    // Whole packets of noise on the time PID: damage, never a time.
    Bytes noise(size_t{7} * 188);
    for (size_t at = 0; at < noise.size(); ++at) {
        noise[at] = at % 188 == 0 ? 0x47 : static_cast<uint8_t>(random());
        if (at % 188 == 1) {
            noise[at] = 0x40;  // PID 0x0014, a section starts
        } else if (at % 188 == 2) {
            noise[at] = 0x14;
        }
    }
    m_sender.Datagram(noise.data(), noise.size());
    m_sender.Play(Tdt(kTime));
    ASSERT_TRUE(m_sink->WaitTables(1)) << m_sink->Notes();
    const std::string notes = m_sink->Notes();
    EXPECT_NE(notes.find("not whole 188- or 204-byte packets, skipped"), std::string::npos)
        << notes;
    EXPECT_NE(notes.find("bad datagrams in a row skipped"), std::string::npos) << notes;
    for (const TimeTable& table : m_sink->Tables()) {
        EXPECT_EQ(MjdBcdToUtc(table.dvbTime), kTime) << notes;
    }
    EXPECT_EQ(SystemClock(), kTime);
}

TEST_F(UdpInputTest, AGroupThatNeverSendsIsNotedAndTheInputStopsWhenAsked)
{
    Start(std::string("udp://") + kGroup + ":" + std::to_string(kPort + 1) + "?interface=lo", 100);
    ASSERT_TRUE(m_sink->WaitNote("no datagram for")) << m_sink->Notes();
    m_running.reset();
    EXPECT_TRUE(m_sink->Tables().empty());
    EXPECT_EQ(m_feed->Status().tables, 0U);
}

// The simulator's `stream H play udp://... tables=N`: the live stream's
// tables replayed as a capture's are, virtual time paced by its PCR.
TEST_F(UdpInputTest, TheSimulatorPlaysALiveStreamUntilItsTableLimit)
{
    const Bytes capture = FileBytes(DAK_SCENARIOS_DIR "/broadcast-2038.ts");
    std::mutex lock;
    std::condition_variable joined;
    bool isJoined = false;
    daksim::capture::PlayReport report;
    std::vector<uint32_t> times;
    report.note = [&](const Note& note) {
        if (note.text.rfind("joined ", 0) == 0) {
            const std::lock_guard<std::mutex> hold(lock);
            isJoined = true;
            joined.notify_all();
        }
    };
    report.table = [&](const daksim::capture::Replayed& replayed) {
        times.push_back(replayed.utc);
    };
    std::thread sender([&] {
        std::unique_lock<std::mutex> hold(lock);
        joined.wait(hold, [&] { return isJoined; });
        m_sender.Play(capture);
    });
    const auto played = daksim::capture::PlayLive(
        *m_clock, std::string("udp://") + kGroup + ":" + std::to_string(kPort) + "?interface=lo",
        {}, report, {30, 6});
    sender.join();
    ASSERT_TRUE(std::holds_alternative<int>(played));
    EXPECT_EQ(std::get<int>(played), 6);
    ASSERT_EQ(times.size(), 6U);
    EXPECT_EQ(times.back(), 2155593610U);
    EXPECT_EQ(SystemClock(), 2155593610U);
}

}  // namespace
}  // namespace dakinput::test
