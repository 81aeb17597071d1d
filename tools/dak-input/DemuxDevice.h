// A Linux DVB demux (/dev/dvb/adapterN/demuxM) as the demux input uses it:
// one section filter per descriptor, on a PID and a table id, started at
// once, with a timeout; a read hands over one whole section. The kernel's
// CRC check is not asked for: it goes by the section syntax indicator, which
// is 0 for a TOT, so the input checks every CRC itself.
//
// The input reaches the device only through this interface, so that the
// tests put a fake in its place (this machine has no adapter).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace dakinput {

class DemuxDevice {
public:
    virtual ~DemuxDevice() = default;
    // A started filter's descriptor, or -1 with errno set.
    virtual int Open(uint16_t pid, uint8_t tableId, unsigned timeoutS) = 0;
    // One section into `to`: its size, or -1 with errno set (EOVERFLOW:
    // sections were lost; ETIMEDOUT: none came within the timeout).
    virtual long Read(int fd, uint8_t* to, size_t size) = 0;
    // Stops and starts the filter again, after an overflow or a timeout.
    virtual bool Restart(int fd) = 0;
    virtual void Close(int fd) = 0;
    virtual const std::string& Path() const = 0;
};

// The kernel's demux at `path`.
class LinuxDemux : public DemuxDevice {
public:
    explicit LinuxDemux(std::string path) : m_path(std::move(path)) {}
    int Open(uint16_t pid, uint8_t tableId, unsigned timeoutS) override;
    long Read(int fd, uint8_t* to, size_t size) override;
    bool Restart(int fd) override;
    void Close(int fd) override;
    const std::string& Path() const override { return m_path; }

private:
    std::string m_path;
};

}  // namespace dakinput
