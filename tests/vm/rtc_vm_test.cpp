// The hardware-clock path of libdak-time against a real RTC device.
//
// Runs as the only program of a small ARM virtual machine (see
// run-rtc-vm-test.sh) whose "/dev/rtc0" is the PL031 of QEMU's virt board,
// driven by the guest kernel's rtc-pl031 driver. The host platform's fake
// RTC is switched off, so the library's open/ioctl/close reach the kernel.
//
// The kernel's own idea of the time is /sys/class/rtc/rtc0/since_epoch: the
// driver's counter converted by the kernel's calendar code. The library's
// arithmetic (calendar time -> UTC seconds) is checked against it, and the
// library's writes are read back with this program's own ioctl, issued as
// raw system calls so that nothing of the host platform is in the way.
//
// Output: one PASS/FAIL line per check, then "rtc_vm_test: N passed, N failed".
// Exit status 0 when every check passed.
#include <fcntl.h>
#include <linux/rtc.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>

#include "DakHostControl.h"
#include "TISystemTimeManager.h"
#include "TimeSettingTypes.h"

namespace {

int g_passed = 0;
int g_failed = 0;

void DumpLogs()
{
    const auto lines = dakhost::Logs();
    const size_t first = lines.size() > 40 ? lines.size() - 40 : 0;
    std::printf("  last %zu library log lines:\n", lines.size() - first);
    for (size_t i = first; i < lines.size(); ++i) {
        std::printf("    [%s:%d L%d %s] %s\n", lines[i].function.c_str(), lines[i].line,
                    lines[i].level, dakhost::ViaName(lines[i].via), lines[i].text.c_str());
    }
}

void Check(bool ok, const std::string& what)
{
    std::printf("%s: %s\n", ok ? "PASS" : "FAIL", what.c_str());
    std::fflush(stdout);
    if (ok) {
        ++g_passed;
    } else {
        ++g_failed;
        DumpLogs();
    }
}

// ---- calendar arithmetic of this test (proleptic Gregorian, 64-bit) ---------
// Independent of the library's formula and of the C library's 32-bit time_t.

struct Civil {
    int year;
    int month;  // 1-12
    int day;
    int hour;
    int minute;
    int second;
};

int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d)
{
    y -= m <= 2 ? 1 : 0;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * ((m + 9) % 12) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

int64_t ToUtc(const Civil& c)
{
    return DaysFromCivil(c.year, c.month, c.day) * 86400 + c.hour * 3600 + c.minute * 60 + c.second;
}

Civil FromUtc(int64_t utc)
{
    const int64_t days = utc / 86400;
    const int64_t rest = utc % 86400;
    const int64_t z = days + 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    const int64_t d = doy - (153 * mp + 2) / 5 + 1;
    const int64_t m = mp < 10 ? mp + 3 : mp - 9;
    const int64_t y = yoe + era * 400 + (m <= 2 ? 1 : 0);
    return Civil{static_cast<int>(y),
                 static_cast<int>(m),
                 static_cast<int>(d),
                 static_cast<int>(rest / 3600),
                 static_cast<int>(rest / 60 % 60),
                 static_cast<int>(rest % 60)};
}

std::string Text(int64_t utc)
{
    const Civil c = FromUtc(utc);
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02dZ (%" PRId64 ")", c.year,
                  c.month, c.day, c.hour, c.minute, c.second, utc);
    return buffer;
}

// ---- the device, without the host platform ------------------------------------

const char* const kDevice = "/dev/rtc0";

int RawOpen(const char* path, int flags)
{
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags));
}

void RawClose(int fd)
{
    syscall(SYS_close, fd);
}

