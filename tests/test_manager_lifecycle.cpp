// The manager's lifecycle: singleton, construction and destruction, start-up,
// the dispatch of its events and the settings callbacks.

#include <string>
#include <vector>

#include "test_manager_support.h"

using namespace mgrtest;
using dakhost::Via;
using daktest::CountLogs;
using daktest::HasLog;

namespace {

constexpr int kPrint = static_cast<int>(Via::Print);
constexpr int kPrintF = static_cast<int>(Via::PrintF);

int LibraryLines()
{
    int count = 0;
    for (const auto& line : dakhost::Logs()) {
        count += (line.via == Via::Print || line.via == Via::PrintF) ? 1 : 0;
    }
    return count;
}

}  // namespace

class ManagerLifecycle : public DakTest {};

TEST_F(ManagerLifecycle, InstanceIsOneObjectAndExitLeavesAFreshStoppedOne)
{
    TISystemTimeManager::Exit();  // before any Instance(): nothing happens
    EXPECT_TRUE(dakhost::SettingWrites().empty());

    TISystemTimeManager* first = Mgr();
    EXPECT_EQ(first, Mgr());
    ASSERT_TRUE(first->Init());
    EXPECT_EQ(dakhost::TaskCount(), 1);

    TISystemTimeManager::Exit();
    EXPECT_EQ(dakhost::TaskCount(), 0);
    EXPECT_EQ(dakhost::AlarmCount(), 0);
    dakhost::ClearLogs();
    EXPECT_FALSE(Mgr()->SetSystemTime(Utc(2024, 3, 5), SetType_stream, false));
    EXPECT_TRUE(HasLog("[TCSystemTimeManager::SetSystemTime] TCSystemTimeManager isn't Created"));
    EXPECT_TRUE(Mgr()->Init());
}

TEST_F(ManagerLifecycle, DestroyWithoutInitOnlyWritesTheAutoClockTypeTwice)
{
    Mgr();
    TISystemTimeManager::Exit();
    const auto writes = dakhost::SettingWrites();
    ASSERT_EQ(writes.size(), 2U);
    for (const auto& write : writes) {
        EXPECT_EQ(write.setting, Setting::AutoClockType);
        EXPECT_EQ(write.value, AutoType_max);
    }
    EXPECT_EQ(LibraryLines(), 0);
    EXPECT_FALSE(HasLog("FlagCreate()", -1, static_cast<int>(Via::Assert)));
    EXPECT_TRUE(dakhost::SubscriptionCalls().empty());
}

TEST_F(ManagerLifecycle, DestroyStopsTheTaskAndWithdrawsEverySubscription)
{
    dakhost::SetSetting(Setting::ClockMode, 1);
    ASSERT_TRUE(Mgr()->Init());
    dakhost::WaitIdle();
    ASSERT_TRUE(dakhost::IsSubscribed(2));
    ASSERT_TRUE(dakhost::IsSubscribed(3));

    TISystemTimeManager::Exit();
    EXPECT_TRUE(HasLog("[TCSystemTimeManager::~TCSystemTimeManager] thread destroy\n", 4, kPrint));
    EXPECT_FALSE(dakhost::IsSubscribed(2));
    EXPECT_FALSE(dakhost::IsSubscribed(3));
    EXPECT_EQ(SubscriptionCallCount(2, false), 1);
    EXPECT_EQ(SubscriptionCallCount(3, false), 1);
    EXPECT_EQ(dakhost::TaskCount(), 0);
    EXPECT_EQ(dakhost::AlarmCount(), 0);
    EXPECT_FALSE(HasLog("FlagCreate()", -1, static_cast<int>(Via::Assert)));
    EXPECT_EQ(dakhost::SettingWrites().back().setting, Setting::AutoClockType);
    EXPECT_EQ(dakhost::SettingWrites().back().value, AutoType_max);

    dakhost::SetSetting(Setting::ClockMode, 0);  // nobody may be called back now
    dakhost::SetSetting(Setting::Presentation, 1);
    EXPECT_FALSE(HasLog("OnVConfCallback"));
}

TEST_F(ManagerLifecycle, MissingObjectFactoryIsReportedAndStartUpAssumesNoBattery)
{
    dakhost::SelectObjectFactory(dakhost::Region::None);
    dakhost::CaptureStdout(true);
    Mgr();
    dakhost::CollectStdout();
    EXPECT_TRUE(HasLog("pObjectFactory", -1, static_cast<int>(Via::Assert)));
    EXPECT_TRUE(HasLog("ASSERT!, Func:TCSystemTimeManager", -1, static_cast<int>(Via::Stdout)));

    dakhost::SetSetting(Setting::Reason, Reason_micom);
    ASSERT_TRUE(Mgr()->Init());
    dakhost::WaitIdle();
    EXPECT_TRUE(HasLog("no product helper"));
    EXPECT_TRUE(HasLog("isMasterPowerOn:1 ExistBackupBattery:0", 1, kPrintF));
    EXPECT_EQ(dakhost::GetSetting(Setting::Reason), Reason_init);
    EXPECT_TRUE(Mgr()->SetSystemTime(Utc(2024, 3, 5), SetType_stream, false));
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::PlatformClock(), Utc(2024, 3, 5));
}

