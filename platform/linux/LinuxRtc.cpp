// The hardware clock on Linux. The library opens "/dev/rtc0", issues
// RTC_RD_TIME / RTC_SET_TIME and closes it, through the operating-system
// seam (platform/os/DakOs.h). Here the seam sends that path to the device
// the options name; in dry run to a file that stands in for the RTC: it
// holds the time last written and the real time of that write, so that it
// runs on like a clock. Every other path and request goes to the kernel.
#include <fcntl.h>
#include <linux/rtc.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>

#include "DakOs.h"
#include "LinuxInternal.h"

namespace {

constexpr const char* kLibraryDevice = "/dev/rtc0";
constexpr uint32_t k2001 = 978307200U;

struct Rtc {
    std::mutex lock;
    bool dryRun = false;
    std::string device = kLibraryDevice;
    std::array<int, 8> fakeFds{};  // descriptors of the dry run's file, 0: free
};

Rtc& R()
{
    static auto* const rtc = new Rtc;
    return *rtc;
}

bool IsFake(int fd)
{
    Rtc& r = R();
    const std::lock_guard<std::mutex> lock(r.lock);
    return std::any_of(r.fakeFds.begin(), r.fakeFds.end(),
                       [fd](int held) { return held == fd + 1; });
}

void ForgetFake(int fd)
{
    Rtc& r = R();
    const std::lock_guard<std::mutex> lock(r.lock);
    for (int& held : r.fakeFds) {
        if (held == fd + 1) {
            held = 0;
        }
    }
}

// The fake RTC's file: "dak-time-fake-rtc <rtc seconds> <real seconds>\n".
int FakeRead(int fd, rtc_time* time)
{
    char text[96] = {};
    const ssize_t n = ::pread(fd, text, sizeof text - 1, 0);
    long long rtc = 0;
    long long written = 0;
    if (n <= 0 || std::sscanf(text, "dak-time-fake-rtc %lld %lld", &rtc, &written) != 2) {
        errno = EINVAL;  // as a driver says of a clock that lost its time
        return -1;
    }
    const auto now = static_cast<time_t>(rtc + (daklinux::detail::RealNow() - written));
    tm civil{};
    if (::gmtime_r(&now, &civil) == nullptr) {
        errno = EINVAL;
        return -1;
    }
    std::memset(time, 0, sizeof *time);
    std::memcpy(time, &civil, sizeof *time);  // the same nine leading ints
    return 0;
}

int FakeWrite(int fd, const rtc_time* time)
{
    tm civil{};
    std::memcpy(&civil, time, sizeof *time);
    const time_t utc = ::timegm(&civil);
    char text[96];
    const int length = std::snprintf(text, sizeof text, "dak-time-fake-rtc %lld %lld\n",
                                     static_cast<long long>(utc),
                                     static_cast<long long>(daklinux::detail::RealNow()));
    if (::ftruncate(fd, 0) != 0 || ::pwrite(fd, text, static_cast<size_t>(length), 0) != length) {
        return -1;
    }
    return 0;
}

// In dry run the hardware clock is a file, never a device: a path under
// /dev (the default "/dev/rtc0" included) becomes the file beside the
// settings.
std::string DevicePath(const daklinux::Options& options)
{
    if (options.dryRun && (options.rtcDevice.empty() || options.rtcDevice.rfind("/dev/", 0) == 0)) {
        return options.settingsPath + ".rtc";
    }
    return options.rtcDevice.empty() ? kLibraryDevice : options.rtcDevice;
}

int OpenRtc(const Rtc& rtc, int flags, bool* fake)
{
    *fake = rtc.dryRun;
    if (rtc.dryRun) {
        // Writing makes the file; reading one that is not there fails as a
        // missing device does.
        const int create = (flags & O_ACCMODE) == O_RDONLY ? 0 : O_CREAT;
        const int fd =
            ::open(rtc.device.c_str(), (flags & O_ACCMODE) | create | O_CLOEXEC | O_NOFOLLOW, 0644);
        struct stat file {};
        if (fd >= 0 && (::fstat(fd, &file) != 0 || !S_ISREG(file.st_mode))) {
            ::close(fd);  // nothing of the machine is touched in dry run
            errno = ENODEV;
            return -1;
        }
        return fd;
    }
    return ::open(rtc.device.c_str(), flags | O_CLOEXEC);
}

}  // namespace

namespace daklinux::detail {

void ConfigureRtc(const Options& options)
{
    Rtc& r = R();
    const std::lock_guard<std::mutex> lock(r.lock);
    r.dryRun = options.dryRun;
    r.device = DevicePath(options);
}

bool ReadHardwareClock(const Options& options, uint32_t* utc, std::string* problem)
{
    Rtc probe;
    probe.dryRun = options.dryRun;
    probe.device = DevicePath(options);
    bool fake = false;
    const int fd = OpenRtc(probe, O_RDONLY, &fake);
    if (fd < 0) {
        *problem = "open " + probe.device + ": " + std::strerror(errno);
        return false;
    }
    rtc_time time{};
    const int result = fake ? FakeRead(fd, &time) : ::ioctl(fd, RTC_RD_TIME, &time);
    const int error = errno;
    ::close(fd);
    if (result != 0) {
        *problem = "read " + probe.device + ": " + std::strerror(error);
        return false;
    }
    tm civil{};
    std::memcpy(&civil, &time, sizeof time);
    const time_t seconds = ::timegm(&civil);
    if (seconds < static_cast<time_t>(k2001)) {
        *problem = "holds a time before 2001";
        return false;
    }
    *utc = static_cast<uint32_t>(seconds);
    return true;
}

}  // namespace daklinux::detail

// ---- the operating-system seam ------------------------------------------------------

namespace dakos {

int open(const char* path, int flags)
{
    if (path == nullptr) {
        errno = EFAULT;
        return -1;
    }
    if (std::strcmp(path, kLibraryDevice) != 0) {
        return ::open(path, flags);
    }
    Rtc& r = R();
    const std::lock_guard<std::mutex> lock(r.lock);
    bool fake = false;
    const int fd = OpenRtc(r, flags, &fake);
    if (fd >= 0 && fake) {
        for (int& held : r.fakeFds) {
            if (held == 0) {
                held = fd + 1;
                return fd;
            }
        }
        ::close(fd);  // more open at once than any caller needs
        errno = EMFILE;
        return -1;
    }
    return fd;
}

int ioctl(int fd, unsigned long request, void* arg)
{
    if (!IsFake(fd)) {
        return ::ioctl(fd, request, arg);
    }
    if (request == RTC_RD_TIME) {
        return FakeRead(fd, static_cast<rtc_time*>(arg));
    }
    if (request == RTC_SET_TIME) {
        return FakeWrite(fd, static_cast<const rtc_time*>(arg));
    }
    errno = ENOTTY;
    return -1;
}

int close(int fd)
{
    ForgetFake(fd);
    return ::close(fd);
}

}  // namespace dakos
