// DVB demux input: section filters for the TDT (PID 0x14, table 0x70), the
// TOT (PID 0x14, table 0x73) and the STT (PID 0x1FFB, table 0xCD), all
// started at once, each with a timeout. A filter whose buffer overflowed or
// whose timeout passed is noted and restarted; one that fails otherwise is
// closed, noted, and opened again a few seconds later.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "DemuxDevice.h"
#include "Input.h"

namespace dakinput {

class DemuxInput : public Input {
public:
    // `retryMs`: how long a filter that failed waits before it is opened again.
    DemuxInput(std::string address, std::unique_ptr<DemuxDevice> device, unsigned timeoutS,
               int retryMs = 5000);
    void Run(CaptureSink& sink, StopSignal& stop) override;
    const std::string& Address() const override { return m_address; }

private:
    const std::string m_address;
    const std::unique_ptr<DemuxDevice> m_device;
    const unsigned m_timeoutS;
    const int m_retryMs;
};

// "/dev/dvb/adapter0/demux0" from "dvb://0.0", or a path as it is; nothing
// when `address` is neither.
std::optional<std::string> DemuxPath(const std::string& address);

}  // namespace dakinput
