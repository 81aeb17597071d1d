// When a broadcast time table may set the system time, one row per path
// through SetStreamClock: result, readings flag, first stream time, platform
// clock, signal 108, the stream DST flag, and the agent read lock released.
#include <ostream>
#include <string>

#include "DakTestFixture.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace {

using dakhost::AgentMode;
using dakhost::Setting;

enum class Source { None, Stream, Net };  // automatic source before the table

struct DecisionRow {
    const char* name;
    AgentMode agent;
    int tableMode;  // the clock's own mode is 0
    int tvClockMode;
    bool factory;
    Source source;
    int diff;  // platform clock minus table time
    bool accepted;
    bool setsSystemTime;
    bool dstKept;     // SetStreamDST(true, 0) before the table took effect
    int storedDst;    // settings-store DST after the table
    const char* log;  // a line the path leaves
};

const DecisionRow kDecisions[] = {
    {"AgentDenies", AgentMode::Refuse, 0, 0, true, Source::None, 100, false, false, true, 0,
     "clockMode[0] != m_clockMode[0] bUpdateSystemTime = 0"},
    {"OtherMode", AgentMode::Answer, 1, 0, true, Source::None, 100, false, false, true, 0,
     "clockMode[1] != m_clockMode[0] bUpdateSystemTime = 1"},
    {"ManualClockMode", AgentMode::Answer, 0, 1, true, Source::Stream, 100, true, false, false, 0,
     "Doesn't set Stream Clock manualClock = 1, UTC = 1700000000"},
    {"NoObjectFactory", AgentMode::None, 0, 0, false, Source::None, 100, true, false, true, 0,
     "Doesn't set Stream Clock manualClock = 0, UTC = 1700000000"},
    {"StreamSourceFiveAhead", AgentMode::Answer, 0, 0, true, Source::Stream, 5, true, false, true,
     1, "oldTime [1700000005], diff [5] autoClockType [0]"},
    {"StreamSourceFiveBehind", AgentMode::None, 0, 0, true, Source::Stream, -5, true, false, true,
     1, "oldTime [1699999995], diff [-5] autoClockType [0]"},
    {"StreamSourceSixAhead", AgentMode::Answer, 0, 0, true, Source::Stream, 6, true, true, true, 1,
     "oldTime [1700000006], diff [6] autoClockType [0]"},
    {"StreamSourceSixBehind", AgentMode::None, 0, 0, true, Source::Stream, -6, true, true, true, 1,
     "oldTime [1699999994], diff [-6] autoClockType [0]"},
    {"NoSourceYetSameTime", AgentMode::None, 0, 0, true, Source::None, 0, true, true, true, 0,
     "oldTime [1700000000], diff [0] autoClockType [2]"},
    // Taking over from the network, the stream's DST replaces the stored one.
    {"NetSourceSameTime", AgentMode::Answer, 0, 0, true, Source::Net, 0, true, true, true, 1,
     "oldTime [1700000000], diff [0] autoClockType [1]"},
    {"AgentOfAnotherKind", AgentMode::Other, 0, 0, true, Source::Stream, 100, true, true, true, 1,
     "oldTime [1700000100], diff [100] autoClockType [0]"},
};

void PrintTo(const DecisionRow& row, std::ostream* out)
{
    *out << row.name;
}

class StreamDecision : public DakTest, public ::testing::WithParamInterface<DecisionRow> {};

TEST_P(StreamDecision, Table)
{
    const DecisionRow& row = GetParam();
    const unsigned long utc = 1700000000UL;
    TIStreamClock::Init();
    TISystemTimeManager* manager = TISystemTimeManager::Instance();
    ASSERT_TRUE(manager->Init());
    if (row.source != Source::None) {
        const auto type = row.source == Source::Stream ? SetType_stream : SetType_net;
        ASSERT_TRUE(manager->SetSystemTime(1600000000UL, type, false));
    }
    dakhost::WaitIdle();
    dakhost::SelectObjectFactory(row.factory ? dakhost::Region::KR : dakhost::Region::None);
    TIStreamClock* clock = TIStreamClock::Instance(DAKHandle{});
    dakhost::SetSetting(Setting::FirstStt, 0);
    dakhost::SetSetting(Setting::FlagDst, 0);
    dakhost::SetTimeUpdateAgent(row.agent);
    dakhost::SetSetting(Setting::ClockMode, row.tvClockMode);
    clock->SetStreamDST(true, 0);
    EXPECT_EQ(clock->StreamDST(), row.dstKept);
    // Stored at once only while the stream is the source.
    EXPECT_EQ(dakhost::GetSetting(Setting::FlagDst),
              row.dstKept && row.source == Source::Stream ? 1 : 0);
    const auto platformBefore = static_cast<uint32_t>(static_cast<long long>(utc) + row.diff);
    dakhost::SetPlatformClock(platformBefore);
    const size_t signalsBefore = dakhost::Signals().size();
    dakhost::ClearLogs();

    EXPECT_EQ(clock->SetStreamClock(utc, false, row.tableMode), row.accepted);
    EXPECT_EQ(dakhost::AgentReadHolds(), 0);
    dakhost::WaitIdle();

    EXPECT_TRUE(daktest::HasLog(row.log, 5)) << row.log;
    bool isSet = !row.accepted;
    clock->StreamClockOfSystem(&isSet);
    EXPECT_EQ(isSet, row.accepted);
    EXPECT_EQ(dakhost::GetSetting(Setting::FirstStt), row.accepted ? static_cast<int>(utc) : 0);
    EXPECT_EQ(dakhost::PlatformClock(), row.setsSystemTime ? utc : platformBefore);
    EXPECT_EQ(dakhost::Signals().size(), signalsBefore + (row.setsSystemTime ? 1U : 0U));
    EXPECT_EQ(dakhost::GetSetting(Setting::FlagDst), row.storedDst);
    if (row.setsSystemTime) {
        EXPECT_EQ(dakhost::Signals().back().signalId, 108);
        ETypeOfAutoClock source = AutoType_max;
        manager->GetAutoClockType(source);
        EXPECT_EQ(source, AutoType_stream);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, StreamDecision, ::testing::ValuesIn(kDecisions),
                         [](const ::testing::TestParamInfo<DecisionRow>& rowInfo) {
                             return std::string(rowInfo.param.name);
                         });

}  // namespace
