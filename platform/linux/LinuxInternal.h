// Shared state of the Linux platform's parts: the options Start took, and the
// few hooks one part offers another.
#pragma once

#include <cstdint>
#include <ctime>
#include <mutex>
#include <string>
#include <vector>

#include "DakLinuxPlatform.h"

class TCObjectFactory;

namespace daklinux::detail {

// The options in force (Start, then Apply), read under their lock.
Options CurrentOptions();
bool Started();

// ---- log (LinuxLog.cpp) ----
// One line at `level` (1 failures ... 5 detail), as the library's own lines go.
void Log(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
void ConfigureLog(const Options& options);
std::vector<std::string> LastLogLines();

// ---- settings store (LinuxSettings.cpp) ----
void LoadSettings(const std::string& path);
void SetClockMode(int mode);  // calls back the clock mode's subscribers on a change
void NetworkStateChanged();   // calls back the network time's subscribers

// ---- hardware clock (LinuxRtc.cpp) ----
// Reads the hardware clock named by the options (device, or the dry run's
// file); false with a reason when it cannot.
bool ReadHardwareClock(const Options& options, uint32_t* utc, std::string* problem);
void ConfigureRtc(const Options& options);

// ---- platform clock (LinuxClock.cpp) ----
void ConfigureClock(const Options& options);
int64_t RealNow();  // CLOCK_REALTIME's seconds: the machine's clock
uint32_t PlatformClockNow();

// ---- network time (LinuxNetworkTime.cpp) ----
struct NetworkState {
    bool synchronised = false;
    long maxErrorUs = 0;
};
NetworkState ReadNetworkState(long maxErrorBoundUs);
bool StartNetworkWatch(std::string* error);
void StopNetworkWatch();
// A cheap look at the kernel's state; wakes the watcher when it changed.
void CheckNetworkState();

// ---- power, agents, factories, signal (LinuxProviders.cpp, LinuxSignal.cpp) ----
void ConfigureProviders(const Options& options, bool masterPowerOn);
bool ConfigureSignal(const Options& options);
void StopSignal();
int SignalsSent();
DAK_LINUX_API void InstallObjectFactory(const char* region, TCObjectFactory* factory);
bool KnownRegion(const std::string& region);

}  // namespace daklinux::detail
