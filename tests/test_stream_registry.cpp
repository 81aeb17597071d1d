// The stream clock registry: one clock per service handle, created on first
// use, all of them gone after Exit.
#include <climits>
#include <set>
#include <string>
#include <vector>

#include "DakTestFixture.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace {

using daktest::CountLogs;

DAKHandle Handle(int32_t profileId, uint16_t subId)
{
    DAKHandle handle;
    handle.profileId = profileId;
    handle.subId = subId;
    return handle;
}

// Assertions reported by the stream clock sources.
int StreamAsserts(const std::string& expression)
{
    int count = 0;
    for (const auto& line :
         daktest::FindLogs(expression, -1, static_cast<int>(dakhost::Via::Assert))) {
        count += line.text == expression && line.function == "src/StreamClock" ? 1 : 0;
    }
    return count;
}

// Constructing a clock without an object factory leaves exactly one
// "pObjectFactory" assertion, which makes constructions countable.
int Constructions()
{
    return StreamAsserts("pObjectFactory");
}

class StreamRegistry : public DakTest {};

TEST_F(StreamRegistry, EqualHandlesShareOneClockBuiltOnce)
{
    TIStreamClock::Init();
    TISystemTimeManager::Instance();  // built with its factory, before it goes
    dakhost::SelectObjectFactory(dakhost::Region::None);
    dakhost::CaptureStdout(true);

    TIStreamClock* first = TIStreamClock::Instance(Handle(3, 7));
    ASSERT_NE(first, nullptr);
    const DAKHandle copy = Handle(3, 7);
    EXPECT_EQ(TIStreamClock::Instance(copy), first);
    EXPECT_EQ(TIStreamClock::Instance(Handle(3, 7)), first);
    EXPECT_EQ(Constructions(), 1);
    dakhost::CollectStdout();
    EXPECT_EQ(CountLogs("ASSERT!, Func:TCStreamClock", -1, static_cast<int>(dakhost::Via::Stdout)),
              1);
}

TEST_F(StreamRegistry, HandlesDifferingInOneFieldGetTheirOwnClock)
{
    TIStreamClock::Init();
    const std::vector<DAKHandle> handles = {
        Handle(INT_MIN, 0), Handle(-1, 0),
        Handle(-1, 1),      Handle(0, 0),
        Handle(1, 0),       Handle(1, 1),
        Handle(1, 0xFFFF),  Handle(2, 0),
        Handle(INT_MAX, 0), Handle(INT_MAX, 0xFFFF),
    };
    std::set<TIStreamClock*> clocks;
    for (size_t i = 0; i < handles.size(); ++i) {
        TIStreamClock* clock = TIStreamClock::Instance(handles[i]);
        ASSERT_NE(clock, nullptr);
        clock->SetMode(static_cast<int>(i) + 100);
        clocks.insert(clock);
    }
    EXPECT_EQ(clocks.size(), handles.size());

    // Asked again in reverse order, each handle finds its own clock and state.
    for (size_t i = handles.size(); i-- > 0;) {
        EXPECT_EQ(TIStreamClock::Instance(handles[i])->GetMode(), static_cast<int>(i) + 100)
            << "profileId " << handles[i].profileId << " subId " << handles[i].subId;
    }
}

TEST_F(StreamRegistry, InstanceWithoutRegistryReportsAndReturnsNull)
{
    dakhost::SelectObjectFactory(dakhost::Region::None);
    dakhost::CaptureStdout(true);

    EXPECT_EQ(TIStreamClock::Instance(Handle(1, 0)), nullptr);  // before Init
    TIStreamClock::Init();
    ASSERT_NE(TIStreamClock::Instance(Handle(1, 0)), nullptr);
    TIStreamClock::Exit();
    EXPECT_EQ(TIStreamClock::Instance(Handle(1, 0)), nullptr);  // after Exit

    dakhost::CollectStdout();
    dakhost::CaptureStdout(false);
    EXPECT_EQ(StreamAsserts("t_pStreamClockMutex != __null"), 2);
    EXPECT_EQ(CountLogs("ASSERT!, Func:Instance", -1, static_cast<int>(dakhost::Via::Stdout)), 2);
    // Only the one clock made while the registry existed.
    EXPECT_EQ(Constructions(), 1);
}

TEST_F(StreamRegistry, InitAgainKeepsTheClocks)
{
    TIStreamClock::Init();
    TIStreamClock* clock = TIStreamClock::Instance(Handle(5, 5));
    clock->SetMode(7);

    TIStreamClock::Init();
    EXPECT_EQ(TIStreamClock::Instance(Handle(5, 5)), clock);
    EXPECT_EQ(clock->GetMode(), 7);
}

TEST_F(StreamRegistry, ExitDestroysEveryClockAndInitStartsEmpty)
{
    TIStreamClock::Init();
    dakhost::SelectObjectFactory(dakhost::Region::None);
    for (int profileId : {9, -4, 2}) {
        TIStreamClock* clock = TIStreamClock::Instance(Handle(profileId, 1));
        clock->SetMode(profileId);
        clock->SetDVBTimeOffset(1300000000, 60, 0);
    }
    EXPECT_EQ(Constructions(), 3);

    // Destruction itself is checked by the sanitizer builds (leaks, use
    // after free); here: nothing of the old clocks survives.
    TIStreamClock::Exit();
    TIStreamClock::Exit();  // a second Exit does nothing
    TIStreamClock::Init();
    for (int profileId : {9, -4, 2}) {
        TIStreamClock* clock = TIStreamClock::Instance(Handle(profileId, 1));
        ASSERT_NE(clock, nullptr);
        EXPECT_EQ(clock->GetMode(), 0);
        unsigned long timeOfchange = 1;
        int next = 2;
        int local = 3;
        EXPECT_FALSE(clock->GetDVBTimeOffset(timeOfchange, next, local));
    }
    EXPECT_EQ(Constructions(), 6);
}

}  // namespace
