// Start, Apply, Stop and Read: the Linux platform as a program configures it.
//
// Main power and the backup battery. The library asks once, at start-up,
// whether main power is on; on a product without a backup battery (every
// regional product helper of this library says none) "on" means that the
// hardware clock lost its time, so the stored reason is dropped and the
// hardware clock is not replayed. On a Linux box (MainPower::Auto):
//   - a restart of the service within one boot of the box is "off": the
//     kernel kept the time, the stored reason stands and start-up replays
//     the hardware clock as the rules allow;
//   - the first start after a boot of the box is "off" when the hardware
//     clock holds a valid time (from 2001 on: a battery kept it) and "on"
//     when it cannot be read or holds an earlier time.
// Which boot the service last started in is the kernel's boot id, noted in
// "<settingsPath>.boot" beside the settings.
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <mutex>

#include "LinuxInternal.h"
#include "LinuxSettingsFile.h"
#include "TCPowerTvProvider.h"

namespace {

constexpr const char* kBootId = "/proc/sys/kernel/random/boot_id";

struct Platform {
    std::mutex lock;
    daklinux::Options options;
    bool started = false;
};

Platform& Pl()
{
    static auto* const platform = new Platform;
    return *platform;
}

std::string FirstLine(const std::string& path)
{
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

// Makes the folder of `path` and its parents, as `mkdir -p` would.
bool MakeFolders(const std::string& path, std::string* error)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        const std::string folder = path.substr(0, slash);
        if (::mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) {
            *error = "cannot make " + folder + ": " + std::strerror(errno);
            return false;
        }
    }
    return true;
}

bool FirstStartOfThisBoot(const std::string& settingsPath)
{
    const std::string marker = settingsPath + ".boot";
    const std::string boot = FirstLine(kBootId);
    if (!boot.empty() && FirstLine(marker) == boot) {
        return false;
    }
    std::ofstream(marker, std::ios::trunc) << boot << "\n";
    return true;
}

bool MasterPowerOn(const daklinux::Options& options)
{
    if (options.mainPower != daklinux::MainPower::Auto) {
        return options.mainPower == daklinux::MainPower::On;
    }
    if (!FirstStartOfThisBoot(options.settingsPath)) {
        daklinux::detail::Log(4, "power: a restart of the service: main power reported off");
        return false;
    }
    uint32_t utc = 0;
    std::string problem;
    const bool valid = daklinux::detail::ReadHardwareClock(options, &utc, &problem);
    daklinux::detail::Log(4, "power: a boot of the box, hardware clock %s: main power reported %s",
                          valid ? "valid" : problem.c_str(), valid ? "off" : "on");
    return !valid;
}

bool CheckOptions(const daklinux::Options& options, std::string* error)
{
    if (!daklinux::detail::KnownRegion(options.region)) {
        *error = "unknown region '" + options.region + "' (KR USA DVB BRZ JPN)";
        return false;
    }
    if (options.settingsPath.empty() || options.settingsPath.back() == '/') {
        *error = "the settings path must name a file";
        return false;
    }
    if (!options.dryRun && options.rtcDevice.empty()) {
        *error = "no hardware clock device";
        return false;
    }
    if (options.logLevel < 1 || options.logLevel > 5) {
        *error = "log level must be 1 to 5";
        return false;
    }
    if (options.logTarget != "auto" && options.logTarget != "journal" &&
        options.logTarget != "stderr") {
        *error = "log target must be auto, journal or stderr";
        return false;
    }
    return true;
}

}  // namespace

namespace daklinux::detail {

Options CurrentOptions()
{
    Platform& p = Pl();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.options;
}

bool Started()
{
    Platform& p = Pl();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.started;
}

}  // namespace daklinux::detail

namespace daklinux {

bool Start(const Options& options, std::string* error)
{
    std::string ignored;
    std::string* why = error != nullptr ? error : &ignored;
    if (detail::Started()) {
        *why = "already started";
        return false;
    }
    if (!CheckOptions(options, why) || !MakeFolders(options.settingsPath, why)) {
        return false;
    }
    {
        Platform& p = Pl();
        const std::lock_guard<std::mutex> lock(p.lock);
        p.options = options;
    }
    detail::ConfigureLog(options);
    detail::ConfigureClock(options);
    detail::ConfigureRtc(options);
    detail::LoadSettings(options.settingsPath);
    detail::ConfigureProviders(options, MasterPowerOn(options));
    detail::ConfigureSignal(options);
    if (!detail::StartNetworkWatch(why)) {
        detail::StopSignal();
        return false;
    }
    Platform& p = Pl();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.started = true;
    return true;
}

bool Apply(const Options& options, std::string* error)
{
    std::string ignored;
    std::string* why = error != nullptr ? error : &ignored;
    Options next = detail::CurrentOptions();
    next.clockMode = options.clockMode;
    next.timeUpdateAgent = options.timeUpdateAgent;
    next.regionOffsets = options.regionOffsets;
    next.timeZoneRegion = options.timeZoneRegion;
    next.logLevel = options.logLevel;
    next.logTarget = options.logTarget;
    next.networkMaxErrorUs = options.networkMaxErrorUs;
    next.rtcDirectionOption = options.rtcDirectionOption;
    if (!CheckOptions(next, why)) {
        return false;
    }
    {
        Platform& p = Pl();
        const std::lock_guard<std::mutex> lock(p.lock);
        p.options = next;
    }
    detail::ConfigureLog(next);
    detail::ConfigureProviders(next, TCPowerTvProvider::IsMasterPowerOn());
    detail::SetClockMode(next.clockMode);
    return true;
}

void Stop()
{
    detail::StopNetworkWatch();
    detail::StopSignal();
    detail::ConfigureClock(Options{});  // the dry run's clock ends with it
    Platform& p = Pl();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.started = false;
}

Snapshot Read(const Options& options)
{
    Snapshot snapshot;
    snapshot.running = detail::Started();
    const Options used = snapshot.running ? detail::CurrentOptions() : options;
    snapshot.dryRun = used.dryRun;
    detail::StoredSettings stored;
    snapshot.settingsValid =
        detail::LoadSettingsFile(used.settingsPath, &stored, &snapshot.settingsProblem) ==
        detail::LoadResult::Loaded;
    snapshot.reason = stored.reason;
    snapshot.autoClockType = stored.autoClockType;
    snapshot.timeOffsetMinutes = stored.timeOffset;
    snapshot.flagDst = stored.flagDst;
    snapshot.firstStreamTime = static_cast<uint32_t>(stored.firstStreamTime);
    snapshot.clockMode = used.clockMode;
    snapshot.platformClock = detail::PlatformClockNow();
    snapshot.hardwareClockValid =
        detail::ReadHardwareClock(used, &snapshot.hardwareClock, &snapshot.hardwareClockProblem);
    const detail::NetworkState network = detail::ReadNetworkState(used.networkMaxErrorUs);
    snapshot.networkSynchronised = network.synchronised;
    snapshot.networkMaxErrorUs = network.maxErrorUs;
    snapshot.signalsSent = detail::SignalsSent();
    snapshot.lastLogLines = detail::LastLogLines();
    return snapshot;
}

}  // namespace daklinux
