// The loopback test's sender: brings the loopback of the test's network
// namespace up, and sends a capture to a group on it, seven packets a
// datagram (behind an RTP header when asked), or datagrams of noise.
//
//   udp-send up
//   udp-send FILE GROUP:PORT [rtp]
//   udp-send noise COUNT GROUP:PORT
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

int Up()
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    if (fd < 0 || ioctl(fd, SIOCGIFFLAGS, &request) != 0) {
        std::perror("udp-send: loopback");
        return 1;
    }
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
    if (ioctl(fd, SIOCSIFFLAGS, &request) != 0) {
        std::perror("udp-send: loopback up");
        return 1;
    }
    close(fd);
    return 0;
}

bool Target(const std::string& text, sockaddr_in& to)
{
    const size_t colon = text.rfind(':');
    to.sin_family = AF_INET;
    return colon != std::string::npos &&
           inet_pton(AF_INET, text.substr(0, colon).c_str(), &to.sin_addr) == 1 &&
           (to.sin_port = htons(static_cast<uint16_t>(std::stoi(text.substr(colon + 1))))) != 0;
}

int Send(const std::vector<std::vector<unsigned char>>& datagrams, const std::string& target)
{
    sockaddr_in to{};
    if (!Target(target, to)) {
        std::fprintf(stderr, "udp-send: '%s' is not GROUP:PORT\n", target.c_str());
        return 2;
    }
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    in_addr loopback{};
    inet_pton(AF_INET, "127.0.0.1", &loopback);
    setsockopt(fd, IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof loopback);
    for (const auto& datagram : datagrams) {
        if (sendto(fd, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                   sizeof to) < 0) {
            std::perror("udp-send: sendto");
            return 1;
        }
    }
    close(fd);
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> args(argv + 1, argv + argc);
    if (args.size() == 1 && args[0] == "up") {
        return Up();
    }
    std::vector<std::vector<unsigned char>> datagrams;
    if (args.size() == 3 && args[0] == "noise") {
        std::mt19937 random(28);
        for (int i = 0; i < std::stoi(args[1]); ++i) {
            std::vector<unsigned char> noise(1 + random() % 1500);
            for (auto& byte : noise) {
                byte = static_cast<unsigned char>(random());
            }
            datagrams.push_back(noise);
        }
        return Send(datagrams, args[2]);
    }
    if (args.size() < 2 || args.size() > 3) {
        std::fputs("usage: udp-send up | FILE GROUP:PORT [rtp] | noise COUNT GROUP:PORT\n", stderr);
        return 2;
    }
    std::ifstream file(args[0], std::ios::binary);
    const std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(file),
                                           std::istreambuf_iterator<char>()};
    const bool rtp = args.size() == 3 && args[2] == "rtp";
    constexpr size_t kPer = size_t{7} * 188;
    for (size_t at = 0; at < bytes.size(); at += kPer) {
        std::vector<unsigned char> datagram;
        if (rtp) {
            const auto sequence = static_cast<unsigned char>(at / kPer);
            datagram = {0x80, 33, 0, sequence, 0, 0, 0, 0, 0, 0, 0, 1};
        }
        datagram.insert(datagram.end(), bytes.begin() + static_cast<long>(at),
                        bytes.begin() + static_cast<long>(std::min(bytes.size(), at + kPer)));
        datagrams.push_back(datagram);
    }
    return Send(datagrams, args[1]);
}
