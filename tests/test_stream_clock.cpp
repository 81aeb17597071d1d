// A stream clock as its users see it: mode, reset, the broadcast time
// offset record and the stream DST flag. Readings: test_stream_base_clock.
#include <ctime>

#include "DakTestFixture.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace {

using dakhost::Via;
using daktest::CountLogs;
using daktest::Utc;

constexpr int kPrint = static_cast<int>(Via::Print);
constexpr int kPrintF = static_cast<int>(Via::PrintF);

unsigned long MonotonicSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned long>(now.tv_sec);
}

int CountExact(const std::string& text, int level, int via)
{
    int count = 0;
    for (const auto& line : daktest::FindLogs(text, level, via)) {
        count += line.text == text ? 1 : 0;
    }
    return count;
}

class StreamClockTest : public DakTest {
protected:
    void SetUp() override
    {
        DakTest::SetUp();
        TIStreamClock::Init();
        m_clock = TIStreamClock::Instance(DAKHandle{});
        ASSERT_NE(m_clock, nullptr);
        m_writesMark = dakhost::SettingWrites().size();
    }

    // Writes of the DST flag since the set-up (or the source was made).
    int DstWrites() const
    {
        const auto writes = dakhost::SettingWrites();
        int count = 0;
        for (size_t i = m_writesMark; i < writes.size(); ++i) {
            count += writes[i].setting == dakhost::Setting::FlagDst ? 1 : 0;
        }
        return count;
    }

    // Starts the manager and lets a setting of `type` make it the
    // automatic source (stream: AutoType_stream, net: AutoType_net).
    void MakeAutomaticSource(ETimeSettingType type)
    {
        TISystemTimeManager* manager = TISystemTimeManager::Instance();
        ASSERT_TRUE(manager->Init());
        ASSERT_TRUE(manager->SetSystemTime(Utc(2024, 6, 1), type, false));
        dakhost::WaitIdle();
        ETypeOfAutoClock source = AutoType_max;
        manager->GetAutoClockType(source);
        ASSERT_EQ(source, type == SetType_stream ? AutoType_stream : AutoType_net);
        dakhost::ClearLogs();
        m_writesMark = dakhost::SettingWrites().size();
    }

    TIStreamClock* m_clock = nullptr;
    size_t m_writesMark = 0;
};

// ---- mode and reset -------------------------------------------------------------

TEST_F(StreamClockTest, ResetReturnsToAFreshClockButKeepsTheHandle)
{
    m_clock->SetMode(7);
    EXPECT_EQ(m_clock->GetMode(), 7);
    m_clock->SetMode(-3);
    EXPECT_EQ(m_clock->GetMode(), -3);
    ASSERT_TRUE(m_clock->SetStreamClock(Utc(2024, 1, 1), false, -3));
    m_clock->SetDVBTimeOffset(1300000000, 60, 0);

    m_clock->Reset();

    EXPECT_EQ(m_clock->GetMode(), 0);
    bool isSet = true;
    const unsigned long before = MonotonicSeconds();
    const unsigned long stream = m_clock->StreamClock(&isSet);
    const unsigned long after = MonotonicSeconds();
    EXPECT_FALSE(isSet);
    EXPECT_GE(stream, before);
    EXPECT_LE(stream, after);
    unsigned long timeOfchange = 5;
    int next = 6;
    int local = 7;
    EXPECT_FALSE(m_clock->GetDVBTimeOffset(timeOfchange, next, local));
    EXPECT_FALSE(m_clock->StreamDST());
    EXPECT_EQ(TIStreamClock::Instance(DAKHandle{}), m_clock);
}

// ---- broadcast time offset record ---------------------------------------------------

