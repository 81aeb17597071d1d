#include "UdpInput.h"

#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

namespace dakinput {

namespace {

constexpr uint8_t kSyncByte = 0x47;
constexpr size_t kMaxDatagram = 65536;
constexpr int kReceiveBuffer = 1 << 20;
// A socket that cannot be made is tried again after this.
constexpr uint64_t kRetryMs = 5000;

// The packet size of a payload of whole packets; 0 when it is not.
size_t WholePackets(const uint8_t* data, size_t size)
{
    for (const size_t unit : {size_t{188}, size_t{204}}) {
        if (size == 0 || size % unit != 0) {
            continue;
        }
        bool synced = true;
        for (size_t at = 0; at < size && synced; at += unit) {
            synced = data[at] == kSyncByte;
        }
        if (synced) {
            return unit;
        }
    }
    return 0;
}

class Socket {
public:
    Socket(const UdpAddress& address, std::string& error);
    ~Socket()
    {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int Fd() const { return m_fd; }
    // Leaves the group and joins it again (a router that forgot us).
    bool Rejoin(std::string& error);

private:
    bool Membership(int option, std::string& error);

    const UdpAddress& m_address;
    int m_fd = -1;
};

Socket::Socket(const UdpAddress& address, std::string& error) : m_address(address)
{
    m_fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (m_fd < 0) {
        error = std::string("cannot make a UDP socket: ") + std::strerror(errno);
        return;
    }
    const int one = 1;
    setsockopt(m_fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    // Not fatal: the kernel's default is kept.
    setsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(address.port);
    local.sin_addr = address.group;
    if (bind(m_fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        error = "cannot receive on " + UdpAddressText(address) + ": " + std::strerror(errno);
    } else if (address.multicast) {
        Membership(address.source ? MCAST_JOIN_SOURCE_GROUP : MCAST_JOIN_GROUP, error);
    }
    if (!error.empty()) {
        close(m_fd);
        m_fd = -1;
    }
}

bool Socket::Membership(int option, std::string& error)
{
    unsigned interface = 0;
    if (!m_address.interface.empty()) {
        interface = if_nametoindex(m_address.interface.c_str());
        if (interface == 0) {
            error = "no interface " + m_address.interface;
            return false;
        }
    }
    sockaddr_in group{};
    group.sin_family = AF_INET;
    group.sin_addr = m_address.group;
    int result = 0;
    if (m_address.source) {
        group_source_req request{};
        request.gsr_interface = interface;
        std::memcpy(&request.gsr_group, &group, sizeof group);
        sockaddr_in source{};
        source.sin_family = AF_INET;
        source.sin_addr = *m_address.source;
        std::memcpy(&request.gsr_source, &source, sizeof source);
        result = setsockopt(m_fd, IPPROTO_IP, option, &request, sizeof request);
    } else {
        group_req request{};
        request.gr_interface = interface;
        std::memcpy(&request.gr_group, &group, sizeof group);
        result = setsockopt(m_fd, IPPROTO_IP, option, &request, sizeof request);
    }
    if (result != 0) {
        error = "cannot join " + UdpAddressText(m_address) + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

bool Socket::Rejoin(std::string& error)
{
    if (!m_address.multicast) {
        return true;
    }
    std::string ignored;
    Membership(m_address.source ? MCAST_LEAVE_SOURCE_GROUP : MCAST_LEAVE_GROUP, ignored);
    return Membership(m_address.source ? MCAST_JOIN_SOURCE_GROUP : MCAST_JOIN_GROUP, error);
}

// One run of the input over one socket: the datagrams to the reader, the
// silences and the bad datagrams to notes.
class Receiver {
public:
    Receiver(CaptureSink& sink, int stallMs) : m_sink(sink), m_reader(sink), m_stallMs(stallMs) {}

    // Until `stop`; false when the socket failed and must be made again.
    bool Receive(Socket& socket, StopSignal& stop);

private:
    void Datagram(const uint8_t* data, size_t size);
    void Skipped(const std::string& why);
    void Noted(const std::string& text) { m_sink.Note({m_bytes, text, std::nullopt}); }

    CaptureSink& m_sink;
    PacketReader m_reader;
    const int m_stallMs;
    std::vector<uint8_t> m_buffer = std::vector<uint8_t>(kMaxDatagram);
    uint64_t m_bytes = 0;
    uint64_t m_lastMs = 0;
    bool m_stalled = false;
    bool m_rtpNoted = false;
    size_t m_unit = 0;
    uint64_t m_skipped = 0;  // bad datagrams in a row
};

void Receiver::Skipped(const std::string& why)
{
    if (m_skipped++ == 0) {
        Noted(why + ", skipped");
    }
}

void Receiver::Datagram(const uint8_t* data, size_t size)
{
    const auto payload = DatagramPayload(data, size);
    if (!payload) {
        Skipped("a datagram of " + std::to_string(size) + " bytes whose RTP header does not fit");
        return;
    }
    const size_t unit = WholePackets(payload->data, payload->size);
    if (unit == 0) {
        Skipped("a datagram of " + std::to_string(payload->size) +
                " bytes that is not whole 188- or 204-byte packets");
        return;
    }
    if (m_skipped > 1) {
        Noted(std::to_string(m_skipped) + " bad datagrams in a row skipped");
    }
    m_skipped = 0;
    if (payload->rtp && !m_rtpNoted) {
        m_rtpNoted = true;
        Noted("datagrams carry an RTP header (taken off)");
    }
    if (unit != m_unit) {
        if (m_unit != 0) {
            m_reader.Restart(m_bytes, "the packet size changed");
        }
        m_unit = unit;
        Noted(std::to_string(unit) + "-byte packets");
    }
    for (size_t at = 0; at < payload->size; at += unit) {
        m_reader.Packet(payload->data + at, m_bytes);
        m_bytes += unit;
    }
}

bool Receiver::Receive(Socket& socket, StopSignal& stop)
{
    m_lastMs = MonotonicMs();
    for (;;) {
        pollfd watched[2] = {{socket.Fd(), POLLIN, 0}, {stop.Fd(), POLLIN, 0}};
        const int ready = poll(watched, 2, stop.Timeout(m_stallMs));
        if (stop.Raised()) {
            return true;
        }
        if (ready < 0 && errno != EINTR) {
            Noted(std::string("cannot wait for datagrams: ") + std::strerror(errno));
            return false;
        }
        if (ready == 0) {
            if (!m_stalled) {
                m_stalled = true;
                Noted("no datagram for " + DurationText(static_cast<uint64_t>(m_stallMs)) +
                      "; joining the group again");
            }
            std::string error;
            if (!socket.Rejoin(error)) {
                Noted(error);
                return false;
            }
            continue;
        }
        for (;;) {
            const ssize_t got = recv(socket.Fd(), m_buffer.data(), m_buffer.size(), 0);
            if (got < 0) {
                if (errno == EAGAIN || errno == EINTR) {
                    break;
                }
                Noted(std::string("cannot receive: ") + std::strerror(errno));
                return false;
            }
            const uint64_t now = MonotonicMs();
            if (m_stalled) {
                m_stalled = false;
                Noted("datagrams again after " + DurationText(now - m_lastMs) + " of silence");
                m_reader.Restart(m_bytes, "the stream came back");
            }
            m_lastMs = now;
            Datagram(m_buffer.data(), static_cast<size_t>(got));
        }
    }
}

}  // namespace

UdpInput::UdpInput(std::string url, UdpAddress address, int stallMs)
    : m_url(std::move(url)), m_address(std::move(address)), m_stallMs(stallMs)
{
}

void UdpInput::Run(CaptureSink& sink, StopSignal& stop)
{
    Receiver receiver(sink, m_stallMs);
    std::string lastError;
    while (!stop.Raised()) {
        std::string error;
        Socket socket(m_address, error);
        if (socket.Fd() >= 0) {
            sink.Note({0,
                       std::string(m_address.multicast ? "joined " : "receiving on ") +
                           UdpAddressText(m_address),
                       std::nullopt});
            lastError.clear();
            if (receiver.Receive(socket, stop)) {
                return;
            }
            error = "the socket failed";
        }
        // Told once until it changes, tried again after a while.
        if (error != lastError) {
            sink.Note({0, error + "; trying again every " + DurationText(kRetryMs), std::nullopt});
            lastError = error;
        }
        pollfd watched{stop.Fd(), POLLIN, 0};
        poll(&watched, 1, stop.Timeout(static_cast<int>(kRetryMs)));
    }
}

}  // namespace dakinput
