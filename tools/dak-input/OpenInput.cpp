#include <cstdlib>
#include <memory>

#include "DemuxInput.h"
#include "FileInput.h"
#include "Input.h"
#include "UdpInput.h"

namespace dakinput {

namespace {

std::unique_ptr<Input> OpenFile(const std::string& address, std::string& error)
{
    const std::string scheme = "file://";
    std::string path =
        address.compare(0, scheme.size(), scheme) == 0 ? address.substr(scheme.size()) : address;
    double speed = 1.0;
    const size_t query = path.find('?');
    if (query != std::string::npos) {
        const std::string option = path.substr(query + 1);
        const std::string key = "speed=";
        char* end = nullptr;
        speed = option.compare(0, key.size(), key) == 0
                    ? std::strtod(option.c_str() + key.size(), &end)
                    : -1.0;
        if (end == nullptr || *end != '\0' || option.size() == key.size() || !(speed >= 0.0)) {
            error = "'" + address + "': the only option of a file is ?speed=X (X >= 0)";
            return nullptr;
        }
        path.resize(query);
    }
    if (path.empty()) {
        error = "'" + address + "' names no file";
        return nullptr;
    }
    return std::make_unique<FileInput>(address, path, speed);
}

}  // namespace

std::unique_ptr<Input> OpenInput(const std::string& address, const InputOptions& options,
                                 std::string& error)
{
    if (address.compare(0, 6, "udp://") == 0) {
        const auto udp = ParseUdpUrl(address, error);
        if (!udp) {
            return nullptr;
        }
        return std::make_unique<UdpInput>(address, *udp, options.stallMs);
    }
    if (address.compare(0, 6, "dvb://") == 0 || address.compare(0, 9, "/dev/dvb/") == 0) {
        const auto path = DemuxPath(address);
        if (!path) {
            error = "'" + address + "' is not dvb://ADAPTER.DEMUX or /dev/dvb/adapterN/demuxM";
            return nullptr;
        }
        return std::make_unique<DemuxInput>(address, std::make_unique<LinuxDemux>(*path),
                                            options.filterTimeoutS);
    }
    if (address.find("://") != std::string::npos && address.compare(0, 7, "file://") != 0) {
        error = "'" + address + "': an input is udp://, dvb://, file:// or a path";
        return nullptr;
    }
    return OpenFile(address, error);
}

}  // namespace dakinput
