// The stream clock against a base clock under the test's control. This
// executable defines clock_gettime itself; calls made from inside libdak-time
// see CLOCK_MONOTONIC at a chosen second, or failing, while
// every other caller (test framework, host platform) gets the real clock.
// Inside the library the clock stands still unless a test moves it, so
// readings are exact.
#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <string>

#include "DakTestFixture.h"
#include "TIStreamClock.h"

namespace {

std::atomic<bool> g_failBaseClock{false};
std::atomic<int64_t> g_baseSeconds{0};
std::atomic<int64_t> g_baseCalls{0};

const void* LibraryBase()
{
    static const void* const base = [] {
        Dl_info info{};
        // Any function of the library tells where it is mapped.
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast)
        if (dladdr(reinterpret_cast<void*>(&TIStreamClock::Init), &info) == 0) {
            return static_cast<const void*>(nullptr);
        }
        return static_cast<const void*>(info.dli_fbase);
    }();
    return base;
}

bool CalledFromLibrary(const void* returnAddress)
{
    Dl_info info{};
    return dladdr(returnAddress, &info) != 0 && info.dli_fbase == LibraryBase();
}

}  // namespace

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int clock_gettime(clockid_t clockId, timespec* result) noexcept
{
    const void* caller = __builtin_return_address(0);
#if defined(SYS_clock_gettime64)
    // 32-bit targets: the system call that matches this build's timespec.
    const long number = sizeof(result->tv_sec) == 8 ? SYS_clock_gettime64 : SYS_clock_gettime;
#else
    const long number = SYS_clock_gettime;
#endif
    const auto ret = static_cast<int>(syscall(number, clockId, result));
    if (ret != 0 || clockId != CLOCK_MONOTONIC || !CalledFromLibrary(caller)) {
        return ret;
    }
    g_baseCalls.fetch_add(1);
    if (g_failBaseClock.load()) {
        errno = EINVAL;
        return -1;
    }
    result->tv_sec = static_cast<time_t>(g_baseSeconds.load());
    result->tv_nsec = 0;
    return 0;
}

namespace {

using dakhost::Via;
using daktest::Utc;

constexpr int kPrint = static_cast<int>(Via::Print);

bool HasExactLog(const std::string& text, int level)
{
    for (const auto& line : daktest::FindLogs(text, level, kPrint)) {
        if (line.text == text) {
            return true;
        }
    }
    return false;
}

class StreamBaseClock : public DakTest {
protected:
    void SetUp() override
    {
        DakTest::SetUp();
        g_failBaseClock = false;
        g_baseSeconds = 5000;
        TIStreamClock::Init();
        m_clock = TIStreamClock::Instance(DAKHandle{});
        ASSERT_NE(m_clock, nullptr);
        // The substitute must reach the library, or these tests prove nothing.
        const int64_t callsBefore = g_baseCalls.load();
        m_clock->StreamClock(nullptr);
        ASSERT_GT(g_baseCalls.load(), callsBefore) << "clock_gettime is not interposed";
    }

    void TearDown() override
    {
        g_failBaseClock = false;
        DakTest::TearDown();
    }

    // Moves the library's monotonic clock forward.
    static void Elapse(int64_t seconds) { g_baseSeconds += seconds; }

    TIStreamClock* m_clock = nullptr;
};

TEST_F(StreamBaseClock, FreshReadingIsTheBaseClockItself)
{
    bool isSet = true;
    EXPECT_EQ(m_clock->StreamClock(&isSet), 5000U);
    EXPECT_FALSE(isSet);
    isSet = true;
    EXPECT_EQ(m_clock->StreamClockOfSystem(&isSet), 5000U);
    EXPECT_FALSE(isSet);
    Elapse(7);
    EXPECT_EQ(m_clock->StreamClock(nullptr), 5007U);
    EXPECT_EQ(m_clock->StreamClockOfSystem(nullptr), 5007U);
}

TEST_F(StreamBaseClock, ReadingIsTheTimeSentPlusTheSecondsElapsed)
{
    const unsigned long utc = Utc(2024, 3, 10, 12);
    ASSERT_TRUE(m_clock->SetStreamClock(utc, false, 0));
    dakhost::SetPlatformClock(Utc(2031, 1, 1));  // the wall clock plays no part
    Elapse(10);
    bool isSet = false;
    const unsigned long stream = m_clock->StreamClock(&isSet);
    EXPECT_TRUE(isSet);
    const unsigned long system = m_clock->StreamClockOfSystem(nullptr);
    EXPECT_EQ(stream, utc + 10);
    EXPECT_EQ(system, utc + 10);
}

TEST_F(StreamBaseClock, ReadingWrapsModulo32Bits)
{
    const unsigned long utc = 4102444799UL;  // last valid second
    ASSERT_TRUE(m_clock->SetStreamClock(utc, false, 0));
    Elapse(200000000);  // about six years later
    const unsigned long stream = m_clock->StreamClock(nullptr);
    const unsigned long system = m_clock->StreamClockOfSystem(nullptr);
    const unsigned long wrapped = (utc + 200000000UL) & 0xFFFFFFFFUL;
    EXPECT_EQ(stream, wrapped);
    EXPECT_EQ(system, wrapped);
}

TEST_F(StreamBaseClock, BaseClockAheadOfTheStreamTimeStillReadsTheStreamTime)
{
    // A base clock above the stream time gives a negative offset.
    g_baseSeconds = 3000000000LL;
    const unsigned long utc = Utc(2001, 1, 1);
    ASSERT_TRUE(m_clock->SetStreamClock(utc, false, 0));
    Elapse(1);
    const unsigned long stream = m_clock->StreamClock(nullptr);
    EXPECT_EQ(stream, utc + 1);
}

TEST_F(StreamBaseClock, FailingBaseClockReadsZeroKeepsTheFlagAndRefusesTables)
{
    const unsigned long utc = Utc(2024, 3, 10);
    ASSERT_TRUE(m_clock->SetStreamClock(utc, false, 0));
    const auto writesBefore = dakhost::SettingWrites().size();
    dakhost::ClearLogs();

    g_failBaseClock = true;
    bool isSet = false;
    EXPECT_EQ(m_clock->StreamClock(&isSet), 0U);
    EXPECT_TRUE(isSet);
    isSet = false;
    EXPECT_EQ(m_clock->StreamClockOfSystem(&isSet), 0U);
    EXPECT_TRUE(isSet);
    EXPECT_FALSE(m_clock->SetStreamClock(Utc(2030, 1, 1), false, 0));
    EXPECT_EQ(dakhost::AgentReadHolds(), 0);

    EXPECT_TRUE(HasExactLog("Error clock_gettime : " + std::to_string(EINVAL), 5));
    EXPECT_TRUE(HasExactLog("TCStreamClockManager::StreamClock, Getting base clock error!", 5));
    EXPECT_TRUE(
        HasExactLog("TCStreamClockManager::StreamClockOfSystem, Getting base clock error!", 5));
    EXPECT_TRUE(HasExactLog("TCStreamClockManager::SetStreamClock, Getting base clock error!", 5));

    // The refused table changed nothing.
    g_failBaseClock = false;
    EXPECT_EQ(dakhost::SettingWrites().size(), writesBefore);
    EXPECT_EQ(m_clock->StreamClock(nullptr), utc);
    EXPECT_EQ(m_clock->StreamClockOfSystem(nullptr), utc);
}

}  // namespace
