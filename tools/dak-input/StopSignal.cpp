#include "StopSignal.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <climits>
#include <ctime>

namespace dakinput {

uint64_t MonotonicMs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000U +
           static_cast<uint64_t>(now.tv_nsec) / 1000000U;
}

std::string DurationText(uint64_t ms)
{
    if (ms < 1000) {
        return std::to_string(ms) + " ms";
    }
    const std::string tenths = ms % 1000 >= 100 ? "." + std::to_string(ms % 1000 / 100) : "";
    return std::to_string(ms / 1000) + tenths + " s";
}

StopSignal::StopSignal() : m_fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

StopSignal::~StopSignal()
{
    if (m_fd >= 0) {
        close(m_fd);
    }
}

void StopSignal::Raise() const
{
    const uint64_t one = 1;
    if (m_fd >= 0 && write(m_fd, &one, sizeof one) < 0) {
        // The counter is already raised far enough to wake every poll.
    }
}

bool StopSignal::Raised() const
{
    if (m_deadlineMs && MonotonicMs() >= *m_deadlineMs) {
        return true;
    }
    pollfd watched{m_fd, POLLIN, 0};
    return m_fd >= 0 && poll(&watched, 1, 0) > 0;
}

void StopSignal::StopAfter(uint64_t ms)
{
    m_deadlineMs = MonotonicMs() + ms;
}

int StopSignal::Timeout(int wantedMs) const
{
    if (!m_deadlineMs) {
        return wantedMs;
    }
    const uint64_t now = MonotonicMs();
    const uint64_t left = *m_deadlineMs > now ? *m_deadlineMs - now : 0;
    const int leftMs = left > INT_MAX ? INT_MAX : static_cast<int>(left);
    return wantedMs < 0 || leftMs < wantedMs ? leftMs : wantedMs;
}

}  // namespace dakinput
