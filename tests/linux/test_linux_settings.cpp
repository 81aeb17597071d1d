// The settings store of the Linux platform, through the settings provider
// and the status snapshot: values kept across a restart, a missing or
// damaged file giving the defaults and one log line, subscribers called
// when the clock mode changes.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "DakLinuxPlatform.h"
#include "IVConfCallbackSubscriber.h"
#include "LinuxTestSupport.h"
#include "TCVConfCallbackManager.h"
#include "TCVConfProvider.h"

namespace {

size_t LinesWith(const daklinux::Snapshot& snapshot, const std::string& text)
{
    return static_cast<size_t>(std::count_if(
        snapshot.lastLogLines.begin(), snapshot.lastLogLines.end(),
        [&text](const std::string& line) { return line.find(text) != std::string::npos; }));
}

std::string Contents(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class LinuxSettings : public ::testing::Test {
protected:
    void TearDown() override { daklinux::Stop(); }
    linuxtest::ScratchFolder folder;
    daklinux::Options options = linuxtest::DryRun(folder.Path());
};

TEST_F(LinuxSettings, ValuesSurviveARestartInAChecksummedVersionedFile)
{
    std::string error;
    ASSERT_TRUE(daklinux::Start(options, &error)) << error;
    TCVConfProvider::SetTimeSettingReason(Reason_stream);
    TCVConfProvider::SetFlagDST(1);
    TCVConfProvider::SetTvTimeOffset(-210);
    TCVConfProvider::SetAutoClockType(0);
    TCVConfProvider::SetFirstSTTTime(1700000000);
    daklinux::Stop();

    const std::string text = Contents(options.settingsPath);
    EXPECT_EQ(text.rfind("dak-time-settings 1\n", 0), 0U) << text;
    EXPECT_NE(text.find("\ncrc32 "), std::string::npos) << text;

    ASSERT_TRUE(daklinux::Start(options, &error)) << error;
    EXPECT_EQ(TCVConfProvider::GetTimeSettingReason(), Reason_stream);
    EXPECT_EQ(TCVConfProvider::GetFlagDST(), 1);
    EXPECT_EQ(TCVConfProvider::GetTvTimeOffset(), -210);
    EXPECT_EQ(TCVConfProvider::GetFirstSTTTime(), 1700000000);
    const daklinux::Snapshot snapshot = daklinux::Read(options);
    EXPECT_TRUE(snapshot.settingsValid) << snapshot.settingsProblem;
    EXPECT_EQ(snapshot.reason, Reason_stream);
    EXPECT_EQ(snapshot.autoClockType, 0);
    EXPECT_EQ(snapshot.timeOffsetMinutes, -210);
    EXPECT_EQ(snapshot.flagDst, 1);
    EXPECT_EQ(snapshot.firstStreamTime, 1700000000U);
}

TEST_F(LinuxSettings, AMissingFileGivesTheDefaultsAndOneLogLine)
{
    std::string error;
    ASSERT_TRUE(daklinux::Start(options, &error)) << error;
    EXPECT_EQ(TCVConfProvider::GetTimeSettingReason(), Reason_init);
    EXPECT_EQ(TCVConfProvider::GetFirstSTTTime(), 0);
    EXPECT_EQ(LinesWith(daklinux::Read(options), options.settingsPath + " missing; defaults used"),
              1U);
}

TEST_F(LinuxSettings, ADamagedFileGivesTheDefaultsAndOneLogLineNeverACrash)
{
    std::mt19937 random(28);
    std::string error;
    ASSERT_TRUE(daklinux::Start(options, &error)) << error;
    TCVConfProvider::SetTimeSettingReason(Reason_net);
    TCVConfProvider::SetTvTimeOffset(60);
    daklinux::Stop();
    const std::string good = Contents(options.settingsPath);

    std::vector<std::string> damaged = {
        "",                                                    // empty
        good.substr(0, good.size() / 2),                       // torn
        good + "offset 61\n",                                  // something after the checksum
        std::string("dak-time-settings 2") + good.substr(19),  // another version
    };
    std::string flipped = good;
    flipped[flipped.find("offset 60") + 7] = '9';  // one digit: the checksum tells
    damaged.push_back(flipped);
    std::string noise(300, '\0');
    for (char& byte : noise) {
        byte = static_cast<char>(random() & 0xFFU);
    }
    damaged.push_back(noise);

    int n = 0;
    for (const std::string& text : damaged) {
        // A path of its own for each, so that its log line is told apart.
        daklinux::Options each = options;
        each.settingsPath = options.settingsPath + "-" + std::to_string(++n);
        std::ofstream(each.settingsPath, std::ios::binary | std::ios::trunc) << text;
        ASSERT_TRUE(daklinux::Start(each, &error)) << error;
        EXPECT_EQ(TCVConfProvider::GetTimeSettingReason(), Reason_init) << text;
        EXPECT_EQ(TCVConfProvider::GetTvTimeOffset(), 0) << text;
        const daklinux::Snapshot snapshot = daklinux::Read(each);
        EXPECT_FALSE(snapshot.settingsValid);
        EXPECT_EQ(LinesWith(snapshot, each.settingsPath + " damaged"), 1U) << text;
        // The next change writes a whole, valid file again.
        TCVConfProvider::SetTvTimeOffset(120);
        EXPECT_TRUE(daklinux::Read(each).settingsValid);
        daklinux::Stop();
    }
}

class Subscriber : public IVConfCallbackSubscriber {
public:
    void OnVConfCallback(EVConfParam param, void* /*data*/) override { calls.push_back(param); }
    std::vector<int> calls;
};

TEST_F(LinuxSettings, AChangedClockModeCallsItsSubscribersUntilTheyUnsubscribe)
{
    std::string error;
    ASSERT_TRUE(daklinux::Start(options, &error)) << error;
    Subscriber subscriber;
    TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::E_VCONF_TIME_MODE, &subscriber);
    TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::E_VCONF_TIME_MODE, &subscriber);
    daklinux::Options manual = options;
    manual.clockMode = 1;
    ASSERT_TRUE(daklinux::Apply(manual, &error)) << error;
    EXPECT_EQ(TCVConfProvider::GetTvClockMode(), 1);
    ASSERT_TRUE(daklinux::Apply(manual, &error));  // unchanged: no call
    EXPECT_EQ(subscriber.calls, std::vector<int>{IVConfCallbackSubscriber::E_VCONF_TIME_MODE});
    TCVConfCallbackManager::UnSubscribe(IVConfCallbackSubscriber::E_VCONF_TIME_MODE, &subscriber);
    ASSERT_TRUE(daklinux::Apply(options, &error));
    EXPECT_EQ(subscriber.calls.size(), 1U);
    EXPECT_EQ(TCVConfProvider::GetTvClockMode(), 0);
}

TEST_F(LinuxSettings, OptionsThatCannotWorkAreRefusedWithAReason)
{
    std::string error;
    daklinux::Options bad = options;
    bad.region = "XX";
    EXPECT_FALSE(daklinux::Start(bad, &error));
    EXPECT_NE(error.find("region"), std::string::npos);
    bad = options;
    bad.settingsPath = folder.Path() + "/";
    EXPECT_FALSE(daklinux::Start(bad, &error));
    bad = options;
    bad.logLevel = 9;
    EXPECT_FALSE(daklinux::Start(bad, &error));
    ASSERT_TRUE(daklinux::Start(options, &error)) << error;
    EXPECT_FALSE(daklinux::Start(options, &error));  // once
}

}  // namespace
