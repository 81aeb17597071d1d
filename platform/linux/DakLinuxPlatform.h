// The Linux platform of libdak-time: every platform contract on plain Linux
// (C library, kernel, libsystemd where the system has it). A program that
// keeps a box's clock with the library (the daemon dak-timed) configures the
// platform here and nowhere else:
//
//     daklinux::Options options;               // from the configuration file
//     std::string error;
//     if (!daklinux::Start(options, &error)) { ... exit 2 ... }
//     TISystemTimeManager::Instance()->Init();
//     TIStreamClock::Init();
//     ...                                      // SIGHUP: daklinux::Apply(newOptions)
//     TIStreamClock::Exit();
//     TISystemTimeManager::Exit();
//     daklinux::Stop();
//
// What the platform does with the machine:
// - platform clock: CLOCK_REALTIME (clock_gettime / clock_settime), or in dry
//   run an offset kept in this process over the real clock, nothing changed;
// - hardware clock: the library's open/ioctl/close of "/dev/rtc0" are routed
//   to `rtcDevice`; in dry run that is a file holding the fake RTC's time;
// - settings store: one file, replaced atomically;
// - network time: the kernel's synchronisation state (adjtimex);
// - time zone: TZ or /etc/localtime, as the C library reads them;
// - log: the journal under systemd, standard error elsewhere;
// - signal 108: a line in the log, and a D-Bus signal on the system bus
//   where there is one (not in dry run).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#define DAK_LINUX_API __attribute__((visibility("default")))

namespace daklinux {

// How the box's power situation is reported to the library at start-up
// (TCPowerTvProvider::IsMasterPowerOn). The library drops the stored
// reason of the clock's time, and does not replay the hardware clock, when
// main power is "on" on a product without a backup battery: the hardware
// clock is then taken to have lost its time.
enum class MainPower {
    // "on" only for the first start after a boot of the box whose hardware
    // clock cannot be read or holds a time before 2001 (it lost its time);
    // "off" for a restart of the service within one boot, and for a boot
    // whose hardware clock held a valid time (it was kept by a battery).
    Auto,
    On,   // always "on": never replay the hardware clock at start-up
    Off,  // always "off": replay it as the stored reason allows
};

struct Options {
    // The platform clock is the process's own (an offset over the real
    // clock), the hardware clock is a file, no D-Bus signal is sent:
    // nothing of the machine is changed.
    bool dryRun = false;
    // The settings store (created with its folder when missing).
    std::string settingsPath = "/var/lib/dak-time/settings";
    // The hardware clock device. In dry run a regular file stands for it: this
    // path unless it lies under /dev (the default included), else
    // "<settingsPath>.rtc"; a device is never opened in dry run.
    std::string rtcDevice = "/dev/rtc0";
    // Which regional object factory: KR USA DVB BRZ JPN.
    std::string region = "DVB";
    // The time-update agent lets stream time update the system time.
    bool timeUpdateAgent = true;
    // The user's clock mode: 0 automatic, any other value manual.
    int clockMode = 0;
    // The time zone identifier the settings store reports (GetTvTimeZone),
    // and the broadcast local time offset of each region the time-zone
    // offset agent knows (minutes east of UTC); none: no agent answers.
    int timeZoneRegion = 0;
    struct RegionOffset {
        int regionId = 0;
        int minutes = 0;
    };
    std::vector<RegionOffset> regionOffsets;
    // Factory option 24 (4: the hardware clock follows the system clock);
    // a negative value: the option does not exist.
    int rtcDirectionOption = -1;
    MainPower mainPower = MainPower::Auto;
    // Network time counts as achieved while the kernel's state is not
    // STA_UNSYNC and its maximum error is at most this many microseconds.
    long networkMaxErrorUs = 500000;
    // Messages of a level above this are not logged (1 failures ... 5 detail).
    int logLevel = 4;
    // "auto": the journal when the process runs under systemd, else
    // standard error; "journal"; "stderr".
    std::string logTarget = "auto";
};

// Brings the platform up. Call before TISystemTimeManager::Instance(). False,
// with a message in *error, for options that cannot work (unknown region, a
// settings folder that cannot be made, a hardware clock path that is empty).
DAK_LINUX_API bool Start(const Options& options, std::string* error);

// Takes the options that may change while running (SIGHUP): clock mode
// (subscribers are called back when it changes), time-update agent,
// region offsets, time zone identifier, log level and target, network
// error bound. The region, paths and dry run stay as Start set them.
DAK_LINUX_API bool Apply(const Options& options, std::string* error);

// Ends what Start began. Call after TISystemTimeManager::Exit().
DAK_LINUX_API void Stop();

// What `dak-timed status` shows. Read works in any process: in the one that
// called Start it reports that process's platform (dry-run clock included);
// elsewhere it reads the settings file and hardware clock of `options`, and
// reports the machine's clock (another process's dry-run clock is its own).
struct Snapshot {
    bool running = false;  // read from the process that called Start
    bool dryRun = false;
    bool settingsValid = false;   // the settings file was read and checked
    std::string settingsProblem;  // why not, when not
    int reason = 0;               // stored ESystemTimeReason
    int autoClockType = 2;        // ETypeOfAutoClock (2: none)
    int timeOffsetMinutes = 0;    // minutes east of UTC
    int flagDst = 0;
    uint32_t firstStreamTime = 0;  // 0: none stored yet
    int clockMode = 0;
    uint32_t platformClock = 0;  // UTC seconds
    bool hardwareClockValid = false;
    uint32_t hardwareClock = 0;  // UTC seconds, when valid
    std::string hardwareClockProblem;
    bool networkSynchronised = false;
    long networkMaxErrorUs = 0;             // the kernel's maximum error
    int signalsSent = 0;                    // signal 108 since Start
    std::vector<std::string> lastLogLines;  // the last few, oldest first
};
DAK_LINUX_API Snapshot Read(const Options& options);

}  // namespace daklinux
