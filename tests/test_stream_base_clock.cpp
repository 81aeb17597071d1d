// Exact stream clock readings against a base clock under the test's control.
// This executable defines clock_gettime itself: calls made from inside
// libdak-time see CLOCK_MONOTONIC standing at g_baseSeconds (or failing),
// every other caller (test framework, host platform) gets the real clock.
#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <string>
#include <tuple>

#include "DakTestFixture.h"
#include "TIStreamClock.h"

namespace {

std::atomic<bool> g_failBaseClock{false};
std::atomic<int64_t> g_baseSeconds{0};

bool CalledFromLibrary(const void* returnAddress)
{
    static const void* const library = [] {
        Dl_info info{};
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast)
        const bool found = dladdr(reinterpret_cast<void*>(&TIStreamClock::Init), &info) != 0;
        return found ? static_cast<const void*>(info.dli_fbase) : nullptr;
    }();
    Dl_info info{};
    return dladdr(returnAddress, &info) != 0 && info.dli_fbase == library;
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
    if (g_failBaseClock.load()) {
        errno = EINVAL;
        return -1;
    }
    result->tv_sec = static_cast<time_t>(g_baseSeconds.load());
    result->tv_nsec = 0;
    return 0;
}

namespace {

using daktest::Utc;

class StreamBaseClock : public DakTest {
protected:
    void SetUp() override
    {
        DakTest::SetUp();
        g_failBaseClock = false;
        TIStreamClock::Init();
        m_clock = TIStreamClock::Instance(DAKHandle{});
        ASSERT_NE(m_clock, nullptr);
    }

    TIStreamClock* m_clock = nullptr;
};

struct ReadingRow {
    int64_t base;         // base clock when the table arrives
    unsigned long utc;    // 0: no table
    int64_t elapsed;      // seconds until the reading
    unsigned long reads;  // both readings
};

// The readings are base + (utc - base at arrival), modulo 2^32.
const ReadingRow kReadings[] = {
    {5000, 0, 7, 5007},  // fresh: the base clock itself
    {5000, Utc(2024, 3, 10, 12), 10, Utc(2024, 3, 10, 12) + 10},
    {5000, 4102444799UL, 200000000, (4102444799UL + 200000000UL) & 0xFFFFFFFFUL},
    {3000000000LL, 978307200UL, 1, 978307201UL},  // base ahead: negative offset
};

TEST_F(StreamBaseClock, ReadingIsTheTableTimePlusTheElapsedBaseClockUntilReset)
{
    dakhost::SetPlatformClock(Utc(2031, 1, 1));  // the wall clock plays no part
    for (const ReadingRow& row : kReadings) {
        SCOPED_TRACE(row.utc);
        g_baseSeconds = row.base;
        if (row.utc != 0) {
            ASSERT_TRUE(m_clock->SetStreamClock(row.utc, false, 0));
        }
        g_baseSeconds += row.elapsed;
        bool streamSet = row.utc == 0;
        bool systemSet = streamSet;
        EXPECT_EQ(m_clock->StreamClock(&streamSet), row.reads);
        EXPECT_EQ(m_clock->StreamClockOfSystem(&systemSet), row.reads);
        EXPECT_EQ(streamSet, row.utc != 0);
        EXPECT_EQ(systemSet, row.utc != 0);

        m_clock->SetDVBTimeOffset(1300000000, 60, 0);
        m_clock->Reset();  // the next row starts from a fresh clock
        EXPECT_EQ(m_clock->StreamClock(&streamSet), static_cast<unsigned long>(g_baseSeconds));
        EXPECT_FALSE(streamSet);
        unsigned long timeOfchange = 11;
        int next = 22;
        int local = 33;
        EXPECT_FALSE(m_clock->GetDVBTimeOffset(timeOfchange, next, local));
        EXPECT_EQ(std::tie(timeOfchange, next, local), std::make_tuple(11UL, 22, 33));
    }
}

TEST_F(StreamBaseClock, FailingBaseClockReadsZeroAndRefusesTablesWithoutChange)
{
    g_baseSeconds = 5000;
    const unsigned long utc = Utc(2024, 3, 10);
    ASSERT_TRUE(m_clock->SetStreamClock(utc, false, 0));
    const auto writesBefore = dakhost::SettingWrites().size();
    dakhost::ClearLogs();

    g_failBaseClock = true;
    bool isSet = false;
    EXPECT_EQ(m_clock->StreamClock(&isSet), 0U);
    EXPECT_TRUE(isSet);
    EXPECT_EQ(m_clock->StreamClockOfSystem(nullptr), 0U);
    EXPECT_FALSE(m_clock->SetStreamClock(Utc(2030, 1, 1), false, 0));
    EXPECT_EQ(dakhost::AgentReadHolds(), 0);
    for (const std::string& text :
         {"Error clock_gettime : " + std::to_string(EINVAL),
          std::string("TCStreamClockManager::StreamClock, Getting base clock error!"),
          std::string("TCStreamClockManager::StreamClockOfSystem, Getting base clock error!"),
          std::string("TCStreamClockManager::SetStreamClock, Getting base clock error!")}) {
        EXPECT_TRUE(daktest::HasLog(text, 5, static_cast<int>(dakhost::Via::Print))) << text;
    }

    g_failBaseClock = false;
    EXPECT_EQ(dakhost::SettingWrites().size(), writesBefore);
    EXPECT_EQ(m_clock->StreamClock(nullptr), utc);
    EXPECT_EQ(m_clock->StreamClockOfSystem(nullptr), utc);
}

}  // namespace