TEST_F(ManagerLifecycle, SecondInitChangesNothing)
{
    ASSERT_TRUE(Mgr()->Init());
    dakhost::WaitIdle();
    const auto calls = dakhost::SubscriptionCalls().size();
    const auto writes = dakhost::SettingWrites().size();
    dakhost::ClearLogs();

    EXPECT_FALSE(Mgr()->Init());
    dakhost::WaitIdle();
    EXPECT_EQ(CountLogs("[TCSystemTimeManager::Init] TCSystemTimeManager is already Created", 4),
              2);
    EXPECT_EQ(LibraryLines(), 2);
    EXPECT_EQ(dakhost::SubscriptionCalls().size(), calls);
    EXPECT_EQ(dakhost::SettingWrites().size(), writes);
    EXPECT_EQ(dakhost::AlarmCount(), 1);
}

TEST_F(ManagerLifecycle, MutexFailureLeavesNoAlarmNoSubscriptionAndTheTaskIsStillStopped)
{
    dakhost::FailMutexCreate(true);
    EXPECT_FALSE(Mgr()->Init());
    EXPECT_TRUE(HasLog("[TCSystemTimeManager::Init] Mutex create failed.", 1, kPrint));
    EXPECT_EQ(dakhost::AlarmCount(), 0);
    EXPECT_TRUE(dakhost::SubscriptionCalls().empty());
    EXPECT_EQ(dakhost::TaskCount(), 1);

    TISystemTimeManager::Exit();
    EXPECT_EQ(dakhost::TaskCount(), 0);
    EXPECT_FALSE(HasLog("FlagCreate()", -1, static_cast<int>(Via::Assert)));
}

TEST_F(ManagerLifecycle, TaskFailureIsSeenByTheReplayAndARetriedInitSubscribesOnce)
{
    dakhost::SetMasterPower(false);
    dakhost::SetSetting(Setting::Reason, Reason_micom);
    dakhost::FailTaskCreate(true);
    EXPECT_TRUE(Mgr()->Init());
    EXPECT_TRUE(HasLog("[TCSystemTimeManager::SetSystemTime] TCSystemTimeManager isn't Created"));
    EXPECT_EQ(dakhost::AlarmCount(), 1);
    EXPECT_TRUE(dakhost::IsSubscribed(3));

    dakhost::FailTaskCreate(false);
    EXPECT_TRUE(Mgr()->Init());
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::AlarmCount(), 1);
    EXPECT_EQ(SubscriptionCallCount(3, true), 1);
    EXPECT_EQ(SignalType(0), SetType_init);  // the replay got through this time
}

// Start-up: the power situation and the stored reason decide the replay.
struct InitCase {
    const char* name;
    bool power;
    int reason;
    int64_t rtc;
    bool replayed;
    uint32_t clockAfter;  // when replayed
    int reasonAfter;
    bool timeModeSubscribed;  // clock mode is manual throughout
};

class ManagerInit : public DakTest, public ::testing::WithParamInterface<InitCase> {};

TEST_P(ManagerInit, ReplaysTheHardwareClockWhereTheRulesAllow)
{
    const InitCase& c = GetParam();
    dakhost::SetMasterPower(c.power);
    dakhost::SetSetting(Setting::Reason, c.reason);
    dakhost::SetSetting(Setting::ClockMode, 1);
    dakhost::SetRtc(c.rtc);
    const uint32_t clockBefore = dakhost::PlatformClock();

    EXPECT_TRUE(Mgr()->Init());
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::Signals().size(), c.replayed ? 1U : 0U);
    EXPECT_EQ(dakhost::PlatformClock(), c.replayed ? c.clockAfter : clockBefore);
    EXPECT_EQ(dakhost::GetSetting(Setting::Reason), c.reasonAfter);
    EXPECT_EQ(dakhost::IsSubscribed(2), c.timeModeSubscribed);
    EXPECT_EQ(SubscriptionCallCount(2, true), c.timeModeSubscribed ? 1 : 0);
    EXPECT_TRUE(dakhost::IsSubscribed(3));
    EXPECT_EQ(dakhost::AlarmCount(), 1);
}

