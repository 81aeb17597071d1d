// Network time on Linux: what an NTP client (systemd-timesyncd, chrony,
// ntpd) achieved, read from the kernel. The clock counts as set from the
// network while adjtimex reports the clock synchronised (STA_UNSYNC clear)
// with a maximum error within the options' bound.
//
// The kernel tells nobody when that state changes, and polling is not an
// option (idle means asleep). A watcher thread sleeps in poll() on what does
// announce a change: a timerfd that the kernel cancels whenever the real
// clock is set (an NTP client's first step), the folder in which
// systemd-timesyncd marks its synchronisation, and an eventfd. The library's
// 30 s sync reads the platform clock, and that read takes one cheap look at
// the state and writes the eventfd when it moved (a client that only slews).
// On a change the watcher calls back the network time's subscribers.
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/timerfd.h>
#include <sys/timex.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>

#include "LinuxInternal.h"

namespace {

constexpr const char* kTimesyncFolder = "/run/systemd/timesync";

struct Watch {
    std::thread thread;
    std::atomic<int> wake{-1};  // eventfd: a look found a change, or stop
    int stepped = -1;           // timerfd cancelled on every setting of the real clock
    int marker = -1;            // inotify on timesyncd's folder (or -1 without one)
    std::atomic<bool> stop{false};
    std::atomic<int> lastSeen{-1};  // -1 unknown, 0 not synchronised, 1 synchronised
};

Watch& W()
{
    static auto* const watch = new Watch;
    return *watch;
}

void CloseFd(int* fd)
{
    if (*fd >= 0) {
        ::close(*fd);
        *fd = -1;
    }
}

void CloseFd(std::atomic<int>* fd)
{
    const int held = fd->exchange(-1);
    if (held >= 0) {
        ::close(held);
    }
}

// Re-arms the timerfd far away, with cancel-on-set: it only ever wakes
// because someone set the clock.
void ArmStepped(int fd)
{
    itimerspec far{};
    far.it_value.tv_sec = static_cast<time_t>(0x7FFFFFFF);
    ::timerfd_settime(fd, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &far, nullptr);
}

int StateNow()
{
    return daklinux::detail::ReadNetworkState(daklinux::detail::CurrentOptions().networkMaxErrorUs)
                   .synchronised
               ? 1
               : 0;
}

void WatchLoop()
{
    Watch& w = W();
    while (!w.stop.load()) {
        pollfd fds[3] = {{w.wake.load(), POLLIN, 0}, {w.stepped, POLLIN, 0}, {w.marker, POLLIN, 0}};
        if (::poll(fds, w.marker >= 0 ? 3 : 2, -1) < 0 && errno != EINTR) {
            daklinux::detail::Log(1, "network time watch: poll: %s", std::strerror(errno));
            return;
        }
        char drain[512];
        for (const pollfd& fd : fds) {
            if (fd.fd >= 0 && (fd.revents & POLLIN) != 0) {
                (void)::read(fd.fd, drain, sizeof drain);
            }
        }
        if ((fds[1].revents & POLLIN) != 0) {
            ArmStepped(w.stepped);
        }
        if (w.stop.load()) {
            return;
        }
        const int now = StateNow();
        if (w.lastSeen.exchange(now) != now) {
            daklinux::detail::Log(4, "network time: kernel clock %s",
                                  now != 0 ? "synchronised" : "not synchronised");
            daklinux::detail::NetworkStateChanged();
        }
    }
}

}  // namespace

namespace daklinux::detail {

NetworkState ReadNetworkState(long maxErrorBoundUs)
{
    timex state{};  // modes 0: read only, no privilege needed
    const int result = ::adjtimex(&state);
    NetworkState read;
    read.maxErrorUs = static_cast<long>(state.maxerror);  // at most 16 s: fits
    read.synchronised = result != -1 && result != TIME_ERROR && (state.status & STA_UNSYNC) == 0 &&
                        state.maxerror <= maxErrorBoundUs;
    return read;
}

bool StartNetworkWatch(std::string* error)
{
    Watch& w = W();
    w.stop = false;
    w.lastSeen = StateNow();
    w.wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    w.stepped = ::timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK);
    if (w.wake < 0 || w.stepped < 0) {
        *error = std::string("network time watch: ") + std::strerror(errno);
        CloseFd(&w.wake);
        CloseFd(&w.stepped);
        return false;
    }
    ArmStepped(w.stepped);
    w.marker = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (w.marker >= 0 &&
        ::inotify_add_watch(w.marker, kTimesyncFolder, IN_CREATE | IN_ATTRIB | IN_MODIFY) < 0) {
        CloseFd(&w.marker);  // no timesyncd here: the other two remain
    }
    w.thread = std::thread(WatchLoop);
    return true;
}

void StopNetworkWatch()
{
    Watch& w = W();
    if (!w.thread.joinable()) {
        return;
    }
    w.stop = true;
    const uint64_t one = 1;
    (void)::write(w.wake.load(), &one, sizeof one);
    w.thread.join();
    CloseFd(&w.wake);
    CloseFd(&w.stepped);
    CloseFd(&w.marker);
}

void CheckNetworkState()
{
    Watch& w = W();
    const int wake = w.wake.load();
    if (wake >= 0 && StateNow() != w.lastSeen.load()) {
        const uint64_t one = 1;
        (void)::write(wake, &one, sizeof one);
    }
}

}  // namespace daklinux::detail
