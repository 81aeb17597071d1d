// The configuration file as a person writes it: every key taken, and every
// mistake refused with its line named.
#include <gtest/gtest.h>

#include <sstream>

#include "Config.h"

namespace dakd {
namespace {

std::optional<Config> Read(const std::string& text, std::string& error)
{
    std::istringstream in(text);
    return ReadConfig(in, "test.conf", error);
}

TEST(Config, EveryKeyIsTakenAndInputsKeepTheirOptions)
{
    std::string error;
    const auto config = Read(R"(# a box in Germany
region = DVB
clock-mode = manual      # the user sets the time
time-update = no
rtc = /dev/rtc1
settings = /var/lib/x/settings
runtime = /run/x
status-socket = /run/x/sock
main-power = off
time-zone = 12
region-offset = 12 +60
region-offset = 13 -210
log-level = 5
log-target = stderr
network-max-error = 250000
stall = 3
filter-timeout = 30

input = udp://10.0.0.1@232.1.1.1:5000 handle=1/0 country=DEU region=3
input = dvb://0.1 handle=-2/7 scan=yes mode=1 wire=+5:30
)",
                             error);
    ASSERT_TRUE(config) << error;
    const daklinux::Options& p = config->platform;
    EXPECT_EQ(p.region, "DVB");
    EXPECT_EQ(p.clockMode, 1);
    EXPECT_FALSE(p.timeUpdateAgent);
    EXPECT_EQ(p.rtcDevice, "/dev/rtc1");
    EXPECT_EQ(p.settingsPath, "/var/lib/x/settings");
    EXPECT_EQ(StatusSocketPath(*config), "/run/x/sock");
    EXPECT_EQ(p.mainPower, daklinux::MainPower::Off);
    EXPECT_EQ(p.timeZoneRegion, 12);
    ASSERT_EQ(p.regionOffsets.size(), 2U);
    EXPECT_EQ(p.regionOffsets[1].regionId, 13);
    EXPECT_EQ(p.regionOffsets[1].minutes, -210);
    EXPECT_EQ(p.logLevel, 5);
    EXPECT_EQ(p.networkMaxErrorUs, 250000);
    EXPECT_EQ(config->inputOptions.stallMs, 3000);
    EXPECT_EQ(config->inputOptions.filterTimeoutS, 30U);
    ASSERT_EQ(config->inputs.size(), 2U);
    EXPECT_EQ(config->inputs[0].feed.country, "DEU");
    EXPECT_EQ(config->inputs[0].feed.region, 3);
    EXPECT_EQ(config->inputs[0].line, 19);
    EXPECT_EQ(HandleText(config->inputs[1].handle), "-2/7");
    EXPECT_TRUE(config->inputs[1].feed.scan);
    EXPECT_EQ(config->inputs[1].feed.mode, 1);
    EXPECT_EQ(config->inputs[1].feed.wireMinutes, 330);
}

TEST(Config, AnEmptyFileIsTheDefaults)
{
    std::string error;
    const auto config = Read("# nothing\n\n", error);
    ASSERT_TRUE(config) << error;
    EXPECT_TRUE(config->inputs.empty());
    EXPECT_EQ(config->platform.rtcDevice, "/dev/rtc0");
    EXPECT_EQ(StatusSocketPath(*config), "/run/dak-time/status");
}

TEST(Config, EachMistakeIsRefusedWithItsLine)
{
    const std::pair<const char*, const char*> cases[] = {
        {"colour = blue", "test.conf:2: unknown key 'colour'"},
        {"region = EU", "test.conf:2: region: 'EU' is not KR, USA, DVB, BRZ or JPN"},
        {"clock-mode = 0", "test.conf:2: clock-mode: '0' is not auto or manual"},
        {"rtc = dev/rtc0", "test.conf:2: rtc: 'dev/rtc0' is not an absolute path"},
        {"log-level = 9", "test.conf:2: log-level: '9' is not a whole number from 1 to 5"},
        {"stall = 2s", "test.conf:2: stall: '2s' is not a whole number from 1 to 3600"},
        {"just words", "test.conf:2: 'just words' is not KEY = VALUE"},
        {"input = udp://239.1.1.1:5000", "test.conf:2: input: no handle=PROFILE/SUB"},
        {"input = udp://239.1.1.1 handle=1/0", "test.conf:2: input: 'udp://239.1.1.1' has no port"},
        {"input = dvb://0.0 handle=1", "test.conf:2: handle: '1' is not PROFILE/SUB"},
        {"input = dvb://0.0 handle=1/0 speed=2", "test.conf:2: input: unknown option 'speed'"},
        {"input = dvb://0.0 handle=1/0 wire=9", "test.conf:2: wire: '9' is not +H"},
        {"input = dvb://0.0 handle=1/0 country=DE", "test.conf:2: country: 'DE' is not three"},
        {"input = dvb://0.0 handle=1/0\ninput = dvb://0.1 handle=1/0",
         "test.conf:3: input: handle 1/0 is fed by the input of line 2"},
    };
    for (const auto& [line, message] : cases) {
        std::string error;
        EXPECT_FALSE(Read(std::string("# first line\n") + line + "\n", error)) << line;
        EXPECT_EQ(error.rfind(message, 0), 0U) << line << "\n  " << error;
    }
}

}  // namespace
}  // namespace dakd
