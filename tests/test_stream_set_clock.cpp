// Broadcast time tables end to end: which table moves which reading, when
// the stream sets the system time (platform clock, signal 108), the valid
// range and the first stream time in the settings store.
#include <ctime>
#include <ostream>
#include <string>

#include "DakTestFixture.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace {

using dakhost::AgentMode;
using dakhost::Setting;
using dakhost::Via;
using daktest::Utc;

constexpr int kPrint = static_cast<int>(Via::Print);
constexpr int kPrintF = static_cast<int>(Via::PrintF);

unsigned long MonotonicSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned long>(now.tv_sec);
}

bool HasExactLog(const std::string& text, int level, int via)
{
    for (const auto& line : daktest::FindLogs(text, level, via)) {
        if (line.text == text) {
            return true;
        }
    }
    return false;
}

int FirstSttWrites()
{
    int count = 0;
    for (const auto& write : dakhost::SettingWrites()) {
        count += write.setting == Setting::FirstStt ? 1 : 0;
    }
    return count;
}

// Within a minute of `utc`: the readings move with the monotonic clock.
bool ReadsNear(unsigned long reading, unsigned long utc)
{
    return reading >= utc && reading - utc < 60;
}

class StreamSetClock : public DakTest {
protected:
    void SetUp() override
    {
        DakTest::SetUp();
        TIStreamClock::Init();
        m_manager = TISystemTimeManager::Instance();
        ASSERT_TRUE(m_manager->Init());
        dakhost::WaitIdle();
    }

    // Lets a setting of `type` make its source the automatic one.
    void MakeAutomaticSource(ETimeSettingType type)
    {
        ASSERT_TRUE(m_manager->SetSystemTime(Utc(2023, 5, 5), type, false));
        dakhost::WaitIdle();
    }

    TISystemTimeManager* m_manager = nullptr;
};

// ---- the decision table ------------------------------------------------------------

enum class Source { None, Stream, Net };

struct DecisionRow {
    const char* name;
    AgentMode agent;
    int tableMode;  // the clock's own mode is 0
    int tvClockMode;
    bool factory;
    Source source;  // automatic source before the table; None: AutoType_max
    int diff;       // platform clock minus table time
    bool accepted;
    bool setsSystemTime;
    const char* log;  // a line the decision leaves
};

const DecisionRow kDecisions[] = {
    {"AgentDenies", AgentMode::Refuse, 0, 0, true, Source::None, 100, false, false,
     "TCStreamClockManager::SetStreamClock, clockMode[0] != m_clockMode[0] bUpdateSystemTime = 0"},
    {"OtherModeWithAgentAllowing", AgentMode::Answer, 1, 0, true, Source::None, 100, false, false,
     "TCStreamClockManager::SetStreamClock, clockMode[1] != m_clockMode[0] bUpdateSystemTime = 1"},
    {"OtherModeWithoutAgent", AgentMode::None, -1, 0, true, Source::None, 100, false, false,
     "TCStreamClockManager::SetStreamClock, clockMode[-1] != m_clockMode[0] bUpdateSystemTime = 1"},
    {"ManualClockMode", AgentMode::Answer, 0, 1, true, Source::None, 100, true, false,
     "Doesn't set Stream Clock manualClock = 1, UTC = 1700000000"},
    {"OtherManualClockMode", AgentMode::None, 0, 2, true, Source::Stream, 100, true, false,
     "Doesn't set Stream Clock manualClock = 2, UTC = 1700000000"},
    {"NoObjectFactory", AgentMode::None, 0, 0, false, Source::None, 100, true, false,
     "Doesn't set Stream Clock manualClock = 0, UTC = 1700000000"},
    {"StreamSourceFiveAhead", AgentMode::Answer, 0, 0, true, Source::Stream, 5, true, false,
     "oldTime [1700000005], diff [5] autoClockType [0]"},
    {"StreamSourceFiveBehind", AgentMode::None, 0, 0, true, Source::Stream, -5, true, false,
     "oldTime [1699999995], diff [-5] autoClockType [0]"},
    {"StreamSourceSameTime", AgentMode::None, 0, 0, true, Source::Stream, 0, true, false,
     "oldTime [1700000000], diff [0] autoClockType [0]"},
    {"StreamSourceSixAhead", AgentMode::Answer, 0, 0, true, Source::Stream, 6, true, true,
     "oldTime [1700000006], diff [6] autoClockType [0]"},
    {"StreamSourceSixBehind", AgentMode::None, 0, 0, true, Source::Stream, -6, true, true,
     "oldTime [1699999994], diff [-6] autoClockType [0]"},
    {"NoSourceYetSameTime", AgentMode::None, 0, 0, true, Source::None, 0, true, true,
     "oldTime [1700000000], diff [0] autoClockType [2]"},
    {"NetSourceSameTime", AgentMode::Answer, 0, 0, true, Source::Net, 0, true, true,
     "oldTime [1700000000], diff [0] autoClockType [1]"},
    {"AgentOfAnotherKindCountsAsNone", AgentMode::Other, 0, 0, true, Source::Stream, 100, true,
     true, "oldTime [1700000100], diff [100] autoClockType [0]"},
};