constexpr uint32_t kMarch5 = 1709632800U;  // 2024-03-05T10:00:00Z

INSTANTIATE_TEST_SUITE_P(
    Table, ManagerInit,
    ::testing::Values(
        InitCase{"PowerOnNoBattery", true, Reason_micom, kMarch5, false, 0, Reason_init, true},
        InitCase{"StoredInit", false, Reason_init, kMarch5, false, 0, Reason_init, true},
        InitCase{"StoredMicom", false, Reason_micom, kMarch5, true, kMarch5, Reason_micom, true},
        InitCase{"StoredNet", false, Reason_net, kMarch5, true, kMarch5, Reason_net, true},
        InitCase{"StoredStream", false, Reason_stream, kMarch5, true, kMarch5, Reason_stream,
                 false},
        InitCase{"StoredOutsideVocabulary", false, 9, kMarch5, true, kMarch5, Reason_micom, true},
        InitCase{"RtcAt2100", false, Reason_micom, Utc(2100, 1, 1), true, 978307200U, Reason_micom,
                 true},
        InitCase{"RtcBefore2001", false, Reason_micom, 978307199, false, 0, Reason_micom, true},
        // Past 2106 the 32-bit reading wraps to 1973, which is below the range.
        InitCase{"RtcPast2106", false, Reason_micom, Utc(2110, 1, 1), false, 0, Reason_micom,
                 true}),
    [](const auto& param) { return std::string(param.param.name); });

TEST_F(ManagerInit, UnreadableHardwareClockIsNotReplayed)
{
    dakhost::SetMasterPower(false);
    dakhost::SetSetting(Setting::Reason, Reason_micom);
    dakhost::SetRtcPresent(false);
    EXPECT_TRUE(Mgr()->Init());
    dakhost::WaitIdle();
    EXPECT_TRUE(HasLog("[TCSystemTimeManager::t_GetRTCTime] open fail", 1, kPrint));
    EXPECT_TRUE(HasLog("hardware clock unreadable, no replay", 1));
    EXPECT_FALSE(HasLog("t_IsPossibleUpdateTime"));
    EXPECT_FALSE(HasLog("SetSystemTime"));
    EXPECT_TRUE(dakhost::Signals().empty());
}

TEST_F(ManagerInit, LogsThePowerSituationAndResetsTheStoredStateWithoutBattery)
{
    dakhost::SetSetting(Setting::Reason, Reason_net);
    dakhost::SetSetting(Setting::FlagDst, 1);
    EXPECT_TRUE(Mgr()->Init());
    EXPECT_TRUE(
        HasLog("[TCSystemTimeManager::Init , isMasterPowerOn:1 ExistBackupBattery:0\n", 1, kPrint));
    EXPECT_TRUE(
        HasLog("[TCSystemTimeManager::Init] isMasterPowerOn:1 ExistBackupBattery:0\n", 1, kPrintF));
    EXPECT_EQ(dakhost::GetSetting(Setting::FlagDst), 0);
    EXPECT_TRUE(
        HasLog("InitSystemTime \033[1;36m UTC=1704067200, Reason_init, AutoType_max, "
               "SetType_init,   isMasterPowerOn=1 \033[0m",
               1, kPrintF));
}

// The task's events: payload decoding and the settings callbacks.
class ManagerEvents : public DakTest {};

TEST_F(ManagerEvents, SetTimePayloadIsDecodedWithItsSign)
{
    StartQuiet();
    // Type -1 and 65535 are the same 16-bit word; it is read back as -1.
    EXPECT_TRUE(Mgr()->SetSystemTime(Utc(2024, 3, 5), static_cast<ETimeSettingType>(65535), false));
    dakhost::WaitIdle();
    EXPECT_TRUE(
        HasLog("[TCSystemTimeManager::t_SetSystemTime] UTC = 1709596800,  SetType_unknown"));
    EXPECT_EQ(SignalType(0), 0xFFFF);
    EXPECT_EQ(dakhost::GetSetting(Setting::Reason), Reason_init);

    // A net setting leaves the network offset in charge, so the stream setting
    // that follows stores its daylight-saving word: any non-zero word is true.
    for (const uint16_t dstWord : {uint16_t{2}, uint16_t{0x0100}}) {
        dakhost::SetSetting(Setting::FlagDst, 0);
        ASSERT_TRUE(Mgr()->SetSystemTime(Utc(2024, 3, 5), SetType_net, false));
        uint8_t payload[8] = {};
        const uint32_t utc = Utc(2024, 3, 6);
        const int16_t type = SetType_stream;
        std::memcpy(&payload[0], &utc, 4);
        std::memcpy(&payload[4], &type, 2);
        std::memcpy(&payload[6], &dstWord, 2);
        ASSERT_TRUE(PostRaw(TCSystemTimeManager::EVENT_SET_SYSTEM_TIME, payload));
        dakhost::WaitIdle();
        EXPECT_EQ(dakhost::GetSetting(Setting::FlagDst), 1) << dstWord;
        EXPECT_EQ(dakhost::PlatformClock(), utc);
    }
}

