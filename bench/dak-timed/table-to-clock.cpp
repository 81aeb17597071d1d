// From a table's last packet to the clock set, on the Linux platform in dry
// run, as the daemon runs it: a UDP input on the loopback of a network
// namespace of its own, feeding the stream clock of a started manager. The
// first table is sent the moment the group is joined (start to first table
// handled); then one a round, each one second on from the last.
//
//   table-to-clock [ROUNDS] [SETTINGS_FOLDER]
//
// Prints the first table's latency and the median, 99th percentile and
// largest of the rounds, in milliseconds.
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "BPTime.h"
#include "ClockFeed.h"
#include "DakLinuxPlatform.h"
#include "DvbTime.h"
#include "StopSignal.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"
#include "UdpInput.h"

namespace {

constexpr uint32_t kStart = 1774746120;  // 2026-03-29T01:02:00Z

bool LoopbackNamespace()
{
    if (unshare(CLONE_NEWNET) != 0) {
        std::perror("table-to-clock: unshare(CLONE_NEWNET), run as root or under unshare -rn");
        return false;
    }
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    ioctl(fd, SIOCGIFFLAGS, &request);
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
    const bool up = ioctl(fd, SIOCSIFFLAGS, &request) == 0;
    close(fd);
    return up;
}

// A TDT in one 188-byte packet, continuity counter `counter`.
std::vector<uint8_t> TdtPacket(uint32_t utc, unsigned counter)
{
    std::vector<uint8_t> packet(188, 0xFF);
    const uint64_t time = dakinput::UtcToMjdBcd(utc);
    const uint8_t head[] = {0x47, 0x40, 0x14, static_cast<uint8_t>(0x10U | (counter & 0xFU)),
                            0,    0x70, 0x70, 0x05};
    std::copy(std::begin(head), std::end(head), packet.begin());
    for (int i = 0; i < 5; ++i) {
        packet[8 + static_cast<size_t>(i)] =
            static_cast<uint8_t>(time >> (8U * (4U - static_cast<unsigned>(i))));
    }
    return packet;
}

double Ms(uint64_t ns)
{
    return static_cast<double>(ns) / 1e6;
}

uint64_t NowNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000U + static_cast<uint64_t>(now.tv_nsec);
}

// Until the platform clock reads `utc` or later; the time it took from `sentNs`.
uint64_t WaitClock(uint32_t utc, uint64_t sentNs)
{
    for (;;) {
        unsigned long now = 0;
        if (BPTime_get_current_time(&now) == 0 && now >= utc && now < utc + 5) {
            return NowNs() - sentNs;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const uint64_t startNs = NowNs();
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 50;
    const std::string folder = argc > 2 ? argv[2] : "/tmp/dak-timed-bench";
    if (!LoopbackNamespace()) {
        return 77;
    }
    daklinux::Options options;
    options.dryRun = true;
    options.settingsPath = folder + "/settings";
    options.rtcDevice = "";
    options.logLevel = 1;
    options.logTarget = "stderr";
    std::string error;
    if (!daklinux::Start(options, &error)) {
        std::fprintf(stderr, "table-to-clock: %s\n", error.c_str());
        return 1;
    }
    TISystemTimeManager::Instance()->Init();
    TIStreamClock::Init();
    DAKHandle handle;
    TIStreamClock& clock = *TIStreamClock::Instance(handle);

    const std::string url = "udp://239.255.0.1:5004?interface=lo";
    const auto address = dakinput::ParseUdpUrl(url, error);
    dakinput::UdpInput input(url, *address, 3600 * 1000);
    dakinput::ClockFeed feed(clock, {}, nullptr);
    dakinput::StopSignal stop;
    std::thread reader([&] { input.Run(feed, stop); });

    const int sender = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    in_addr loopback{};
    inet_pton(AF_INET, "127.0.0.1", &loopback);
    setsockopt(sender, IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof loopback);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(5004);
    inet_pton(AF_INET, "239.255.0.1", &to.sin_addr);
    // The input has joined once its socket is made; sent until taken.
    uint64_t first = 0;
    uint64_t firstSetNs = 0;
    for (int tries = 0; first == 0 && tries < 1000; ++tries) {
        const auto packet = TdtPacket(kStart, static_cast<unsigned>(tries));
        const uint64_t sent = NowNs();
        sendto(sender, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr*>(&to),
               sizeof to);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (feed.Status().tables > 0) {
            first = WaitClock(kStart, sent);
            firstSetNs = sent + first;
        }
    }
    std::vector<uint64_t> latencies;
    for (int i = 1; i <= rounds; ++i) {
        const auto packet =
            TdtPacket(kStart + static_cast<uint32_t>(i) * 60U, static_cast<unsigned>(1000 + i));
        const uint64_t sent = NowNs();
        sendto(sender, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr*>(&to),
               sizeof to);
        latencies.push_back(WaitClock(kStart + static_cast<uint32_t>(i) * 60U, sent));
    }
    stop.Raise();
    reader.join();
    close(sender);
    TIStreamClock::Exit();
    TISystemTimeManager::Exit();
    daklinux::Stop();

    std::sort(latencies.begin(), latencies.end());
    const auto at = [&](double q) {
        return latencies[std::min(latencies.size() - 1,
                                  static_cast<size_t>(q * static_cast<double>(latencies.size())))];
    };
    std::printf("first table (sent as the group was joined) to clock set: %.3f ms (goal <= 1000)\n",
                Ms(first));
    std::printf("start of the program to the first table's clock set: %.3f ms\n",
                Ms(firstSetNs - startNs));
    std::printf(
        "table's last packet to clock set, %d rounds: median %.3f ms, p99 %.3f ms, max %.3f ms "
        "(goal <= 50)\n",
        rounds, Ms(at(0.5)), Ms(at(0.99)), Ms(latencies.back()));
    return Ms(latencies.back()) <= 50.0 && Ms(first) <= 1000.0 ? 0 : 1;
}
