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
// raw system calls so that nothing of the host platform is in the way. This
// program's own dates come from the host platform's calendar, which shares
// no code with the library.
//
// Output: one PASS/FAIL line per check, then "rtc_vm_test: N passed, N failed".
// Exit status 0 when every check passed.
#include <fcntl.h>
#include <linux/rtc.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <optional>
#include <string>

#include "Calendar.h"
#include "DakHostControl.h"
#include "TISystemTimeManager.h"
#include "TimeSettingTypes.h"

namespace {

using Clock = std::chrono::steady_clock;

const char* const kDevice = "/dev/rtc0";
constexpr int64_t k2001 = 978307200;  // 2001-01-01T00:00:00Z

int g_passed = 0;
int g_failed = 0;

void Check(bool ok, const std::string& what)
{
    std::printf("%s: %s\n", ok ? "PASS" : "FAIL", what.c_str());
    ++(ok ? g_passed : g_failed);
    if (!ok) {  // the library's last 40 log lines
        const auto lines = dakhost::Logs();
        for (size_t i = lines.size() > 40 ? lines.size() - 40 : 0; i < lines.size(); ++i) {
            std::printf("    [%s:%d L%d %s] %s\n", lines[i].function.c_str(), lines[i].line,
                        lines[i].level, dakhost::ViaName(lines[i].via), lines[i].text.c_str());
        }
    }
    std::fflush(stdout);
}

int64_t Utc(int year, int month, int day, int hour, int minute, int second)
{
    return dakcal::UtcFromCivil(year, month, day, hour, minute, second);
}

std::string Text(int64_t utc)
{
    tm civil{};
    dakcal::CivilFromUtc(utc, &civil);
    char buffer[32];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &civil);
    return std::string(buffer) + " (" + std::to_string(utc) + ")";
}

// ---- the device and the kernel, without the host platform -----------------------

bool DeviceRequest(unsigned long request, rtc_time* time)
{
    const auto fd = static_cast<int>(syscall(SYS_openat, AT_FDCWD, kDevice, O_RDWR | O_CLOEXEC));
    if (fd < 0) {
        return false;
    }
    const long result = syscall(SYS_ioctl, fd, request, time);
    syscall(SYS_close, fd);
    return result == 0;
}

std::optional<int64_t> DeviceRead()
{
    rtc_time time{};
    if (!DeviceRequest(RTC_RD_TIME, &time)) {
        return std::nullopt;
    }
    return Utc(time.tm_year + 1900, time.tm_mon + 1, time.tm_mday, time.tm_hour, time.tm_min,
               time.tm_sec);
}

bool DeviceWrite(int64_t utc)
{
    tm civil{};
    dakcal::CivilFromUtc(utc, &civil);
    rtc_time time{civil.tm_sec,  civil.tm_min,  civil.tm_hour,
                  civil.tm_mday, civil.tm_mon,  civil.tm_year,
                  civil.tm_wday, civil.tm_yday, 0};
    const bool ok = DeviceRequest(RTC_SET_TIME, &time);
    if (!ok) {
        Check(false, "RTC_SET_TIME of " + Text(utc));
    }
    return ok;
}

// The kernel's reading of the device in UTC seconds; -1 when unreadable.
int64_t KernelSeconds()
{
    std::ifstream in("/sys/class/rtc/rtc0/since_epoch");
    long long value = -1;
    return in >> value ? value : -1;
}

// Whether a device time is `from`, counted on by the seconds since `start`
// (plus the second already begun).
bool CountedOn(std::optional<int64_t> value, int64_t from, Clock::time_point start)
{
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start);
    return value && *value >= from && *value <= from + elapsed.count() + 1;
}

// ---- the library --------------------------------------------------------------

// A fresh manager on a fresh host platform whose hardware clock is the real
// device, as after a standby start by the micom: main power off, so the
// stored reason survives start-up.
bool StartManager(ESystemTimeReason reason)
{
    TISystemTimeManager::Exit();  // the last one, if any
    dakhost::Reset();
    dakhost::SetRtcFake(false);
    dakhost::UseVirtualTime(true);
    dakhost::SetLogToStderr(false);
    dakhost::SetMasterPower(false);
    dakhost::SetSetting(dakhost::Setting::Reason, reason);
    const bool ok = TISystemTimeManager::Instance()->Init();
    dakhost::WaitIdle();
    return ok;
}

// ---- the checks ------------------------------------------------------------------