TEST_F(StreamClockTest, OffsetRecordReadsBackExactlyAndNotWhenAbsent)
{
    unsigned long timeOfchange = 11;
    int next = 22;
    int local = 33;
    EXPECT_FALSE(m_clock->GetDVBTimeOffset(timeOfchange, next, local));
    EXPECT_EQ(timeOfchange, 11U);
    EXPECT_EQ(next, 22);
    EXPECT_EQ(local, 33);

    EXPECT_TRUE(m_clock->SetDVBTimeOffset(1300000000, 60, 0));
    EXPECT_EQ(CountExact("SetDVBTimeOffset  timeOfchange = 1300000000, nextTimeOffset = 60, "
                         "localOffset = 0",
                         5, kPrint),
              1);
    ASSERT_TRUE(m_clock->GetDVBTimeOffset(timeOfchange, next, local));
    EXPECT_EQ(timeOfchange, 1300000000U);
    EXPECT_EQ(next, 60);
    EXPECT_EQ(local, 0);

    EXPECT_TRUE(m_clock->SetDVBTimeOffset(0, -120, -60));
    ASSERT_TRUE(m_clock->GetDVBTimeOffset(timeOfchange, next, local));
    EXPECT_EQ(timeOfchange, 0U);
    EXPECT_EQ(next, -120);
    EXPECT_EQ(local, -60);

    // The marker of "no record" is stored like any value and then reads as absent.
    EXPECT_TRUE(m_clock->SetDVBTimeOffset(0xFFFFFFFFUL, 5, 6));
    EXPECT_FALSE(m_clock->GetDVBTimeOffset(timeOfchange, next, local));
    EXPECT_EQ(timeOfchange, 0U);
    EXPECT_EQ(next, -120);
}

// ---- stream DST -----------------------------------------------------------------------

TEST_F(StreamClockTest, DstIgnoredInManualClockModeAndForAnotherMode)
{
    TISystemTimeManager::Instance();  // its auto clock type stays AutoType_max
    dakhost::SetSetting(dakhost::Setting::ClockMode, 1);
    m_clock->SetStreamDST(true, 0);
    EXPECT_FALSE(m_clock->StreamDST());

    dakhost::SetSetting(dakhost::Setting::ClockMode, 0);
    m_clock->SetMode(3);
    m_clock->SetStreamDST(true, 4);
    EXPECT_FALSE(m_clock->StreamDST());

    EXPECT_EQ(DstWrites(), 0);
    EXPECT_EQ(CountExact("SetStreamDST  bOnOfft = 1, mode = 0", 1, kPrint), 1);
    EXPECT_EQ(CountExact("SetStreamDST  bOnOfft = 1, mode = 4", 1, kPrint), 1);
    EXPECT_EQ(CountLogs("SetStreamDST, dst="), 0);
    EXPECT_EQ(CountExact("Get StreamDST  bOnOfft = 0", 4, kPrint), 2);
}

TEST_F(StreamClockTest, DstReachesTheStoreOncePerChangeWhileTheStreamIsTheSource)
{
    MakeAutomaticSource(SetType_stream);
    m_clock->SetMode(2);

    m_clock->SetStreamDST(true, 2);
    m_clock->SetStreamDST(true, 2);
    EXPECT_TRUE(m_clock->StreamDST());
    EXPECT_EQ(DstWrites(), 1);
    EXPECT_EQ(dakhost::GetSetting(dakhost::Setting::FlagDst), 1);
    EXPECT_EQ(CountExact("SetStreamDST  bOnOfft = 1, mode = 2", 1, kPrint), 2);
    EXPECT_EQ(CountExact("SetStreamDST, dst=1, mode:2, autoClockType:0", 1, kPrintF), 1);
    EXPECT_EQ(CountExact("Get StreamDST  bOnOfft = 1", 4, kPrint), 1);

    m_clock->SetStreamDST(false, 2);
    EXPECT_FALSE(m_clock->StreamDST());
    EXPECT_EQ(DstWrites(), 2);
    EXPECT_EQ(dakhost::GetSetting(dakhost::Setting::FlagDst), 0);
}

TEST_F(StreamClockTest, DstIsKeptButNotStoredWhileTheNetworkIsTheSource)
{
    MakeAutomaticSource(SetType_net);

    m_clock->SetStreamDST(true, 0);
    EXPECT_TRUE(m_clock->StreamDST());
    EXPECT_EQ(DstWrites(), 0);
    EXPECT_EQ(CountExact("SetStreamDST, dst=1, mode:0, autoClockType:1", 1, kPrintF), 1);
}

TEST_F(StreamClockTest, DstTravelsWithTheNextStreamTimeThatSetsTheSystemTime)
{
    // After a network setting the manager replaces the network's offset and
    // DST by the stream's when the stream takes over.
    MakeAutomaticSource(SetType_net);
    m_clock->SetStreamDST(true, 0);
    ASSERT_EQ(DstWrites(), 0);

    const unsigned long utc = Utc(2024, 7, 1);
    ASSERT_TRUE(m_clock->SetStreamClock(utc, false, 0));
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::PlatformClock(), utc);
    EXPECT_EQ(dakhost::GetSetting(dakhost::Setting::FlagDst), 1);
}

}  // namespace
