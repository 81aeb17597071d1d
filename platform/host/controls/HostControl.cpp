// Back to the initial state of a freshly started set; the observer of a run.
#include <atomic>

#include "DakHostControl.h"
#include "Framework.h"
#include "HostInternal.h"
#include "VirtualClock.h"

namespace {

std::atomic<dakhost::Observer*> g_observer{nullptr};

}  // namespace

namespace dakhost::detail {

Observer* CurrentObserver()
{
    return g_observer.load();
}

}  // namespace dakhost::detail

namespace dakhost {

Observer::~Observer() = default;

void SetObserver(Observer* observer)
{
    g_observer.store(observer);
}

void Reset()
{
    // The clocks below are views of the kernel's: it restarts first.
    kernel::Restart();
    SetTimeZone("UTC0");
    detail::ResetProviders();
    detail::ResetRtc();
    detail::ResetOsClocks();
    dakfw::InjectedFaults().send = false;
    dakfw::InjectedFaults().mutexCreate = false;
    dakfw::InjectedFaults().taskCreate = false;
    detail::ResetLogs();
}

}  // namespace dakhost
