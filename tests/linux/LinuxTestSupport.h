// Helpers of the Linux platform's tests: a scratch folder, options for a dry
// run in it, and waiting for a condition that another thread brings about.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include "DakLinuxPlatform.h"

namespace linuxtest {

// A fresh folder under TMPDIR, removed with its contents at the end.
class ScratchFolder {
public:
    ScratchFolder()
    {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/dak-linux.XXXXXX";
        m_path = mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
    }
    ~ScratchFolder()
    {
        if (!m_path.empty()) {
            (void)std::system(("rm -rf '" + m_path + "'").c_str());
        }
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

inline daklinux::Options DryRun(const std::string& folder)
{
    daklinux::Options options;
    options.dryRun = true;
    options.settingsPath = folder + "/state/settings";
    options.rtcDevice = folder + "/rtc";
    options.logTarget = "stderr";
    options.logLevel = 4;
    return options;
}

// Waits until `done` holds, looking again every millisecond; false when it
// still does not after `limit` (a failure, not a timing).
inline bool WaitUntil(const std::function<bool()>& done,
                      std::chrono::milliseconds limit = std::chrono::seconds(20))
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace linuxtest
