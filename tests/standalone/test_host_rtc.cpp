// The fake "/dev/rtc0", reached through the C library's open, ioctl and close
// exactly as the time service reaches it, and the calls it must leave alone.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/rtc.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "DakHostControl.h"

extern "C" int __open_2(const char* path, int flags);

namespace {

constexpr int64_t kStart = 1704067200;  // 2024-01-01T00:00:00Z

class HostRtc : public ::testing::Test {
protected:
    void SetUp() override
    {
        dakhost::Reset();
        dakhost::UseVirtualTime(true);
        dakhost::SetLogToStderr(false);
    }
    void TearDown() override { dakhost::Reset(); }
};

// Reads the clock as the time service does; -1 as errno-carrying failure.
int ReadRtc(rtc_time* tm, int* error)
{
    *error = 0;
    const int fd = open("/dev/rtc0", O_RDONLY);
    if (fd == -1) {
        *error = errno;
        return -1;
    }
    *tm = rtc_time{};
    const int result = ioctl(fd, RTC_RD_TIME, tm);
    if (result == -1) {
        *error = errno;
    }
    EXPECT_EQ(close(fd), 0);
    return result;
}

int WriteRtc(const rtc_time& value, int* error)
{
    *error = 0;
    const int fd = open("/dev/rtc0", O_RDWR);
    if (fd == -1) {
        *error = errno;
        return -1;
    }
    rtc_time tm = value;
    const int result = ioctl(fd, RTC_SET_TIME, &tm);
    if (result == -1) {
        *error = errno;
    }
    EXPECT_EQ(close(fd), 0);
    return result;
}

rtc_time Date(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
{
    rtc_time tm{};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    return tm;
}

TEST_F(HostRtc, ReadsTheStoredTimeAsCalendarTime)
{
    rtc_time tm{};
    int error = 0;
    ASSERT_EQ(ReadRtc(&tm, &error), 0) << error;
    EXPECT_EQ(tm.tm_year, 124);
    EXPECT_EQ(tm.tm_mon, 0);
    EXPECT_EQ(tm.tm_mday, 1);
    EXPECT_EQ(tm.tm_hour, 0);
    EXPECT_EQ(tm.tm_wday, 1);  // a Monday
    EXPECT_EQ(tm.tm_yday, 0);

    dakhost::SetRtc(1709633045);  // 2024-03-05T10:04:05Z
    ASSERT_EQ(ReadRtc(&tm, &error), 0);
    EXPECT_EQ(tm.tm_year, 124);
    EXPECT_EQ(tm.tm_mon, 2);
    EXPECT_EQ(tm.tm_mday, 5);
    EXPECT_EQ(tm.tm_hour, 10);
    EXPECT_EQ(tm.tm_min, 4);
    EXPECT_EQ(tm.tm_sec, 5);
    EXPECT_EQ(tm.tm_yday, 64);

    // Past the 32-bit range of UTC seconds.
    dakhost::SetRtc(8589934592LL);  // 2242-03-16T12:56:32Z
    ASSERT_EQ(ReadRtc(&tm, &error), 0);
    EXPECT_EQ(tm.tm_year, 342);
    EXPECT_EQ(tm.tm_mon, 2);
    EXPECT_EQ(tm.tm_mday, 16);
    EXPECT_EQ(tm.tm_hour, 12);
}

TEST_F(HostRtc, WritesAValidCalendarTime)
{
    int error = 0;
    ASSERT_EQ(WriteRtc(Date(2024, 2, 29, 23, 59, 59), &error), 0) << error;
    EXPECT_EQ(dakhost::Rtc(), 1709251199);
    EXPECT_EQ(dakhost::RtcWrites(), 1);

    ASSERT_EQ(WriteRtc(Date(2099, 12, 31, 23, 59, 59), &error), 0);
    EXPECT_EQ(dakhost::Rtc(), 4102444799LL);
    ASSERT_EQ(WriteRtc(Date(1970, 1, 1), &error), 0);
    EXPECT_EQ(dakhost::Rtc(), 0);
    EXPECT_EQ(dakhost::RtcWrites(), 3);
}

TEST_F(HostRtc, RejectsAnInvalidCalendarTimeLikeTheDriver)
{
    const rtc_time invalid[] = {
        Date(1969, 12, 31, 23, 59, 59),  // before 1970
        Date(2023, 2, 29),               // no leap day
        Date(2100, 2, 29),               // century without leap day
        Date(2024, 4, 31),
        Date(2024, 1, 0),
        Date(2024, 13, 1),
        Date(2024, 0, 1),
        Date(2024, 1, 1, 24),
        Date(2024, 1, 1, 0, 60),
        Date(2024, 1, 1, 0, 0, 60),
        Date(2024, 1, 1, -1),
    };
    for (const rtc_time& tm : invalid) {
        int error = 0;
        EXPECT_EQ(WriteRtc(tm, &error), -1)
            << tm.tm_year << "-" << tm.tm_mon << "-" << tm.tm_mday << " " << tm.tm_hour;
        EXPECT_EQ(error, EINVAL);
    }
    EXPECT_EQ(dakhost::Rtc(), kStart);
    EXPECT_EQ(dakhost::RtcWrites(), 0);
}

TEST_F(HostRtc, AbsentClockCannotBeOpened)
{
    dakhost::SetRtcPresent(false);
    rtc_time tm{};
    int error = 0;
    EXPECT_EQ(ReadRtc(&tm, &error), -1);
    EXPECT_EQ(error, ENOENT);
    EXPECT_EQ(WriteRtc(Date(2024, 3, 5), &error), -1);
    EXPECT_EQ(error, ENOENT);
    EXPECT_EQ(dakhost::Rtc(), kStart);

    dakhost::SetRtcPresent(true);
    EXPECT_EQ(ReadRtc(&tm, &error), 0);
}

TEST_F(HostRtc, FailingRequestsReportAnIoErrorAndChangeNothing)
{
    dakhost::FailRtcRead(true);
    rtc_time tm{};
    int error = 0;
    EXPECT_EQ(ReadRtc(&tm, &error), -1);
    EXPECT_EQ(error, EIO);
    // Writing still works while reading fails.
    EXPECT_EQ(WriteRtc(Date(2024, 3, 5), &error), 0);
    dakhost::FailRtcRead(false);

    dakhost::FailRtcWrite(true);
    EXPECT_EQ(WriteRtc(Date(2030, 1, 1), &error), -1);
    EXPECT_EQ(error, EIO);
    EXPECT_EQ(dakhost::Rtc(), 1709596800);
    EXPECT_EQ(dakhost::RtcWrites(), 1);
    EXPECT_EQ(ReadRtc(&tm, &error), 0);
    EXPECT_EQ(tm.tm_mon, 2);
}

TEST_F(HostRtc, UnknownRequestOnTheClockIsRefused)
{
    const int fd = open("/dev/rtc0", O_RDONLY);
    ASSERT_GE(fd, 0);
    errno = 0;
    EXPECT_EQ(ioctl(fd, RTC_UIE_ON, 0), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(ioctl(fd, RTC_RD_TIME, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(close(fd), 0);
}

TEST_F(HostRtc, AdvanceMovesTheClockAndReadsFollow)
{
    dakhost::Advance(90 * 60 * 1000);
    EXPECT_EQ(dakhost::Rtc(), kStart + 5400);
    rtc_time tm{};
    int error = 0;
    ASSERT_EQ(ReadRtc(&tm, &error), 0);
    EXPECT_EQ(tm.tm_hour, 1);
    EXPECT_EQ(tm.tm_min, 30);
}

TEST_F(HostRtc, EveryOpenVariantReachesTheFake)
{
    const int viaFortified = __open_2("/dev/rtc0", O_RDONLY);
    const int viaOpenat = openat(AT_FDCWD, "/dev/rtc0", O_RDWR);
    ASSERT_GE(viaFortified, 0);
    ASSERT_GE(viaOpenat, 0);
    rtc_time tm{};
    EXPECT_EQ(ioctl(viaFortified, RTC_RD_TIME, &tm), 0);
    EXPECT_EQ(tm.tm_year, 124);
    tm = Date(2025, 6, 1);
    EXPECT_EQ(ioctl(viaOpenat, RTC_SET_TIME, &tm), 0);
    EXPECT_EQ(close(viaFortified), 0);
    EXPECT_EQ(close(viaOpenat), 0);
    EXPECT_EQ(dakhost::RtcWrites(), 1);
}

TEST_F(HostRtc, OtherFilesAndRequestsReachTheKernel)
{
    char path[] = "/tmp/dak-host-rtc-XXXXXX";
    const int made = mkstemp(path);
    ASSERT_GE(made, 0);
    ASSERT_EQ(close(made), 0);
    ASSERT_EQ(unlink(path), 0);

    // open with O_CREAT takes its mode from the variable arguments.
    const int fd = open(path, O_CREAT | O_EXCL | O_WRONLY, 0640);
    ASSERT_GE(fd, 0) << errno;
    struct stat info {};
    ASSERT_EQ(fstat(fd, &info), 0);
    EXPECT_EQ(
        info.st_mode & 0777, 0640U & ~[] {
            const mode_t mask = umask(0);
            umask(mask);
            return mask;
        }());
    EXPECT_EQ(write(fd, "x", 1), 1);
    EXPECT_EQ(close(fd), 0);
    EXPECT_EQ(unlink(path), 0);

    EXPECT_EQ(open(path, O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(close(-1), -1);
    EXPECT_EQ(errno, EBADF);

    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_EQ(write(ends[1], "abc", 3), 3);
    int queued = 0;
    EXPECT_EQ(ioctl(ends[0], FIONREAD, &queued), 0);
    EXPECT_EQ(queued, 3);
    EXPECT_EQ(ioctl(ends[0], RTC_RD_TIME, nullptr), -1);  // not a clock
    close(ends[0]);
    close(ends[1]);
}

TEST_F(HostRtc, ClosedDescriptorIsNoLongerTheClock)
{
    const int fd = open("/dev/rtc0", O_RDONLY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(close(fd), 0);
    // The number may be reused by an ordinary file, which is not the clock.
    const int other = open("/dev/null", O_RDONLY);
    ASSERT_GE(other, 0);
    rtc_time tm{};
    EXPECT_EQ(ioctl(other, RTC_RD_TIME, &tm), -1);
    EXPECT_EQ(errno, ENOTTY);
    close(other);
}

TEST_F(HostRtc, WithTheFakeOffTheRealDeviceIsOpened)
{
    dakhost::SetRtcFake(false);
    errno = 0;
    const int viaOpen = open("/dev/rtc0", O_RDONLY);
    const int openError = errno;
    const long direct = syscall(SYS_openat, AT_FDCWD, "/dev/rtc0", O_RDONLY);
    const int directError = errno;
    EXPECT_EQ(viaOpen >= 0, direct >= 0);
    if (viaOpen < 0) {
        EXPECT_EQ(openError, directError);
    } else {
        close(viaOpen);
        close(static_cast<int>(direct));
    }
    dakhost::SetRtcFake(true);
    const int fake = open("/dev/rtc0", O_RDONLY);
    EXPECT_GE(fake, 0);
    close(fake);
}

}  // namespace
