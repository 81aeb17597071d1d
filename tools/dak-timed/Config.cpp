#include "Config.h"

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace dakd {

namespace {

struct Error {
    std::string text;
};

std::string Trim(const std::string& text)
{
    const size_t begin = text.find_first_not_of(" \t\r");
    if (begin == std::string::npos) {
        return "";
    }
    return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

long Integer(const std::string& value, const std::string& key, long low, long high)
{
    char* end = nullptr;
    const long number = std::strtol(value.c_str(), &end, 10);
    if (value.empty() || *end != '\0' || number < low || number > high) {
        throw Error{key + ": '" + value + "' is not a whole number from " + std::to_string(low) +
                    " to " + std::to_string(high)};
    }
    return number;
}

bool YesNo(const std::string& value, const std::string& key)
{
    if (value == "yes" || value == "true" || value == "1") {
        return true;
    }
    if (value == "no" || value == "false" || value == "0") {
        return false;
    }
    throw Error{key + ": '" + value + "' is not yes or no"};
}

std::string Path(const std::string& value, const std::string& key)
{
    if (value.empty() || value[0] != '/') {
        throw Error{key + ": '" + value + "' is not an absolute path"};
    }
    return value;
}

DAKHandle Handle(const std::string& value)
{
    const size_t slash = value.find('/');
    if (slash == std::string::npos) {
        throw Error{"handle: '" + value + "' is not PROFILE/SUB"};
    }
    DAKHandle handle;
    handle.profileId = static_cast<int32_t>(
        Integer(value.substr(0, slash), "handle profile", -2147483647L - 1, 2147483647L));
    handle.subId = static_cast<uint16_t>(Integer(value.substr(slash + 1), "handle sub", 0, 65535));
    return handle;
}

// "+9", "-3", "+5:30": minutes east of UTC, at most 14 hours.
int32_t WireMinutes(const std::string& value)
{
    const bool sign = !value.empty() && (value[0] == '+' || value[0] == '-');
    const std::string body = sign ? value.substr(1) : value;
    const size_t colon = body.find(':');
    const long hours = Integer(body.substr(0, colon), "wire hours", 0, 14);
    const long minutes =
        colon == std::string::npos ? 0 : Integer(body.substr(colon + 1), "wire minutes", 0, 59);
    if (!sign || hours * 60 + minutes > 14L * 60) {
        throw Error{"wire: '" + value + "' is not +H, -H or +H:MM of at most 14 hours"};
    }
    return static_cast<int32_t>((value[0] == '-' ? -1 : 1) * (hours * 60 + minutes));
}

InputConfig Input(const std::string& value, const dakinput::InputOptions& options, int line)
{
    std::istringstream words(value);
    InputConfig input;
    input.line = line;
    words >> input.address;
    std::string error;
    if (input.address.empty() || !dakinput::OpenInput(input.address, options, error)) {
        throw Error{"input: " + (error.empty() ? "no address" : error)};
    }
    bool handle = false;
    for (std::string word; words >> word;) {
        const size_t equals = word.find('=');
        const std::string key = word.substr(0, equals);
        const std::string option = equals == std::string::npos ? "" : word.substr(equals + 1);
        if (equals == std::string::npos) {
            throw Error{"input: '" + word + "' is not KEY=VALUE"};
        }
        if (key == "handle") {
            input.handle = Handle(option);
            handle = true;
        } else if (key == "scan") {
            input.feed.scan = YesNo(option, key);
        } else if (key == "mode") {
            input.feed.mode = static_cast<int>(Integer(option, key, 0, 255));
        } else if (key == "country") {
            if (option.size() != 3 || !std::isalpha(static_cast<unsigned char>(option[0])) ||
                !std::isalpha(static_cast<unsigned char>(option[1])) ||
                !std::isalpha(static_cast<unsigned char>(option[2]))) {
                throw Error{"country: '" + option + "' is not three letters"};
            }
            input.feed.country = option;
        } else if (key == "region") {
            input.feed.region = static_cast<int>(Integer(option, key, 0, 63));
        } else if (key == "wire") {
            input.feed.wireMinutes = WireMinutes(option);
        } else {
            throw Error{"input: unknown option '" + key +
                        "' (handle scan mode country region wire)"};
        }
    }
    if (!handle) {
        throw Error{"input: no handle=PROFILE/SUB (the service context it feeds)"};
    }
    return input;
}

void Take(Config& config, const std::string& key, const std::string& value, int line)
{
    daklinux::Options& platform = config.platform;
    if (key == "input") {
        const InputConfig input = Input(value, config.inputOptions, line);
        for (const InputConfig& other : config.inputs) {
            if (other.handle.profileId == input.handle.profileId &&
                other.handle.subId == input.handle.subId) {
                throw Error{"input: handle " + HandleText(input.handle) +
                            " is fed by the input of line " + std::to_string(other.line)};
            }
        }
        config.inputs.push_back(input);
    } else if (key == "region") {
        if (value != "KR" && value != "USA" && value != "DVB" && value != "BRZ" && value != "JPN") {
            throw Error{"region: '" + value + "' is not KR, USA, DVB, BRZ or JPN"};
        }
        platform.region = value;
    } else if (key == "clock-mode") {
        if (value != "auto" && value != "manual") {
            throw Error{"clock-mode: '" + value + "' is not auto or manual"};
        }
        platform.clockMode = value == "auto" ? 0 : 1;
    } else if (key == "time-update") {
        platform.timeUpdateAgent = YesNo(value, key);
    } else if (key == "rtc") {
        platform.rtcDevice = Path(value, key);
    } else if (key == "settings") {
        platform.settingsPath = Path(value, key);
    } else if (key == "runtime") {
        config.runtimeDir = Path(value, key);
    } else if (key == "status-socket") {
        config.statusSocket = Path(value, key);
    } else if (key == "main-power") {
        if (value != "auto" && value != "on" && value != "off") {
            throw Error{"main-power: '" + value + "' is not auto, on or off"};
        }
        platform.mainPower = value == "auto" ? daklinux::MainPower::Auto
                             : value == "on" ? daklinux::MainPower::On
                                             : daklinux::MainPower::Off;
    } else if (key == "time-zone") {
        platform.timeZoneRegion = static_cast<int>(Integer(value, key, 0, 65535));
    } else if (key == "region-offset") {
        const size_t space = value.find_first_of(" \t");
        daklinux::Options::RegionOffset offset;
        offset.regionId = static_cast<int>(Integer(value.substr(0, space), key, 0, 65535));
        const std::string minutes = space == std::string::npos ? "" : Trim(value.substr(space));
        offset.minutes = static_cast<int>(Integer(minutes, key + " minutes", -14L * 60, 14L * 60));
        platform.regionOffsets.push_back(offset);
    } else if (key == "log-level") {
        platform.logLevel = static_cast<int>(Integer(value, key, 1, 5));
    } else if (key == "log-target") {
        if (value != "auto" && value != "journal" && value != "stderr") {
            throw Error{"log-target: '" + value + "' is not auto, journal or stderr"};
        }
        platform.logTarget = value;
    } else if (key == "network-max-error") {
        platform.networkMaxErrorUs = Integer(value, key, 1, 16000000);
    } else if (key == "stall") {
        config.inputOptions.stallMs = static_cast<int>(Integer(value, key, 1, 3600)) * 1000;
    } else if (key == "filter-timeout") {
        config.inputOptions.filterTimeoutS = static_cast<unsigned>(Integer(value, key, 1, 3600));
    } else {
        throw Error{"unknown key '" + key + "'"};
    }
}

}  // namespace

std::string HandleText(const DAKHandle& handle)
{
    return std::to_string(handle.profileId) + "/" + std::to_string(handle.subId);
}

std::optional<Config> ReadConfig(std::istream& in, const std::string& name, std::string& error)
{
    Config config;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        const size_t hash = line.find('#');
        line = Trim(line.substr(0, hash));
        if (line.empty()) {
            continue;
        }
        const size_t equals = line.find('=');
        try {
            if (equals == std::string::npos) {
                throw Error{"'" + line + "' is not KEY = VALUE"};
            }
            Take(config, Trim(line.substr(0, equals)), Trim(line.substr(equals + 1)), number);
        } catch (const Error& wrong) {
            error = name + ":" + std::to_string(number) + ": " + wrong.text;
            return std::nullopt;
        }
    }
    if (in.bad()) {
        error = name + ": cannot be read";
        return std::nullopt;
    }
    return config;
}

std::optional<Config> ReadConfigFile(const std::string& path, std::string& error)
{
    std::ifstream file(path);
    if (!file) {
        error = path + ": cannot be read";
        return std::nullopt;
    }
    return ReadConfig(file, path, error);
}

std::string StatusSocketPath(const Config& config)
{
    return config.statusSocket.empty() ? config.runtimeDir + "/status" : config.statusSocket;
}

}  // namespace dakd