std::optional<rtc_time> DeviceRead()
{
    const int fd = RawOpen(kDevice, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    rtc_time tm{};
    const long result = syscall(SYS_ioctl, fd, RTC_RD_TIME, &tm);
    RawClose(fd);
    if (result != 0) {
        return std::nullopt;
    }
    return tm;
}

bool DeviceWrite(int64_t utc)
{
    const Civil c = FromUtc(utc);
    rtc_time tm{};
    tm.tm_year = c.year - 1900;
    tm.tm_mon = c.month - 1;
    tm.tm_mday = c.day;
    tm.tm_hour = c.hour;
    tm.tm_min = c.minute;
    tm.tm_sec = c.second;
    const int fd = RawOpen(kDevice, O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const long result = syscall(SYS_ioctl, fd, RTC_SET_TIME, &tm);
    RawClose(fd);
    return result == 0;
}

// The kernel's reading of the device in UTC seconds; -1 when unreadable.
int64_t KernelSeconds()
{
    std::ifstream in("/sys/class/rtc/rtc0/since_epoch");
    long long value = -1;
    if (!(in >> value)) {
        return -1;
    }
    return value;
}

int64_t RtcToUtc(const rtc_time& tm)
{
    return ToUtc(
        Civil{tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec});
}

// Whole seconds that a device may count on from a write while `since` ran,
// plus one for the second already begun.
int64_t SlackSince(std::chrono::steady_clock::time_point since)
{
    const auto elapsed = std::chrono::steady_clock::now() - since;
    return std::chrono::duration_cast<std::chrono::seconds>(elapsed).count() + 1;
}

std::string Range(int64_t low, int64_t high)
{
    return "[" + Text(low) + ", " + Text(high) + "]";
}

// ---- the library --------------------------------------------------------------

bool g_managerUp = false;

// A fresh manager on a fresh host platform whose hardware clock is the real
// device, as after a standby start by the micom: main power off, so the
// stored reason survives start-up.
void FreshPlatform(ESystemTimeReason reason)
{
    if (g_managerUp) {
        TISystemTimeManager::Exit();
        g_managerUp = false;
    }
    dakhost::Reset();
    dakhost::SetRtcFake(false);
    dakhost::UseVirtualTime(true);
    dakhost::SetLogToStderr(false);
    dakhost::SetMasterPower(false);
    dakhost::SetSetting(dakhost::Setting::Reason, reason);
}

bool StartManager()
{
    TISystemTimeManager* manager = TISystemTimeManager::Instance();
    if (manager == nullptr) {
        return false;
    }
    g_managerUp = true;
    const bool ok = manager->Init();
    dakhost::WaitIdle();
    return ok;
}

// ---- the checks ------------------------------------------------------------------

void DeviceAndKernelAgree()
{
    const int64_t before = KernelSeconds();
    const auto tm = DeviceRead();
    const int64_t after = KernelSeconds();
    Check(before > 0 && after >= before,
          "the kernel reports the RTC: since_epoch=" + std::to_string(before));
    Check(tm.has_value(), "RTC_RD_TIME on /dev/rtc0 answers");
    if (tm) {
        const int64_t utc = RtcToUtc(*tm);
        Check(utc >= before && utc <= after, "the device's calendar time " + Text(utc) +
                                                 " is the kernel's " + Range(before, after));
    }

    const int64_t written = ToUtc(Civil{2024, 3, 5, 10, 11, 12});
    const auto start = std::chrono::steady_clock::now();
    Check(DeviceWrite(written), "RTC_SET_TIME of " + Text(written));
    const auto back = DeviceRead();
    const int64_t kernel = KernelSeconds();
    Check(back.has_value() && back->tm_year == 124 && back->tm_mon == 2 && back->tm_mday == 5,
          "the written date reads back as year 124, month 2, day 5");
    Check(kernel >= written && kernel <= written + SlackSince(start),
          "the kernel counts on from the written time: " + Text(kernel));
}

// Start-up with stored reason micom replays the device's time into the
// platform clock through the library's own calendar arithmetic.
void StartupReplay(const Civil& date)
{
    const int64_t rtc = ToUtc(date);
    FreshPlatform(Reason_micom);
    if (!DeviceWrite(rtc)) {
        Check(false, "RTC_SET_TIME of " + Text(rtc));
        return;
    }
    const int64_t before = KernelSeconds();
    const bool started = StartManager();
    const int64_t after = KernelSeconds();
    const int64_t platform = dakhost::PlatformClock();
    Check(started, "Init() with the real device");
    Check(platform >= before && platform <= after,
          "start-up replay of " + Text(rtc) + ": platform clock " + Text(platform) +
              " within the kernel's " + Range(before, after));

    char expected[96];
    std::snprintf(expected, sizeof expected,
                  "rtc_tm.tm_year=%d, rtc_tm.tm_mon=%d, rtc_tm.tm_mday=%d", date.year - 1900,
                  date.month - 1, date.day);
    bool logged = false;
    for (const auto& line : dakhost::Logs()) {
        if (line.text.find("t_GetRTCTime] _time=") != std::string::npos &&
            line.text.find(expected) != std::string::npos) {
            logged = true;
        }
    }
    Check(logged, std::string("the read logs the raw device fields ") + expected);
}

void StartupReplayAtCeiling()
{
    const int64_t rtc = ToUtc(Civil{2100, 1, 1, 0, 0, 0});
    FreshPlatform(Reason_micom);
    const auto start = std::chrono::steady_clock::now();
    if (!DeviceWrite(rtc)) {
        Check(false, "RTC_SET_TIME of " + Text(rtc));
        return;
    }
    StartManager();
    const int64_t kernel = KernelSeconds();
    Check(dakhost::PlatformClock() == 978307200U, "a device at " + Text(rtc) +
                                                      " replays as 2001-01-01: platform clock " +
                                                      Text(dakhost::PlatformClock()));
    Check(kernel >= rtc && kernel <= rtc + SlackSince(start),
          "the init replay leaves the device alone: " + Text(kernel));
}

void ManualSettingReachesDevice(const Civil& date)
{
    const int64_t utc = ToUtc(date);
    TISystemTimeManager* manager = TISystemTimeManager::Instance();
    const auto start = std::chrono::steady_clock::now();
    const bool posted =
        manager->SetSystemTime(static_cast<unsigned long>(utc), SetType_manual, false);
    dakhost::WaitIdle();
    const auto tm = DeviceRead();
    const int64_t kernel = KernelSeconds();
    // The device counts on after the write; allow the seconds that passed.
    const int64_t slack = SlackSince(start);
    Check(posted, "SetSystemTime(" + Text(utc) + ", manual) is accepted");
    Check(dakhost::PlatformClock() == static_cast<uint32_t>(utc),
          "the platform clock holds " + Text(utc));
    Check(tm.has_value() && RtcToUtc(*tm) >= utc && RtcToUtc(*tm) <= utc + slack,
          "RTC_RD_TIME reads back " + (tm ? Text(RtcToUtc(*tm)) : std::string("nothing")));
    Check(kernel >= utc && kernel <= utc + slack, "the kernel reads back " + Text(kernel));
}

void SyncCorrectsSystemClock()
{
    const int64_t rtc = ToUtc(Civil{2030, 1, 2, 3, 4, 5});
    dakhost::SetFactoryOption(24, std::nullopt);
    dakhost::SetSetting(dakhost::Setting::Reason, Reason_micom);
    const auto start = std::chrono::steady_clock::now();
    if (!DeviceWrite(rtc)) {
        Check(false, "RTC_SET_TIME of " + Text(rtc));
        return;
    }
    dakhost::SetPlatformClock(static_cast<uint32_t>(rtc - 3600));
    const int64_t before = KernelSeconds();
    dakhost::FireAlarms();
    const int64_t after = KernelSeconds();
    const int64_t platform = dakhost::PlatformClock();
    Check(platform >= before && platform <= after,
          "the sync sets the platform clock from the device: " + Text(platform) +
              " within the kernel's " + Range(before, after));
    Check(after >= rtc && after <= rtc + SlackSince(start),
          "the sync leaves the device alone: " + Text(after));
}

void SyncCorrectsDeviceUnderOption24()
{
    const int64_t system = ToUtc(Civil{2045, 5, 6, 7, 8, 9});
    dakhost::SetFactoryOption(24, 4);
    dakhost::SetSetting(dakhost::Setting::Reason, Reason_micom);
    dakhost::SetPlatformClock(static_cast<uint32_t>(system));
    const auto start = std::chrono::steady_clock::now();
    dakhost::FireAlarms();
    const int64_t kernel = KernelSeconds();
    Check(dakhost::PlatformClock() == static_cast<uint32_t>(system),
          "option 24 = 4: the platform clock stays at " + Text(system));
    Check(kernel >= system && kernel <= system + SlackSince(start),
          "option 24 = 4: the device is written from the platform clock: " + Text(kernel));
    dakhost::SetFactoryOption(24, std::nullopt);
}

void NoSyncUnderReasonInit()
{
    const int64_t rtc = ToUtc(Civil{2033, 3, 3, 3, 3, 3});
    const int64_t system = ToUtc(Civil{2034, 4, 4, 4, 4, 4});
    dakhost::SetSetting(dakhost::Setting::Reason, Reason_init);
    const auto start = std::chrono::steady_clock::now();
    if (!DeviceWrite(rtc)) {
        Check(false, "RTC_SET_TIME of " + Text(rtc));
        return;
    }
    dakhost::SetPlatformClock(static_cast<uint32_t>(system));
    dakhost::FireAlarms();
    const int64_t kernel = KernelSeconds();
    Check(dakhost::PlatformClock() == static_cast<uint32_t>(system),
          "reason init: the sync leaves the platform clock alone");
    Check(kernel >= rtc && kernel <= rtc + SlackSince(start),
          "reason init: the sync leaves the device alone");
}

}  // namespace

int main()
{
    std::printf("rtc_vm_test: libdak-time against the real %s\n", kDevice);
    std::fflush(stdout);

    DeviceAndKernelAgree();

    // Start-up replay across the library's range, the leap day, the 32-bit
    // signed time_t boundary and the last second before 2100.
    StartupReplay(Civil{2001, 1, 1, 0, 0, 0});
    StartupReplay(Civil{2024, 2, 29, 23, 59, 30});
    StartupReplay(Civil{2024, 3, 1, 0, 0, 0});
    StartupReplay(Civil{2038, 1, 19, 3, 14, 5});
    StartupReplay(Civil{2099, 12, 31, 23, 59, 30});
    StartupReplayAtCeiling();

    // Writes through the library on a running manager (stored reason micom).
    StartupReplay(Civil{2025, 6, 1, 12, 0, 0});
    ManualSettingReachesDevice(Civil{2031, 7, 4, 5, 6, 7});
    ManualSettingReachesDevice(Civil{2040, 2, 29, 22, 33, 44});
    ManualSettingReachesDevice(Civil{2099, 12, 31, 23, 59, 0});
    ManualSettingReachesDevice(Civil{2001, 1, 1, 0, 0, 5});

    // The periodic sync on the real device.
    SyncCorrectsSystemClock();
    SyncCorrectsDeviceUnderOption24();
    NoSyncUnderReasonInit();

    if (g_managerUp) {
        TISystemTimeManager::Exit();
    }
    std::printf("rtc_vm_test: %d passed, %d failed\n", g_passed, g_failed);
    std::fflush(stdout);
    return g_failed == 0 ? 0 : 1;
}