TEST_F(ManagerEvents, UnknownAndPresentationEventsAreConsumed)
{
    StartQuiet();
    const uint8_t payload[8] = {3};
    ASSERT_TRUE(PostRaw(TCSystemTimeManager::EVENT_PRESENTATION_TIME_CHANGED, payload));
    ASSERT_TRUE(PostRaw(12345, payload));
    dakhost::WaitIdle();
    EXPECT_EQ(LibraryLines(), 0);
    EXPECT_EQ(dakhost::TaskCount(), 1);
}

TEST_F(ManagerEvents, CallbacksPostOnlyForTheirThreeParameters)
{
    StartQuiet();
    dakhost::SetSetting(Setting::ClockMode, 1);  // the task keeps its hands off the network path
    auto* subscriber = Subscriber();
    ASSERT_NE(subscriber, nullptr);

    for (const int param : {0, 4}) {
        subscriber->OnVConfCallback(static_cast<IVConfCallbackSubscriber::EVConfParam>(param),
                                    nullptr);
    }
    dakhost::WaitIdle();
    EXPECT_EQ(LibraryLines(), 0);

    subscriber->OnVConfCallback(IVConfCallbackSubscriber::E_VCONF_NETWORK_TIME, nullptr);
    dakhost::WaitIdle();
    EXPECT_TRUE(HasLog("[TCSystemTimeManager::OnVConfCallback] received type:1, Send ret=1", 4));
    EXPECT_TRUE(
        HasLog("[TCSystemTimeManager::t_OnEvent] vconf callback becase of [NETWORKTIME_SET]", 5));
    EXPECT_TRUE(HasLog("current clock mode is Manual"));

    dakhost::ClearLogs();
    subscriber->OnVConfCallback(IVConfCallbackSubscriber::E_VCONF_TIME_MODE, nullptr);
    dakhost::WaitIdle();
    EXPECT_TRUE(HasLog("received type:2, Send ret=1"));
    EXPECT_TRUE(HasLog("vconf callback becase of [CLOCK_SET]"));

    dakhost::ClearLogs();
    subscriber->OnVConfCallback(IVConfCallbackSubscriber::E_VCONF_PRESENTATION_TIME, nullptr);
    dakhost::WaitIdle();
    EXPECT_TRUE(HasLog(
        "[TCSystemTimeManager::OnVConfCallback] PRESENTATION_TIME is set, received type:3, Send "
        "ret=1"));
    EXPECT_EQ(LibraryLines(), 1);

    dakhost::ClearLogs();
    dakhost::FailSend(true);
    subscriber->OnVConfCallback(IVConfCallbackSubscriber::E_VCONF_NETWORK_TIME, nullptr);
    EXPECT_TRUE(HasLog("received type:1, Send ret=0"));
}

TEST(ManagerNames, EveryValuePrintsItsNameAndOthersTheUnknownName)
{
    const std::vector<std::pair<int, const char*>> types = {
        {0, "SetType_manual"},  {1, "SetType_stream"},       {2, "SetType_net"},
        {3, "SetType_unknown"}, {4, "SetType_netfail"},      {5, "SetType_sync"},
        {6, "SetType_init"},    {7, "SetType_facotryreset"}, {8, "SetType_unknown"},
        {-1, "SetType_unknown"}};
    for (const auto& [value, name] : types) {
        EXPECT_STREQ(TCSystemTimeManager::t_ToString(static_cast<ETimeSettingType>(value)), name);
    }
    const std::vector<std::pair<int, const char*>> reasons = {
        {0, "Reason_init"},   {1, "Reason_micom"},   {2, "Reason_net"},
        {3, "Reason_stream"}, {4, "Reason_unknown"}, {-1, "Reason_unknown"}};
    for (const auto& [value, name] : reasons) {
        EXPECT_STREQ(TCSystemTimeManager::t_ToString(static_cast<ESystemTimeReason>(value)), name);
    }
    const std::vector<std::pair<int, const char*>> autoTypes = {{0, "AutoType_stream"},
                                                                {1, "AutoType_net"},
                                                                {2, "AutoType_max"},
                                                                {3, "AutoType_unknown"},
                                                                {-1, "AutoType_unknown"}};
    for (const auto& [value, name] : autoTypes) {
        EXPECT_STREQ(TCSystemTimeManager::t_ToString(static_cast<ETypeOfAutoClock>(value)), name);
    }
}
