// Exact stream clock readings against the host platform's monotonic clock,
// which in virtual time moves only when the test advances it.
#include <cerrno>
#include <cstdint>
#include <string>
#include <tuple>

#include "DakTestFixture.h"
#include "TIStreamClock.h"

namespace {

using daktest::Utc;

// Moves the monotonic clock to `seconds` (never back).
void BaseClockAt(int64_t seconds)
{
    const auto now = static_cast<int64_t>(dakhost::MonotonicMs() / 1000);
    ASSERT_GE(seconds, now);
    dakhost::Advance(static_cast<uint64_t>(seconds - now) * 1000);
}

class StreamBaseClock : public DakTest {
protected:
    void SetUp() override
    {
        DakTest::SetUp();
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
    {6000, Utc(2024, 3, 10, 12), 10, Utc(2024, 3, 10, 12) + 10},
    {7000, 4102444799UL, 200000000, (4102444799UL + 200000000UL) & 0xFFFFFFFFUL},
    {3000000000LL, 978307200UL, 1, 978307201UL},  // base ahead: negative offset
};

TEST_F(StreamBaseClock, ReadingIsTheTableTimePlusTheElapsedBaseClockUntilReset)
{
    for (const ReadingRow& row : kReadings) {
        SCOPED_TRACE(row.utc);
        BaseClockAt(row.base);
        dakhost::SetPlatformClock(Utc(2031, 1, 1));  // the wall clock plays no part
        if (row.utc != 0) {
            ASSERT_TRUE(m_clock->SetStreamClock(row.utc, false, 0));
        }
        BaseClockAt(row.base + row.elapsed);
        bool streamSet = row.utc == 0;
        bool systemSet = streamSet;
        EXPECT_EQ(m_clock->StreamClock(&streamSet), row.reads);
        EXPECT_EQ(m_clock->StreamClockOfSystem(&systemSet), row.reads);
        EXPECT_EQ(streamSet, row.utc != 0);
        EXPECT_EQ(systemSet, row.utc != 0);

        m_clock->SetDVBTimeOffset(1300000000, 60, 0);
        m_clock->Reset();  // the next row starts from a fresh clock
        EXPECT_EQ(m_clock->StreamClock(&streamSet),
                  static_cast<unsigned long>(row.base + row.elapsed));
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
    BaseClockAt(5000);
    const unsigned long utc = Utc(2024, 3, 10);
    ASSERT_TRUE(m_clock->SetStreamClock(utc, false, 0));
    const auto writesBefore = dakhost::SettingWrites().size();
    dakhost::ClearLogs();

    dakhost::FailMonotonic(EINVAL);
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

    dakhost::FailMonotonic(0);
    EXPECT_EQ(dakhost::SettingWrites().size(), writesBefore);
    EXPECT_EQ(m_clock->StreamClock(nullptr), utc);
    EXPECT_EQ(m_clock->StreamClockOfSystem(nullptr), utc);
}

}  // namespace
