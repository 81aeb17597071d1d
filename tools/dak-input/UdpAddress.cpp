#include "UdpAddress.h"

#include <arpa/inet.h>

#include <cstdlib>

namespace dakinput {

namespace {

constexpr uint8_t kSyncByte = 0x47;
constexpr size_t kRtpHeader = 12;

bool Address(const std::string& text, in_addr& out)
{
    return inet_pton(AF_INET, text.c_str(), &out) == 1;
}

}  // namespace

std::optional<UdpAddress> ParseUdpUrl(const std::string& url, std::string& error)
{
    const std::string scheme = "udp://";
    if (url.compare(0, scheme.size(), scheme) != 0) {
        error = "'" + url + "' is not udp://[source@]group:port";
        return std::nullopt;
    }
    std::string rest = url.substr(scheme.size());
    UdpAddress address;
    const size_t query = rest.find('?');
    if (query != std::string::npos) {
        const std::string option = rest.substr(query + 1);
        const std::string key = "interface=";
        if (option.compare(0, key.size(), key) != 0 || option.size() == key.size()) {
            error = "'" + url + "': the only option is ?interface=NAME";
            return std::nullopt;
        }
        address.interface = option.substr(key.size());
        rest.resize(query);
    }
    const size_t at = rest.find('@');
    if (at != std::string::npos) {
        const std::string source = rest.substr(0, at);
        in_addr sourceAddress{};
        if (!source.empty()) {
            if (!Address(source, sourceAddress)) {
                error = "'" + url + "': source '" + source + "' is not an IPv4 address";
                return std::nullopt;
            }
            address.source = sourceAddress;
        }
        rest.erase(0, at + 1);
    }
    const size_t colon = rest.rfind(':');
    if (colon == std::string::npos) {
        error = "'" + url + "' has no port (udp://[source@]group:port)";
        return std::nullopt;
    }
    const std::string host = rest.substr(0, colon);
    const std::string port = rest.substr(colon + 1);
    if (!Address(host, address.group)) {
        error = "'" + url + "': '" + host + "' is not an IPv4 address";
        return std::nullopt;
    }
    char* end = nullptr;
    const unsigned long number = std::strtoul(port.c_str(), &end, 10);
    if (port.empty() || *end != '\0' || number == 0 || number > 65535) {
        error = "'" + url + "': port '" + port + "' is not 1 to 65535";
        return std::nullopt;
    }
    address.port = static_cast<uint16_t>(number);
    address.multicast = IN_MULTICAST(ntohl(address.group.s_addr));
    if (address.source && !address.multicast) {
        error = "'" + url + "': a source is named for a group that is not multicast";
        return std::nullopt;
    }
    return address;
}

std::string UdpAddressText(const UdpAddress& address)
{
    char text[INET_ADDRSTRLEN] = {};
    std::string out;
    if (address.source) {
        inet_ntop(AF_INET, &*address.source, text, sizeof text);
        out = std::string(text) + "@";
    }
    inet_ntop(AF_INET, &address.group, text, sizeof text);
    return out + text + ":" + std::to_string(address.port);
}

std::optional<Payload> DatagramPayload(const uint8_t* datagram, size_t size)
{
    if (size == 0 || datagram[0] == kSyncByte || (datagram[0] >> 6U) != 2U) {
        return Payload{datagram, size, false};
    }
    // RTP: 12 bytes, the CSRC list, an extension, padding at the end.
    size_t header = kRtpHeader + size_t{4} * (datagram[0] & 0x0FU);
    if ((datagram[0] & 0x10U) != 0) {
        if (size < header + 4) {
            return std::nullopt;
        }
        header +=
            4 + 4U * ((static_cast<size_t>(datagram[header + 2]) << 8U) | datagram[header + 3]);
    }
    size_t padding = 0;
    if ((datagram[0] & 0x20U) != 0 && size > 0) {
        padding = datagram[size - 1];
    }
    if (size < header + padding) {
        return std::nullopt;
    }
    return Payload{datagram + header, size - header - padding, true};
}

}  // namespace dakinput
