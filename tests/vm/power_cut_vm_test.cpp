// A power cut on a real kernel: the library on the Linux platform, for real
// (no dry run), in an ARM virtual machine whose /dev/rtc0 is the PL031 of
// QEMU's virt board and whose settings live on an ext4 disk.
//
//   power_cut_vm_test set SETTINGS     first boot: a stream table sets the
//                                      clock; the machine's clock, the
//                                      PL031 and the settings file follow
//   power_cut_vm_test replay SETTINGS  after the reset: start-up replays the
//                                      hardware clock as the stored reason
//                                      (stream) allows
//
// run-power-cut-vm-test.sh resets the machine between the two without a
// sync (sysrq b), as a power cut would; QEMU keeps the PL031 running.
// Output: one PASS/FAIL line per check; exit status 0 when all passed.
#include <fcntl.h>
#include <linux/rtc.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "DakLinuxPlatform.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"
#include "TimeSettingTypes.h"

namespace {

constexpr uint32_t kStreamTime = 1939291200;  // 2031-06-15T12:00:00Z, far from the host's
constexpr uint32_t kSlack = 300;              // seconds a slow emulated boot may take

int g_failed = 0;

void Check(bool ok, const std::string& what)
{
    std::printf("%s: %s\n", ok ? "PASS" : "FAIL", what.c_str());
    std::fflush(stdout);
    g_failed += ok ? 0 : 1;
}

int64_t SystemClock()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec;
}

// The PL031 as the kernel reads it, without the library.
int64_t DeviceClock()
{
    const int fd = open("/dev/rtc0", O_RDONLY | O_CLOEXEC);
    rtc_time time{};
    const int result = fd >= 0 ? ioctl(fd, RTC_RD_TIME, &time) : -1;
    if (fd >= 0) {
        close(fd);
    }
    if (result != 0) {
        return -1;
    }
    tm civil{};
    std::memcpy(&civil, &time, sizeof time);
    return timegm(&civil);
}

bool Within(int64_t value, int64_t from)
{
    return value >= from && value <= from + kSlack;
}

std::string Contents(const std::string& path)
{
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// Waits (looking every 10 ms, at most a minute) until `done` holds.
template <typename Done>
bool WaitUntil(Done done)
{
    for (int i = 0; i < 6000; ++i) {
        if (done()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return done();
}

daklinux::Options Options(const std::string& settings)
{
    daklinux::Options options;
    options.settingsPath = settings;
    options.rtcDevice = "/dev/rtc0";
    options.region = "DVB";
    options.logTarget = "stderr";
    return options;
}

bool Start(const daklinux::Options& options)
{
    std::string error;
    const bool started = daklinux::Start(options, &error);
    Check(started, "the Linux platform starts " + error);
    return started && TISystemTimeManager::Instance()->Init();
}

void Set(const daklinux::Options& options)
{
    if (!Start(options)) {
        return;
    }
    TIStreamClock::Init();
    DAKHandle handle;
    Check(TIStreamClock::Instance(handle)->SetStreamClock(kStreamTime, false, 0),
          "a stream table of 2031-06-15T12:00:00Z is taken");
    Check(WaitUntil([] { return Within(SystemClock(), kStreamTime); }),
          "the machine's clock follows the stream: " + std::to_string(SystemClock()));
    Check(WaitUntil([] { return Within(DeviceClock(), kStreamTime); }),
          "the PL031 follows the stream: " + std::to_string(DeviceClock()));
    Check(WaitUntil([&] { return daklinux::Read(options).reason == Reason_stream; }),
          "the settings file holds the stream reason");
    std::printf("settings file:\n%s", Contents(options.settingsPath).c_str());
    TIStreamClock::Exit();
    TISystemTimeManager::Exit();
    daklinux::Stop();
}

void Replay(const daklinux::Options& options)
{
    const daklinux::Snapshot before = daklinux::Read(options);
    Check(before.settingsValid && before.reason == Reason_stream,
          "after the power cut the settings file is whole, reason " +
              std::to_string(before.reason) + " " + before.settingsProblem);
    const int64_t device = DeviceClock();
    Check(Within(device, kStreamTime), "the PL031 kept running: " + std::to_string(device));
    if (!Start(options)) {
        return;
    }
    // The replay is the library's own setting of the clock: signal 108.
    Check(WaitUntil([&] { return daklinux::Read(options).signalsSent >= 1; }),
          "start-up replays the hardware clock (signal 108 sent)");
    Check(Within(SystemClock(), kStreamTime),
          "the machine's clock holds the replayed time: " + std::to_string(SystemClock()));
    Check(daklinux::Read(options).reason == Reason_stream, "the stored reason stays stream");
    for (const std::string& line : daklinux::Read(options).lastLogLines) {
        std::printf("    %s\n", line.c_str());
    }
    TISystemTimeManager::Exit();
    daklinux::Stop();
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3 || (std::strcmp(argv[1], "set") != 0 && std::strcmp(argv[1], "replay") != 0)) {
        std::fprintf(stderr, "usage: %s set|replay SETTINGS\n", argv[0]);
        return 2;
    }
    const daklinux::Options options = Options(argv[2]);
    if (std::strcmp(argv[1], "set") == 0) {
        Set(options);
    } else {
        Replay(options);
    }
    std::printf("power_cut_vm_test %s: %s\n", argv[1], g_failed == 0 ? "PASSED" : "FAILED");
    return g_failed == 0 ? 0 : 1;
}
