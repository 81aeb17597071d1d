// The event manager on Linux. Signal 108 (the system time was set) is
// always written to the log; outside dry run, where the system has a system
// bus, it is also sent there as a D-Bus signal that any process may watch:
//
//     path /org/dak/time, interface org.dak.time1, member SystemTimeUpdated,
//     one argument: the setting type (q, 16-bit unsigned) from the record
//
//     busctl --system monitor --match "interface='org.dak.time1'"
//
// Sending a signal needs no bus name. The bus connection is made at Start
// and used under a lock (sd-bus connections are not thread-safe).
#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>

#if defined(DAK_LINUX_HAVE_SYSTEMD)
#include <systemd/sd-bus.h>
#endif

#include "LinuxInternal.h"
#include "TIEventManager.h"

namespace {

constexpr const char* kPath = "/org/dak/time";
constexpr const char* kInterface = "org.dak.time1";
constexpr const char* kMember = "SystemTimeUpdated";

class LinuxEventManager : public TIEventManager {
public:
    bool SendSignal(int signalId, void* param, int flags) override;

    std::mutex lock;
#if defined(DAK_LINUX_HAVE_SYSTEMD)
    sd_bus* bus = nullptr;
#endif
    std::atomic<int> sent{0};
};

LinuxEventManager& E()
{
    static auto* const manager = new LinuxEventManager;
    return *manager;
}

bool LinuxEventManager::SendSignal(int signalId, void* param, int /*flags*/)
{
    uint16_t type = 0;
    if (param != nullptr) {
        std::memcpy(&type, param, sizeof type);
    }
    ++sent;
    daklinux::detail::Log(
        4, "signal %d%s: setting type %u", signalId,
        signalId == SIGNAL_SYSTEM_TIME_UPDATED ? " SIGNAL_SYSTEM_TIME_UPDATED" : "",
        static_cast<unsigned>(type));
#if defined(DAK_LINUX_HAVE_SYSTEMD)
    const std::lock_guard<std::mutex> guard(lock);
    if (bus != nullptr && signalId == SIGNAL_SYSTEM_TIME_UPDATED) {
        const int result = sd_bus_emit_signal(bus, kPath, kInterface, kMember, "q", type);
        if (result < 0 || sd_bus_flush(bus) < 0) {
            daklinux::detail::Log(1, "signal %d: not sent on the system bus: %s", signalId,
                                  std::strerror(-result));
        }
    }
#else
    (void)kPath;
    (void)kInterface;
    (void)kMember;
#endif
    return true;
}

}  // namespace

namespace daklinux::detail {

bool ConfigureSignal(const Options& options)
{
    E().sent = 0;  // counted from this start on
#if defined(DAK_LINUX_HAVE_SYSTEMD)
    LinuxEventManager& e = E();
    const std::lock_guard<std::mutex> guard(e.lock);
    if (options.dryRun || e.bus != nullptr) {
        return true;
    }
    const int result = sd_bus_open_system(&e.bus);
    if (result < 0) {
        e.bus = nullptr;
        Log(4, "no system bus (%s): signal 108 goes to the log only", std::strerror(-result));
        return false;
    }
    return true;
#else
    (void)options;
    Log(4, "built without libsystemd: signal 108 goes to the log only");
    return false;
#endif
}

void StopSignal()
{
#if defined(DAK_LINUX_HAVE_SYSTEMD)
    LinuxEventManager& e = E();
    const std::lock_guard<std::mutex> guard(e.lock);
    e.bus = sd_bus_flush_close_unref(e.bus);
#endif
}

int SignalsSent()
{
    return E().sent.load();
}

}  // namespace daklinux::detail

TIEventManager::~TIEventManager() = default;

TIEventManager* TIEventManager::Instance()
{
    return &E();
}
