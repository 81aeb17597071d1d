// The host platform's factory options, master power and regional object
// factory choice, and the controls that set them.
#include <mutex>
#include <optional>

#include "DakHostControl.h"
#include "HostProviderState.h"
#include "TCFactoryProvider.h"
#include "TCObjectFactory.h"
#include "TCPowerTvProvider.h"

using dakhost::detail::Providers;
using dakhost::detail::TheProviders;

// ---- factory options, power, object factory ----------------------------------------

bool TCFactoryProvider::GetOption(EOption option, int* value)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    const auto found = p.options.find(static_cast<int>(option));
    if (found == p.options.end() || value == nullptr) {
        return false;
    }
    *value = found->second;
    return true;
}

bool TCPowerTvProvider::IsMasterPowerOn()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.masterPower;
}

TCObjectFactory::~TCObjectFactory() = default;

TCObjectFactory* TCObjectFactory::GetInstance()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.factories.at(static_cast<size_t>(p.region));
}

// ---- controls -------------------------------------------------------------------------------

namespace dakhost {

void SetFactoryOption(int option, std::optional<int> value)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    if (value) {
        p.options[option] = *value;
    } else {
        p.options.erase(option);
    }
}

void SetMasterPower(bool on)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.masterPower = on;
}

void SelectObjectFactory(Region region)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.region = region;
}

void InstallObjectFactory(Region region, TCObjectFactory* factory)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    if (region != Region::None) {
        p.factories.at(static_cast<size_t>(region)) = factory;
    }
}

}  // namespace dakhost
