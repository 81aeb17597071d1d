#include "DemuxInput.h"

#include <poll.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "Capture.h"

namespace dakinput {

namespace {

constexpr size_t kMaxSection = 4096;

struct Filter {
    uint16_t pid;
    uint8_t tableId;
    const char* name;
    int fd = -1;
    int lastErrno = 0;       // the failure noted last, not noted again
    bool timedOut = false;   // noted until a section comes
    uint64_t overflows = 0;  // in a row, noted at the first
};

std::string Name(const Filter& filter)
{
    char text[64];
    std::snprintf(text, sizeof text, "%s filter (PID 0x%04X table 0x%02X)", filter.name, filter.pid,
                  filter.tableId);
    return text;
}

class Filters {
public:
    Filters(DemuxDevice& device, CaptureSink& sink, unsigned timeoutS, int retryMs)
        : m_device(device), m_sink(sink), m_reader(sink), m_timeoutS(timeoutS), m_retryMs(retryMs)
    {
    }
    Filters(const Filters&) = delete;
    Filters& operator=(const Filters&) = delete;
    ~Filters()
    {
        for (Filter& filter : m_filters) {
            if (filter.fd >= 0) {
                m_device.Close(filter.fd);
            }
        }
    }

    // Opens those that are closed; whether any is still closed.
    bool OpenClosed();
    void Run(StopSignal& stop);

private:
    void Ready(Filter& filter);
    void Failed(Filter& filter, int error);
    std::string RetryText() const { return DurationText(static_cast<uint64_t>(m_retryMs)); }
    void Noted(const std::string& text) { m_sink.Note({m_sections, text, std::nullopt}); }

    DemuxDevice& m_device;
    CaptureSink& m_sink;
    PacketReader m_reader;
    const unsigned m_timeoutS;
    const int m_retryMs;
    std::array<Filter, 3> m_filters{
        {{kDvbTimePid, 0x70, "TDT"}, {kDvbTimePid, 0x73, "TOT"}, {kAtscBasePid, 0xCD, "STT"}}};
    std::vector<uint8_t> m_section = std::vector<uint8_t>(kMaxSection);
    uint64_t m_sections = 0;
};

bool Filters::OpenClosed()
{
    bool anyClosed = false;
    for (Filter& filter : m_filters) {
        if (filter.fd >= 0) {
            continue;
        }
        filter.fd = m_device.Open(filter.pid, filter.tableId, m_timeoutS);
        if (filter.fd < 0) {
            const int error = errno;
            if (error != filter.lastErrno) {
                Noted(m_device.Path() + ": cannot start the " + Name(filter) + ": " +
                      std::strerror(error) + "; trying again every " + RetryText());
            }
            filter.lastErrno = error;
            anyClosed = true;
        } else if (filter.lastErrno != 0) {
            Noted(m_device.Path() + ": the " + Name(filter) + " started");
            filter.lastErrno = 0;
        }
    }
    return anyClosed;
}

void Filters::Failed(Filter& filter, int error)
{
    if (error == EOVERFLOW) {
        m_device.Restart(filter.fd);
        if (filter.overflows++ == 0) {
            Noted(m_device.Path() + ": the " + Name(filter) +
                  " overflowed, sections lost; restarted");
        }
        return;
    }
    if (error == ETIMEDOUT) {
        m_device.Restart(filter.fd);
        if (!filter.timedOut) {
            filter.timedOut = true;
            Noted(m_device.Path() + ": no " + filter.name + " within " +
                  std::to_string(m_timeoutS) + " s; the filter restarted");
        }
        return;
    }
    m_device.Close(filter.fd);
    filter.fd = -1;
    filter.lastErrno = error;
    Noted(m_device.Path() + ": the " + Name(filter) + " failed: " + std::strerror(error) +
          "; opened again in " + RetryText());
}

void Filters::Ready(Filter& filter)
{
    // A filter's read hands over one section; take what has come.
    for (int i = 0; i < 64 && filter.fd >= 0; ++i) {
        const long got = m_device.Read(filter.fd, m_section.data(), m_section.size());
        if (got < 0) {
            if (errno != EAGAIN && errno != EINTR) {
                Failed(filter, errno);
            }
            return;
        }
        if (got == 0) {
            return;
        }
        if (filter.overflows > 1) {
            Noted(m_device.Path() + ": the " + Name(filter) + " overflowed " +
                  std::to_string(filter.overflows) + " times in a row");
        }
        filter.overflows = 0;
        filter.timedOut = false;
        m_reader.Section(filter.pid, m_section.data(), static_cast<size_t>(got), m_sections++);
    }
}

void Filters::Run(StopSignal& stop)
{
    while (!stop.Raised()) {
        const bool anyClosed = OpenClosed();
        std::array<pollfd, 4> watched{};
        watched[0] = {stop.Fd(), POLLIN, 0};
        for (size_t i = 0; i < m_filters.size(); ++i) {
            // A negative descriptor is not watched.
            watched.at(i + 1) = {m_filters.at(i).fd, POLLIN | POLLPRI, 0};
        }
        const int ready =
            poll(watched.data(), watched.size(), stop.Timeout(anyClosed ? m_retryMs : -1));
        if (ready <= 0 || stop.Raised()) {
            continue;
        }
        for (size_t i = 0; i < m_filters.size(); ++i) {
            if (watched.at(i + 1).revents != 0 && m_filters.at(i).fd >= 0) {
                Ready(m_filters.at(i));
            }
        }
    }
}

}  // namespace

DemuxInput::DemuxInput(std::string address, std::unique_ptr<DemuxDevice> device, unsigned timeoutS,
                       int retryMs)
    : m_address(std::move(address)),
      m_device(std::move(device)),
      m_timeoutS(timeoutS),
      m_retryMs(retryMs)
{
}

void DemuxInput::Run(CaptureSink& sink, StopSignal& stop)
{
    Filters filters(*m_device, sink, m_timeoutS, m_retryMs);
    filters.Run(stop);
}

std::optional<std::string> DemuxPath(const std::string& address)
{
    const std::string scheme = "dvb://";
    if (address.compare(0, scheme.size(), scheme) == 0) {
        unsigned adapter = 0;
        unsigned demux = 0;
        char end = 0;
        if (std::sscanf(address.c_str() + scheme.size(), "%u.%u%c", &adapter, &demux, &end) != 2) {
            return std::nullopt;
        }
        return "/dev/dvb/adapter" + std::to_string(adapter) + "/demux" + std::to_string(demux);
    }
    if (address.compare(0, 9, "/dev/dvb/") == 0) {
        return address;
    }
    return std::nullopt;
}

}  // namespace dakinput