void PrintTo(const DecisionRow& row, std::ostream* out)
{
    *out << row.name;
}

class StreamDecision : public StreamSetClock, public ::testing::WithParamInterface<DecisionRow> {};

TEST_P(StreamDecision, TableEndToEnd)
{
    const DecisionRow& row = GetParam();
    const unsigned long utc = 1700000000UL;

    if (!row.factory) {
        dakhost::SelectObjectFactory(dakhost::Region::None);
    }
    TIStreamClock* clock = TIStreamClock::Instance(DAKHandle{});
    ASSERT_NE(clock, nullptr);
    if (row.source == Source::Stream) {
        MakeAutomaticSource(SetType_stream);
    } else if (row.source == Source::Net) {
        MakeAutomaticSource(SetType_net);
    }
    dakhost::SetSetting(Setting::FirstStt, 0);
    dakhost::SetTimeUpdateAgent(row.agent);
    dakhost::SetSetting(Setting::ClockMode, row.tvClockMode);
    const uint32_t platformBefore = static_cast<uint32_t>(static_cast<long long>(utc) + row.diff);
    dakhost::SetPlatformClock(platformBefore);
    const size_t signalsBefore = dakhost::Signals().size();
    dakhost::ClearLogs();

    const unsigned long monotonicBefore = MonotonicSeconds();
    EXPECT_EQ(clock->SetStreamClock(utc, false, row.tableMode), row.accepted);
    EXPECT_EQ(dakhost::AgentReadHolds(), 0);
    dakhost::WaitIdle();

    EXPECT_TRUE(HasExactLog(row.log, -1, kPrint)) << row.log;
    bool isSet = !row.accepted;
    EXPECT_TRUE(ReadsNear(clock->StreamClock(nullptr), utc));
    const unsigned long system = clock->StreamClockOfSystem(&isSet);
    EXPECT_EQ(isSet, row.accepted);
    if (row.accepted) {
        EXPECT_TRUE(ReadsNear(system, utc));
        EXPECT_EQ(dakhost::GetSetting(Setting::FirstStt), static_cast<int>(utc));
    } else {
        EXPECT_GE(system, monotonicBefore);  // still the bare base clock
        EXPECT_LT(system, monotonicBefore + 60);
        EXPECT_EQ(dakhost::GetSetting(Setting::FirstStt), 0);
    }

    EXPECT_EQ(HasExactLog("BPTime_set_current_time 1700000000", 5, kPrint), row.setsSystemTime);
    if (row.setsSystemTime) {
        EXPECT_EQ(dakhost::PlatformClock(), utc);
        ASSERT_EQ(dakhost::Signals().size(), signalsBefore + 1);
        EXPECT_EQ(dakhost::Signals().back().signalId, 108);
        ETypeOfAutoClock source = AutoType_max;
        m_manager->GetAutoClockType(source);
        EXPECT_EQ(source, AutoType_stream);
    } else {
        EXPECT_EQ(dakhost::PlatformClock(), platformBefore);
        EXPECT_EQ(dakhost::Signals().size(), signalsBefore);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, StreamDecision, ::testing::ValuesIn(kDecisions),
                         [](const ::testing::TestParamInfo<DecisionRow>& rowInfo) {
                             return std::string(rowInfo.param.name);
                         });

// ---- valid range -------------------------------------------------------------------

struct RangeRow {
    unsigned long utc;
    bool accepted;
};

void PrintTo(const RangeRow& row, std::ostream* out)
{
    *out << "utc " << row.utc;
}

class StreamRange : public StreamSetClock, public ::testing::WithParamInterface<RangeRow> {};

TEST_P(StreamRange, OnlyTimesFrom2001To2099AreTaken)
{
    const RangeRow& row = GetParam();
    TIStreamClock* clock = TIStreamClock::Instance(DAKHandle{});
    dakhost::ClearLogs();
    const auto writesBefore = dakhost::SettingWrites().size();

    const unsigned long monotonicBefore = MonotonicSeconds();
    EXPECT_EQ(clock->SetStreamClock(row.utc, false, 0), row.accepted);
    EXPECT_EQ(dakhost::AgentReadHolds(), 0);
    dakhost::WaitIdle();

    const std::string utcText = std::to_string(row.utc);
    EXPECT_TRUE(HasExactLog(
        "[TCStreamClock::SetStreamClock] utc " + utcText + ", isScan:0, clockMode:0", 4, kPrint));
    const std::string printText = "TCStreamClockManager::SetStreamClock, Invalid UTC[" + utcText +
                                  " <978307199  - 4102444800>]";
    const std::string printFText = "TCStreamClockManager::SetStreamClock, Invalid UTC[" + utcText +
                                   "  <978307199  - 4102444800>]";
    EXPECT_EQ(HasExactLog(printText, 4, kPrint), !row.accepted);
    EXPECT_EQ(HasExactLog(printFText, 5, kPrintF), !row.accepted);

    const unsigned long stream = clock->StreamClock(nullptr);
    if (row.accepted) {
        EXPECT_TRUE(ReadsNear(stream, row.utc));
        EXPECT_EQ(dakhost::PlatformClock(), static_cast<uint32_t>(row.utc));
        EXPECT_EQ(static_cast<uint32_t>(dakhost::GetSetting(Setting::FirstStt)),
                  static_cast<uint32_t>(row.utc));
    } else {
        EXPECT_GE(stream, monotonicBefore);  // untouched
        EXPECT_LT(stream, monotonicBefore + 60);
        EXPECT_EQ(dakhost::SettingWrites().size(), writesBefore);
        EXPECT_EQ(dakhost::PlatformClock(), Utc(2024, 1, 1));
    }
}

INSTANTIATE_TEST_SUITE_P(Edges, StreamRange,
                         ::testing::Values(RangeRow{0, false}, RangeRow{978307199UL, false},
                                           RangeRow{978307200UL, true},
                                           RangeRow{4102444799UL, true},
                                           RangeRow{4102444800UL, false},
                                           RangeRow{0xFFFFFFFFUL, false}),
                         [](const ::testing::TestParamInfo<RangeRow>& rowInfo) {
                             return "Utc" + std::to_string(rowInfo.param.utc);
                         });

// ---- first stream time -----------------------------------------------------------------

TEST_F(StreamSetClock, FirstStreamTimeIsRecordedOnceOutsideAScanOnly)
{
    DAKHandle handle;
    handle.profileId = -2;
    handle.subId = 9;
    TIStreamClock* clock = TIStreamClock::Instance(handle);
    dakhost::SetSetting(Setting::ClockMode, 1);  // recorded in every clock mode
    dakhost::ClearLogs();

    EXPECT_FALSE(clock->SetStreamClock(Utc(2024, 2, 1), false, 5));  // not accepted
    EXPECT_TRUE(clock->SetStreamClock(Utc(2024, 2, 2), true, 0));    // during a scan
    EXPECT_EQ(FirstSttWrites(), 0);

    const unsigned long first = Utc(2024, 2, 3);
    EXPECT_TRUE(clock->SetStreamClock(first, false, 0));
    EXPECT_TRUE(clock->SetStreamClock(Utc(2024, 2, 4), false, 0));
    EXPECT_EQ(FirstSttWrites(), 1);
    EXPECT_EQ(dakhost::GetSetting(Setting::FirstStt), static_cast<int>(first));
    EXPECT_TRUE(HasExactLog("TCStreamClockManager::SetStreamClock, First STT Set-->UTC[" +
                                std::to_string(first) + "], profileId:-2, subId:9",
                            4, kPrint));
}

TEST_F(StreamSetClock, FirstStreamTimeAlreadyStoredIsKept)
{
    dakhost::SetSetting(Setting::FirstStt, 1234);
    TIStreamClock* clock = TIStreamClock::Instance(DAKHandle{});
    EXPECT_TRUE(clock->SetStreamClock(Utc(2024, 2, 3), false, 0));
    EXPECT_EQ(FirstSttWrites(), 0);
    EXPECT_EQ(dakhost::GetSetting(Setting::FirstStt), 1234);
}

}  // namespace
