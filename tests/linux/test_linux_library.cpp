// The library driven on the Linux platform in dry run: the platform clock is
// the process's own, the hardware clock a file, the settings a file; nothing
// of the machine is changed. What a user of the box sees is checked: the
// clock, the hardware clock, the stored reason and the signal.
#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <string>

#include "DakLinuxPlatform.h"
#include "LinuxTestSupport.h"
#include "TISystemTimeManager.h"
#include "TimeSettingTypes.h"

namespace {

constexpr uint32_t k2030 = 1893456000;          // 2030-01-01T00:00:00Z
constexpr uint32_t k2040LeapDay = 2214167624U;  // 2040-02-29T22:33:44Z

uint32_t Near(uint32_t a, uint32_t b)
{
    return a > b ? a - b : b - a;
}

// Writes the dry run's hardware clock file as the platform does.
void WriteFakeRtc(const std::string& path, uint32_t utc)
{
    std::ofstream(path, std::ios::trunc)
        << "dak-time-fake-rtc " << utc << " " << static_cast<long long>(::time(nullptr)) << "\n";
}

class LinuxLibrary : public ::testing::Test {
protected:
    void TearDown() override
    {
        TISystemTimeManager::Exit();
        daklinux::Stop();
    }
    bool Run(const daklinux::Options& started)
    {
        std::string error;
        if (!daklinux::Start(started, &error)) {
            ADD_FAILURE() << error;
            return false;
        }
        return TISystemTimeManager::Instance()->Init();
    }
    // A first run in which the user sets 2030 by hand; it leaves the micom
    // reason stored and the hardware clock at 2030.
    bool FirstRunSetsTheClockByHand()
    {
        options.mainPower = daklinux::MainPower::Off;
        const bool set =
            Run(options) &&
            TISystemTimeManager::Instance()->SetSystemTime(k2030, SetType_manual, false) &&
            linuxtest::WaitUntil([&] { return daklinux::Read(options).signalsSent >= 1; });
        TISystemTimeManager::Exit();
        daklinux::Stop();
        return set;
    }
    linuxtest::ScratchFolder folder;
    daklinux::Options options = linuxtest::DryRun(folder.Path());
};

TEST_F(LinuxLibrary, AManualSettingMovesTheClockTheHardwareClockAndTheStoredReason)
{
    options.mainPower = daklinux::MainPower::Off;
    ASSERT_TRUE(Run(options));
    // Past the 32-bit time_t boundary too: the set is a 32-bit machine.
    int signals = 0;
    for (const uint32_t utc : {k2030, k2040LeapDay}) {
        ASSERT_TRUE(TISystemTimeManager::Instance()->SetSystemTime(utc, SetType_manual, false));
        ++signals;
        ASSERT_TRUE(linuxtest::WaitUntil([&] {
            const daklinux::Snapshot s = daklinux::Read(options);
            return s.signalsSent >= signals && s.hardwareClockValid &&
                   Near(s.hardwareClock, utc) <= 2;
        })) << utc;
        const daklinux::Snapshot snapshot = daklinux::Read(options);
        EXPECT_LE(Near(snapshot.platformClock, utc), 2U);
        EXPECT_EQ(snapshot.reason, Reason_micom);
        EXPECT_TRUE(snapshot.dryRun);
    }
}

TEST_F(LinuxLibrary, ARestartReplaysAValidHardwareClockAsTheStoredReasonAllows)
{
    // A first run leaves a micom reason; the box is booted again with its
    // hardware clock still running (a battery kept it).
    ASSERT_TRUE(FirstRunSetsTheClockByHand());

    WriteFakeRtc(options.rtcDevice, k2030 + 3600);
    options.mainPower = daklinux::MainPower::Auto;  // a new boot id is unknown: a boot
    ASSERT_TRUE(Run(options));
    ASSERT_TRUE(linuxtest::WaitUntil(
        [&] { return Near(daklinux::Read(options).platformClock, k2030 + 3600) <= 2; }));
    EXPECT_EQ(daklinux::Read(options).reason, Reason_micom);
}

TEST_F(LinuxLibrary, ABootWhoseHardwareClockLostItsTimeDropsTheStoredReason)
{
    ASSERT_TRUE(FirstRunSetsTheClockByHand());

    std::ofstream(options.rtcDevice, std::ios::trunc) << "";  // unreadable now
    std::ofstream(options.settingsPath + ".boot", std::ios::trunc) << "another boot\n";
    options.mainPower = daklinux::MainPower::Auto;
    const uint32_t before = daklinux::Read(options).platformClock;
    ASSERT_TRUE(Run(options));
    EXPECT_EQ(daklinux::Read(options).reason, Reason_init);
    EXPECT_LE(Near(daklinux::Read(options).platformClock, before), 2U);
}

TEST_F(LinuxLibrary, ADryRunNeverOpensADeviceForTheHardwareClock)
{
    // The default device path: the dry run's file beside the settings instead.
    options.rtcDevice = "/dev/rtc0";
    options.mainPower = daklinux::MainPower::Off;
    ASSERT_TRUE(Run(options));
    ASSERT_TRUE(TISystemTimeManager::Instance()->SetSystemTime(k2030, SetType_manual, false));
    ASSERT_TRUE(linuxtest::WaitUntil([&] { return daklinux::Read(options).signalsSent >= 1; }));
    const daklinux::Snapshot snapshot = daklinux::Read(options);
    EXPECT_TRUE(snapshot.hardwareClockValid) << snapshot.hardwareClockProblem;
    EXPECT_LE(Near(snapshot.hardwareClock, k2030), 2U);
    std::ifstream file(options.settingsPath + ".rtc");
    EXPECT_TRUE(file.good());
    TISystemTimeManager::Exit();
    daklinux::Stop();

    // Any other device (one that is harmless to open) is refused.
    options.rtcDevice = folder.Path() + "/null";
    ASSERT_EQ(symlink("/dev/null", options.rtcDevice.c_str()), 0);
    ASSERT_TRUE(Run(options));
    EXPECT_FALSE(daklinux::Read(options).hardwareClockValid);
}

}  // namespace
