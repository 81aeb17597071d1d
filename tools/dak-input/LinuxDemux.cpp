#include <fcntl.h>
#include <linux/dvb/dmx.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

#include "DemuxDevice.h"

namespace dakinput {

namespace {

// Room for a few seconds of sections of the PID, TDT/TOT or PSIP.
constexpr unsigned long kBufferSize = 64UL * 1024UL;

}  // namespace

int LinuxDemux::Open(uint16_t pid, uint8_t tableId, unsigned timeoutS)
{
    const int fd = open(m_path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return -1;
    }
    dmx_sct_filter_params filter{};
    filter.pid = pid;
    filter.filter.filter[0] = tableId;
    filter.filter.mask[0] = 0xFF;
    filter.timeout = timeoutS * 1000U;
    filter.flags = DMX_IMMEDIATE_START;
    if (ioctl(fd, DMX_SET_BUFFER_SIZE, kBufferSize) != 0 ||
        ioctl(fd, DMX_SET_FILTER, &filter) != 0) {
        const int error = errno;
        close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

long LinuxDemux::Read(int fd, uint8_t* to, size_t size)
{
    return static_cast<long>(read(fd, to, size));
}

bool LinuxDemux::Restart(int fd)
{
    ioctl(fd, DMX_STOP);
    return ioctl(fd, DMX_START) == 0;
}

void LinuxDemux::Close(int fd)
{
    close(fd);
}

}  // namespace dakinput
