// The hardware clock "/dev/rtc0": opened for each request and closed before
// the request returns. The clock holds UTC.

#include <linux/rtc.h>

#include <cstddef>
#include <ctime>

#include "Calendar.h"
#include "Common/DakLog.h"
#include "DakOs.h"
#include "SystemTimeManager/TCSystemTimeManager.h"
#include "TCTimeUtility.h"

// The request codes are those of the 32-bit set; struct rtc_time is nine ints
// on every Linux ABI, so a 64-bit build uses the same codes.
static_assert(sizeof(rtc_time) == 36, "struct rtc_time is nine 32-bit fields");
static_assert(RTC_RD_TIME == 0x80247009U, "RTC_RD_TIME");
static_assert(RTC_SET_TIME == 0x4024700aU, "RTC_SET_TIME");
// The write path hands a struct tm to the device as a struct rtc_time.
static_assert(offsetof(tm, tm_sec) == offsetof(rtc_time, tm_sec) &&
                  offsetof(tm, tm_min) == offsetof(rtc_time, tm_min) &&
                  offsetof(tm, tm_hour) == offsetof(rtc_time, tm_hour) &&
                  offsetof(tm, tm_mday) == offsetof(rtc_time, tm_mday) &&
                  offsetof(tm, tm_mon) == offsetof(rtc_time, tm_mon) &&
                  offsetof(tm, tm_year) == offsetof(rtc_time, tm_year) &&
                  offsetof(tm, tm_wday) == offsetof(rtc_time, tm_wday) &&
                  offsetof(tm, tm_yday) == offsetof(rtc_time, tm_yday) &&
                  offsetof(tm, tm_isdst) == offsetof(rtc_time, tm_isdst),
              "struct tm starts like struct rtc_time");

namespace {
constexpr const char* kRtcDevice = "/dev/rtc0";
}  // namespace

bool TCSystemTimeManager::t_GetRTCTime(unsigned long* utc)
{
    const int fd = dakos::open(kRtcDevice, O_RDONLY);
    if (fd == -1) {
        DAK_LOG(dak::msg::kRtcReadOpenFail);
        return false;
    }
    rtc_time rtcTm{};
    const int ret = dakos::ioctl(fd, RTC_RD_TIME, &rtcTm);
    (void)dakos::close(fd);
    if (ret == -1) {
        DAK_LOG(dak::msg::kRtcReadFail);
        return false;
    }
    // Registers that cannot be a time from 1970 to 2105 (a dead battery, a
    // corrupted chip) are a failed read: converted, they would wrap into the
    // valid range and be taken for a time.
    if (!dakcal::IsRtcReadingValid(rtcTm)) {
        DAK_LOG(dak::msg::kRtcReadInvalid, rtcTm.tm_year, rtcTm.tm_mon, rtcTm.tm_mday,
                rtcTm.tm_hour, rtcTm.tm_min, rtcTm.tm_sec);
        return false;
    }
    const unsigned long value = t_ConvertRTCToUTC(rtcTm);
    *utc = value;
    DAK_LOG(dak::msg::kRtcRead, value, rtcTm.tm_year, rtcTm.tm_mon, rtcTm.tm_mday);
    return true;
}

bool TCSystemTimeManager::t_SetRTCTime(unsigned long utc)
{
    const auto utc32 = static_cast<uint32_t>(utc);
    tm date{};
    (void)TCTimeUtility().BinaryToDate(utc32, &date);
    DAK_LOG(dak::msg::kRtcWrite, static_cast<unsigned long>(utc32), date.tm_year, date.tm_mon,
            date.tm_mday);

    const int fd = dakos::open(kRtcDevice, O_RDWR);
    if (fd == -1) {
        DAK_LOG(dak::msg::kRtcWriteOpenFail);
        return false;
    }
    const int ret = dakos::ioctl(fd, RTC_SET_TIME, &date);
    (void)dakos::close(fd);
    if (ret == -1) {
        DAK_LOG(dak::msg::kRtcWriteFail);
        return false;
    }
    return true;
}
