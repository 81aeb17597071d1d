// The manager's lifecycle (singleton, destruction, failures while starting)
// and what its task makes of raw events and callbacks. Start-up itself, the
// callbacks' effects and the fault reports are covered by the scenarios.

#include "test_manager_support.h"

using namespace mgrtest;

class ManagerLifecycle : public DakTest {};

TEST_F(ManagerLifecycle, InstanceIsOneObjectAndExitLeavesAFreshStoppedOne)
{
    TISystemTimeManager::Exit();  // before any Instance(): nothing happens
    EXPECT_TRUE(dakhost::SettingWrites().empty());
    TISystemTimeManager* first = Mgr();
    EXPECT_EQ(first, Mgr());
    ASSERT_TRUE(first->Init());
    TISystemTimeManager::Exit();
    EXPECT_EQ(dakhost::TaskCount(), 0);
    EXPECT_EQ(dakhost::AlarmCount(), 0);
    EXPECT_FALSE(Mgr()->SetSystemTime(kT, SetType_stream, false));  // not running
    EXPECT_EQ(dakhost::TaskCount(), 0);
    EXPECT_TRUE(Mgr()->Init());
}

TEST_F(ManagerLifecycle, DestroyWithoutInitPostsNothingAndWritesTheAutoClockTypeTwice)
{
    Mgr();
    TISystemTimeManager::Exit();
    const auto writes = dakhost::SettingWrites();
    ASSERT_EQ(writes.size(), 2U);
    for (const auto& write : writes) {
        EXPECT_EQ(write.setting, Setting::AutoClockType);
        EXPECT_EQ(write.value, AutoType_max);
    }
    EXPECT_TRUE(dakhost::Logs().empty());  // no stop event, no assertion of the framework
    EXPECT_TRUE(dakhost::SubscriptionCalls().empty());
}

TEST_F(ManagerLifecycle, DestroyWithdrawsEverySubscriptionOnce)
{
    StartQuiet();
    EXPECT_TRUE(Mgr()->SetSystemTimeByNetworkTime());  // no network time yet: watches its state
    dakhost::SetSetting(Setting::ClockMode, 1);
    EXPECT_FALSE(Mgr()->SetSystemTimeByNetworkTime());  // manual clock: watches the clock mode
    dakhost::WaitIdle();
    ASSERT_TRUE(dakhost::IsSubscribed(1) && dakhost::IsSubscribed(2) && dakhost::IsSubscribed(3));

    TISystemTimeManager::Exit();
    for (const int param : {1, 2, 3}) {
        EXPECT_FALSE(dakhost::IsSubscribed(param)) << param;
        EXPECT_EQ(SubscriptionCallCount(param, false), 1) << param;
    }
    EXPECT_FALSE(HasLog("FlagCreate()"));
}

TEST_F(ManagerLifecycle, WithoutObjectFactoryStartUpAssumesNoBackupBattery)
{
    dakhost::SelectObjectFactory(dakhost::Region::None);
    dakhost::SetSetting(Setting::Reason, Reason_micom);
    ASSERT_TRUE(Mgr()->Init());
    dakhost::WaitIdle();
    EXPECT_TRUE(HasLog("pObjectFactory", -1, static_cast<int>(dakhost::Via::Assert)));
    EXPECT_EQ(dakhost::GetSetting(Setting::Reason), Reason_init);  // main power on, no battery
    EXPECT_TRUE(dakhost::Signals().empty());
    EXPECT_TRUE(Mgr()->SetSystemTime(kT, SetType_stream, false));
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::PlatformClock(), kT);
}

TEST_F(ManagerLifecycle, MutexFailureStopsInitHalfWayAndExitStillStopsTheTask)
{
    dakhost::FailMutexCreate(true);
    EXPECT_FALSE(Mgr()->Init());
    EXPECT_EQ(dakhost::AlarmCount(), 0);
    EXPECT_TRUE(dakhost::SubscriptionCalls().empty());
    EXPECT_EQ(dakhost::TaskCount(), 1);
    TISystemTimeManager::Exit();
    EXPECT_EQ(dakhost::TaskCount(), 0);
    EXPECT_FALSE(HasLog("FlagCreate()"));
}

TEST_F(ManagerLifecycle, TaskFailureRefusesTheReplayAndARetriedInitArmsAndSubscribesOnce)
{
    dakhost::SetMasterPower(false);
    dakhost::SetSetting(Setting::Reason, Reason_micom);
    dakhost::FailTaskCreate(true);
    EXPECT_TRUE(Mgr()->Init());
    EXPECT_TRUE(HasLog("TCSystemTimeManager isn't Created"));  // the replay
    dakhost::FailTaskCreate(false);
    EXPECT_TRUE(Mgr()->Init());
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::AlarmCount(), 1);
    EXPECT_EQ(SubscriptionCallCount(3, true), 1);
    EXPECT_EQ(SignalType(0), SetType_init);  // the replay got through this time
}

class ManagerEvents : public DakTest {};

TEST_F(ManagerEvents, SetTimePayloadKeepsTheTypesSignAndAnyNonZeroDstWordIsTrue)
{
    StartQuiet();
    // 65535 travels as the 16-bit word of -1 and is applied as an unknown type.
    ASSERT_TRUE(Mgr()->SetSystemTime(kT, static_cast<ETimeSettingType>(65535), false));
    dakhost::WaitIdle();
    EXPECT_TRUE(HasLog("UTC = 1709632800,  SetType_unknown"));
    EXPECT_EQ(SignalType(0), 0xFFFF);
    EXPECT_EQ(dakhost::GetSetting(Setting::Reason), Reason_init);

    // After a net setting a stream setting stores its DST word as the flag.
    uint8_t payload[8] = {};
    const int16_t stream = SetType_stream;
    std::memcpy(&payload[0], &kT, 4);
    std::memcpy(&payload[4], &stream, 2);
    for (const uint16_t dstWord : {uint16_t{2}, uint16_t{0x0100}}) {
        dakhost::SetSetting(Setting::FlagDst, 0);
        ASSERT_TRUE(Mgr()->SetSystemTime(kT, SetType_net, false));
        std::memcpy(&payload[6], &dstWord, 2);
        ASSERT_TRUE(PostRaw(TCSystemTimeManager::EVENT_SET_SYSTEM_TIME, payload));
        dakhost::WaitIdle();
        EXPECT_EQ(dakhost::GetSetting(Setting::FlagDst), 1) << dstWord;
        EXPECT_EQ(AutoClock(), AutoType_stream);
    }
}

TEST_F(ManagerEvents, OtherCodesAndCallbackParametersAreIgnored)
{
    StartQuiet();
    const uint8_t payload[8] = {1};
    ASSERT_TRUE(PostRaw(TCSystemTimeManager::EVENT_PRESENTATION_TIME_CHANGED, payload));
    ASSERT_TRUE(PostRaw(12345, payload));
    auto* subscriber = dynamic_cast<IVConfCallbackSubscriber*>(Mgr());
    for (const int param : {0, 4}) {
        subscriber->OnVConfCallback(static_cast<IVConfCallbackSubscriber::EVConfParam>(param),
                                    nullptr);
    }
    dakhost::WaitIdle();
    EXPECT_TRUE(dakhost::Logs().empty());
    EXPECT_EQ(dakhost::TaskCount(), 1);
}
