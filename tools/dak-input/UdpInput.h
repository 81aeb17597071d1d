// UDP input: the datagrams of a multicast group (joined, source-specific
// when a source is named) or of a unicast port, each carrying whole 188- or
// 204-byte transport packets, behind an RTP header or not. A silence longer
// than the stall time is noted and the group joined again; the stream's
// return is noted with the length of the silence.
#pragma once

#include "Input.h"
#include "UdpAddress.h"

namespace dakinput {

class UdpInput : public Input {
public:
    UdpInput(std::string url, UdpAddress address, int stallMs);
    void Run(CaptureSink& sink, StopSignal& stop) override;
    const std::string& Address() const override { return m_url; }

private:
    const std::string m_url;
    const UdpAddress m_address;
    const int m_stallMs;
};

}  // namespace dakinput
