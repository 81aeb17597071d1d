// The small providers on Linux: main power (see DakLinuxPlatform.h's
// MainPower for the mapping), factory option 24, the regional object
// factory the options name, the agent registry with its two agents, and the
// library registration hooks.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "LinuxInternal.h"
#include "PlatformExport.h"
#include "TCAgentMgr.h"
#include "TCFactoryProvider.h"
#include "TCObjectFactory.h"
#include "TCPowerTvProvider.h"
#include "TIAgent.h"

namespace {

constexpr std::array<const char*, 5> kRegions = {"KR", "USA", "DVB", "BRZ", "JPN"};

class LinuxTimeZoneAgent : public TITimeZoneOffsetAgent {
public:
    bool GetTimeZoneOffset(int regionId, int* offset) override
    {
        const auto known =
            std::find_if(offsets.begin(), offsets.end(),
                         [regionId](const auto& entry) { return entry.regionId == regionId; });
        if (known == offsets.end() || offset == nullptr) {
            return false;
        }
        *offset = known->minutes;
        return true;
    }
    std::vector<daklinux::Options::RegionOffset> offsets;  // under the registry's write lock
};

class LinuxTimeUpdateAgent : public TITimeUpdateAgent {
public:
    bool IsUpdateSystemTime(DAKHandle /*handle*/) override { return allow.load(); }
    std::atomic<bool> allow{true};
};

struct Providers {
    std::mutex lock;
    bool masterPowerOn = false;
    int rtcDirectionOption = -1;
    std::string region = "DVB";
    std::array<TCObjectFactory*, kRegions.size()> factories{};
    LinuxTimeZoneAgent timeZoneAgent;  // registered while it knows an offset
    LinuxTimeUpdateAgent timeUpdateAgent;
};

Providers& P()
{
    static auto* const providers = new Providers;
    return *providers;
}

size_t RegionIndex(const std::string& region)
{
    size_t index = 0;
    while (index < kRegions.size() && region != kRegions.at(index)) {
        ++index;
    }
    return index;
}

}  // namespace

namespace daklinux::detail {

bool KnownRegion(const std::string& region)
{
    return RegionIndex(region) < kRegions.size();
}

void InstallObjectFactory(const char* region, TCObjectFactory* factory)
{
    Providers& p = P();
    const std::lock_guard<std::mutex> lock(p.lock);
    const size_t index = RegionIndex(region);
    if (index < kRegions.size()) {
        p.factories.at(index) = factory;
    }
}

void ConfigureProviders(const Options& options, bool masterPowerOn)
{
    Providers& p = P();
    TCRWLock& registry = TCAgentMgr::Instance()->m_agentLock;
    registry.WLock();  // no reader is using an agent meanwhile
    {
        const std::lock_guard<std::mutex> lock(p.lock);
        p.masterPowerOn = masterPowerOn;
        p.rtcDirectionOption = options.rtcDirectionOption;
        p.region = options.region;
        p.timeZoneAgent.offsets = options.regionOffsets;
        p.timeUpdateAgent.allow = options.timeUpdateAgent;
    }
    registry.WUnlock();
}

}  // namespace daklinux::detail

bool TCPowerTvProvider::IsMasterPowerOn()
{
    Providers& p = P();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.masterPowerOn;
}

bool TCFactoryProvider::GetOption(EOption option, int* value)
{
    Providers& p = P();
    const std::lock_guard<std::mutex> lock(p.lock);
    if (option != E_OPTION_RTC_DIRECTION || p.rtcDirectionOption < 0 || value == nullptr) {
        return false;
    }
    *value = p.rtcDirectionOption;
    return true;
}

TCObjectFactory::~TCObjectFactory() = default;

TCObjectFactory* TCObjectFactory::GetInstance()
{
    Providers& p = P();
    const std::lock_guard<std::mutex> lock(p.lock);
    const size_t index = RegionIndex(p.region);
    return index < kRegions.size() ? p.factories.at(index) : nullptr;
}

TIAgent::~TIAgent() = default;

TCAgentMgr* TCAgentMgr::Instance()
{
    static auto* const registry = new TCAgentMgr;
    return registry;
}

TIAgent* TCAgentMgr::m_Instance(TSAgentInstanceKey key)
{
    Providers& p = P();
    const std::lock_guard<std::mutex> lock(p.lock);
    if (key.agentType == AGENT_TYPE_TIME_UPDATE) {
        return &p.timeUpdateAgent;
    }
    if (key.agentType == AGENT_TYPE_TIME_ZONE_OFFSET && !p.timeZoneAgent.offsets.empty()) {
        return &p.timeZoneAgent;
    }
    return nullptr;
}

// ---- library registration ----------------------------------------------------------------
// (HtLibHelper.h is not included: it would register this library itself.)

extern "C" {
DAK_PLATFORM_API void ht_register_library(int* enabled);
DAK_PLATFORM_API void ht_deregister_library(int* enabled);
}

extern "C" void ht_register_library(int* enabled)
{
    // The library registers at load; it stays enabled.
    if (enabled != nullptr) {
        *enabled = 1;
    }
}

extern "C" void ht_deregister_library(int* /*enabled*/)
{
}