void DeviceReadWriteReadBack()
{
    const int64_t before = KernelSeconds();
    const auto read = DeviceRead();
    const int64_t after = KernelSeconds();
    Check(before > 0 && read && *read >= before && *read <= after,
          "RTC_RD_TIME gives the kernel's time " + Text(before) + ": " + Text(read.value_or(-1)));

    const int64_t written = Utc(2024, 3, 5, 10, 11, 12);
    const auto start = Clock::now();
    if (DeviceWrite(written)) {
        Check(CountedOn(DeviceRead(), written, start),
              "RTC_SET_TIME then RTC_RD_TIME of " + Text(written) + " reads it back");
        Check(CountedOn(KernelSeconds(), written, start), "the kernel counts on from the write");
    }
}

// Start-up with stored reason micom replays the device's time into the
// platform clock through the library's calendar arithmetic.
void StartupReplay(int64_t rtc)
{
    if (!DeviceWrite(rtc)) {
        return;
    }
    const int64_t before = KernelSeconds();
    const bool started = StartManager(Reason_micom);
    const int64_t after = KernelSeconds();
    const int64_t platform = dakhost::PlatformClock();
    Check(started && platform >= before && platform <= after,
          "start-up replays " + Text(rtc) + " as the kernel's [" + Text(before) + ", " +
              Text(after) + "]: platform clock " + Text(platform));
}

// A device at 2100-01-01 is past the library's range: 2001-01-01 replaces it
// in the platform clock, and the device keeps its time.
void StartupReplayAtCeiling()
{
    const int64_t rtc = Utc(2100, 1, 1, 0, 0, 0);
    const auto start = Clock::now();
    if (!DeviceWrite(rtc)) {
        return;
    }
    StartManager(Reason_micom);
    Check(dakhost::PlatformClock() == k2001,
          "a device at " + Text(rtc) + " replays as " + Text(dakhost::PlatformClock()));
    Check(CountedOn(KernelSeconds(), rtc, start), "the replay at 2100 leaves the device alone");
}

void ManualSettingReachesDevice()
{
    const int64_t utc = Utc(2040, 2, 29, 22, 33, 44);
    const auto start = Clock::now();
    Check(TISystemTimeManager::Instance()->SetSystemTime(static_cast<unsigned long>(utc),
                                                         SetType_manual, false),
          "SetSystemTime(" + Text(utc) + ", manual) is accepted");
    dakhost::WaitIdle();
    Check(dakhost::PlatformClock() == utc, "the platform clock holds " + Text(utc));
    Check(CountedOn(DeviceRead(), utc, start), "RTC_RD_TIME reads the manual setting back");
    Check(CountedOn(KernelSeconds(), utc, start), "the kernel reads the manual setting back");
}

// The periodic sync on a running manager, from a device at 2030 and a
// platform clock at 2034: which of the two clocks it corrects.
enum class Corrected { Platform, Device, Neither };

void Sync(Corrected corrected, ESystemTimeReason reason, std::optional<int> option24)
{
    const int64_t rtc = Utc(2030, 1, 2, 3, 4, 5);
    const int64_t system = Utc(2034, 4, 4, 4, 4, 4);
    const std::string name = "sync under reason " + std::to_string(reason) + ", option 24 = " +
                             (option24 ? std::to_string(*option24) : "unreadable") + ": ";
    dakhost::SetSetting(dakhost::Setting::Reason, reason);
    dakhost::SetFactoryOption(24, option24);
    const auto start = Clock::now();
    if (!DeviceWrite(rtc)) {
        return;
    }
    dakhost::SetPlatformClock(static_cast<uint32_t>(system));
    const int64_t before = KernelSeconds();
    dakhost::FireAlarms();
    const int64_t after = KernelSeconds();
    const int64_t platform = dakhost::PlatformClock();
    Check(corrected == Corrected::Platform ? platform >= before && platform <= after
                                           : platform == system,
          name + "platform clock " + Text(platform));
    Check(CountedOn(after, corrected == Corrected::Device ? system : rtc, start),
          name + "device " + Text(after));
}

}  // namespace

int main()
{
    std::printf("rtc_vm_test: libdak-time against the real %s\n", kDevice);
    DeviceReadWriteReadBack();

    // The library's calendar against the kernel's: its first day, a leap day
    // turning, the 32-bit signed time_t boundary and its last day.
    for (const int64_t rtc : {k2001, Utc(2024, 2, 29, 23, 59, 30), Utc(2038, 1, 19, 3, 14, 5),
                              Utc(2099, 12, 31, 23, 59, 30)}) {
        StartupReplay(rtc);
    }
    StartupReplayAtCeiling();

    // On the manager that start-up left running (stored reason micom).
    ManualSettingReachesDevice();
    Sync(Corrected::Platform, Reason_micom, std::nullopt);
    Sync(Corrected::Device, Reason_micom, 4);
    Sync(Corrected::Neither, Reason_init, std::nullopt);

    TISystemTimeManager::Exit();
    std::printf("rtc_vm_test: %d passed, %d failed\n", g_passed, g_failed);
    std::fflush(stdout);
    return g_failed == 0 ? 0 : 1;
}
