// The address of a UDP input: "udp://[source@]group:port[?interface=NAME]".
// A multicast group (224.0.0.0/4) is joined, source-specific when a source
// is named; a unicast address is the local address the datagrams come to
// (0.0.0.0: any). IPv4 numbers only: a set's tuner network has no names.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <optional>
#include <string>

namespace dakinput {

struct UdpAddress {
    in_addr group{};                // or the local unicast address
    std::optional<in_addr> source;  // source-specific multicast
    uint16_t port = 0;
    std::string interface;  // the interface to join on; empty: the kernel's choice
    bool multicast = false;
};

// Nothing, with `error` set, when `url` is not such an address.
std::optional<UdpAddress> ParseUdpUrl(const std::string& url, std::string& error);

// "239.1.1.1:1234", "10.0.0.1@232.1.1.1:5000".
std::string UdpAddressText(const UdpAddress& address);

// The transport packets of a datagram: its RTP header taken off when it has
// one (a payload that does not begin with the sync byte and whose first two
// bits are RTP's version 2). Nothing when the RTP header does not fit.
struct Payload {
    const uint8_t* data = nullptr;
    size_t size = 0;
    bool rtp = false;
};
std::optional<Payload> DatagramPayload(const uint8_t* datagram, size_t size);

}  // namespace dakinput
