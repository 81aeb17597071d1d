// The stream clock registry: one clock per handle, found again in any order,
// and no clock at all outside Init..Exit.
#include <climits>
#include <iterator>
#include <set>

#include "DakTestFixture.h"
#include "TIStreamClock.h"

namespace {

using dakhost::Via;

// Assertions reported by the stream clock sources.
int StreamAsserts(const char* expression)
{
    int count = 0;
    for (const auto& line : daktest::FindLogs(expression, -1, static_cast<int>(Via::Assert))) {
        count += line.text == expression && line.function == "src/StreamClock" ? 1 : 0;
    }
    return count;
}

int StdoutLines(const char* text)
{
    return daktest::CountLogs(text, -1, static_cast<int>(Via::Stdout));
}

class StreamRegistry : public DakTest {
protected:
    void SetUp() override
    {
        DakTest::SetUp();
        // Without an object factory every construction reports "pObjectFactory"
        // once, which makes constructions countable.
        dakhost::SelectObjectFactory(dakhost::Region::None);
        dakhost::CaptureStdout(true);
    }
};

TEST_F(StreamRegistry, EachHandleHasOneClockFoundAgainInAnyOrder)
{
    TIStreamClock::Init();
    const DAKHandle handles[] = {{INT_MIN, 0}, {-1, 0},     {-1, 1}, {0, 0},           {1, 0},
                                 {1, 1},       {1, 0xFFFF}, {2, 0},  {INT_MAX, 0xFFFF}};
    const int count = static_cast<int>(std::size(handles));
    std::set<TIStreamClock*> clocks;
    for (int i = 0; i < count; ++i) {
        TIStreamClock* clock = TIStreamClock::Instance(handles[i]);
        ASSERT_NE(clock, nullptr);
        EXPECT_EQ(TIStreamClock::Instance(DAKHandle{handles[i].profileId, handles[i].subId}),
                  clock);
        clock->SetMode(100 + i);
        clocks.insert(clock);
    }
    EXPECT_EQ(static_cast<int>(clocks.size()), count);

    TIStreamClock::Init();  // again: keeps the clocks
    for (int i = count - 1; i >= 0; --i) {
        EXPECT_EQ(TIStreamClock::Instance(handles[i])->GetMode(), 100 + i)
            << handles[i].profileId << "/" << handles[i].subId;
    }
    EXPECT_EQ(StreamAsserts("pObjectFactory"), count);
    dakhost::CollectStdout();
    EXPECT_EQ(StdoutLines("ASSERT!, Func:TCStreamClock"), count);
}

TEST_F(StreamRegistry, NoClockBeforeInitOrAfterExit)
{
    EXPECT_EQ(TIStreamClock::Instance(DAKHandle{}), nullptr);
    TIStreamClock::Init();
    for (int profileId : {9, -4, 2}) {
        TIStreamClock::Instance(DAKHandle{profileId, 1})->SetMode(profileId);
    }
    TIStreamClock::Exit();
    TIStreamClock::Exit();  // does nothing
    EXPECT_EQ(TIStreamClock::Instance(DAKHandle{}), nullptr);

    dakhost::CollectStdout();
    EXPECT_EQ(StreamAsserts("t_pStreamClockMutex != __null"), 2);
    EXPECT_EQ(StdoutLines("ASSERT!, Func:Instance"), 2);
    EXPECT_EQ(StreamAsserts("pObjectFactory"), 3);  // none made outside the registry

    TIStreamClock::Init();  // a new registry starts empty
    EXPECT_EQ(TIStreamClock::Instance(DAKHandle{-4, 1})->GetMode(), 0);
    EXPECT_EQ(StreamAsserts("pObjectFactory"), 4);
}

}  // namespace
