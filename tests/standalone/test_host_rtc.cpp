// The fake "/dev/rtc0", reached through the operating-system seam's open,
// ioctl and close exactly as the time service reaches it, and the files it
// hands on to the C library.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/rtc.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include "DakHostControl.h"
#include "DakOs.h"

namespace {

constexpr int64_t kStart = 1704067200;  // 2024-01-01T00:00:00Z

class HostRtc : public ::testing::Test {
protected:
    void SetUp() override
    {
        dakhost::Reset();
        dakhost::SetLogToStderr(false);
    }
    void TearDown() override { dakhost::Reset(); }
};

// One request on the clock, opened and closed around it: 0, or the errno of
// the step that failed.
int Request(unsigned long request, rtc_time* tm)
{
    const int fd = dakos::open("/dev/rtc0", request == RTC_RD_TIME ? O_RDONLY : O_RDWR);
    if (fd == -1) {
        return errno;
    }
    const int error = dakos::ioctl(fd, request, tm) == 0 ? 0 : errno;
    EXPECT_EQ(dakos::close(fd), 0);
    return error;
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

TEST_F(HostRtc, ReadsAndWritesCalendarTime)
{
    rtc_time tm{};
    dakhost::SetRtc(1709633045);  // 2024-03-05T10:04:05Z
    ASSERT_EQ(Request(RTC_RD_TIME, &tm), 0);
    EXPECT_EQ(tm.tm_year, 124);
    EXPECT_EQ(tm.tm_mon, 2);
    EXPECT_EQ(tm.tm_mday, 5);
    EXPECT_EQ(tm.tm_hour, 10);
    EXPECT_EQ(tm.tm_min, 4);
    EXPECT_EQ(tm.tm_sec, 5);

    tm = Date(2024, 2, 29, 23, 59, 59);
    ASSERT_EQ(Request(RTC_SET_TIME, &tm), 0);
    EXPECT_EQ(dakhost::Rtc(), 1709251199);
    EXPECT_EQ(dakhost::RtcWrites(), 1);
}

TEST_F(HostRtc, FailuresReportTheirErrorAndChangeNothing)
{
    // Invalid calendar times are refused as the driver refuses them.
    for (rtc_time tm :
         {Date(1969, 12, 31), Date(2023, 2, 29), Date(2024, 13, 1), Date(2024, 1, 1, 24)}) {
        EXPECT_EQ(Request(RTC_SET_TIME, &tm), EINVAL) << tm.tm_year << "-" << tm.tm_mon;
    }
    rtc_time tm = Date(2030, 1, 1);
    dakhost::FailRtcWrite(true);
    EXPECT_EQ(Request(RTC_SET_TIME, &tm), EIO);
    dakhost::FailRtcRead(true);
    EXPECT_EQ(Request(RTC_RD_TIME, &tm), EIO);
    dakhost::SetRtcPresent(false);
    EXPECT_EQ(Request(RTC_RD_TIME, &tm), ENOENT);
    EXPECT_EQ(Request(RTC_SET_TIME, &tm), ENOENT);
    EXPECT_EQ(dakhost::Rtc(), kStart);
    EXPECT_EQ(dakhost::RtcWrites(), 0);
}

TEST_F(HostRtc, OtherFilesAndDescriptorsReachTheKernel)
{
    char path[] = "/tmp/dak-host-rtc-XXXXXX";
    const int made = mkstemp(path);
    ASSERT_GE(made, 0);
    ASSERT_EQ(close(made), 0);

    const int fd = dakos::open(path, O_RDWR);
    ASSERT_GE(fd, 0) << errno;
    rtc_time tm{};
    EXPECT_EQ(dakos::ioctl(fd, RTC_RD_TIME, &tm), -1);  // not a clock
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(write(fd, "x", 1), 1);
    EXPECT_EQ(dakos::close(fd), 0);
    EXPECT_EQ(unlink(path), 0);

    // A clock's descriptor is never one the kernel gave out, and once
    // closed it is no longer the clock.
    const int clock = dakos::open("/dev/rtc0", O_RDONLY);
    ASSERT_GE(clock, 0);
    EXPECT_EQ(fcntl(clock, F_GETFD), -1);
    EXPECT_EQ(dakos::close(clock), 0);
    EXPECT_EQ(dakos::ioctl(clock, RTC_RD_TIME, &tm), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(dakos::close(clock), -1);
    EXPECT_EQ(errno, EBADF);
}

}  // namespace
