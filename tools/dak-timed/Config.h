// The daemon's configuration file (/etc/dak-timed.conf): one "key = value"
// a line, '#' to the end of a line a comment. The platform's settings
// (region, clock mode, hardware clock, settings path...) and one "input"
// line per broadcast input with the service handle whose stream clock it
// feeds. A key that is not known, a value that is wrong, an input that does
// not parse: an error naming the file and line, and nothing is taken.
#pragma once

#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "DAKHandle.h"
#include "DakLinuxPlatform.h"
#include "Input.h"
#include "TableFeed.h"

namespace dakd {

struct InputConfig {
    std::string address;  // udp://..., dvb://..., a capture
    DAKHandle handle;
    dakinput::FeedOptions feed;
    int line = 0;
};

struct Config {
    daklinux::Options platform;
    dakinput::InputOptions inputOptions;
    std::vector<InputConfig> inputs;
    // The daemon's folder of the boot (its status socket).
    std::string runtimeDir = "/run/dak-time";
    // Where `dak-timed status` reaches the running daemon.
    std::string statusSocket;  // empty: <runtime>/status
};

constexpr const char* kDefaultConfigPath = "/etc/dak-timed.conf";

// Nothing, with `error` "NAME:LINE: message", when the text is wrong.
std::optional<Config> ReadConfig(std::istream& in, const std::string& name, std::string& error);
std::optional<Config> ReadConfigFile(const std::string& path, std::string& error);

// The status socket's path of a configuration.
std::string StatusSocketPath(const Config& config);

// "1/0".
std::string HandleText(const DAKHandle& handle);

}  // namespace dakd
