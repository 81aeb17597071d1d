// The settings store on Linux: the values the library keeps across a power
// cut live in one file (LinuxSettingsFile.h), read once at start and replaced
// on every change; the clock mode and the time zone come from the options,
// the network time state from the kernel. Subscribers are called back on the
// thread that noticed the change, with no lock of the store held.
#include <algorithm>
#include <mutex>
#include <vector>

#include "IVConfCallbackSubscriber.h"
#include "LinuxInternal.h"
#include "LinuxSettingsFile.h"
#include "TCVConfCallbackManager.h"
#include "TCVConfProvider.h"

namespace {

struct Store {
    std::mutex lock;  // the values and the path
    std::string path;
    daklinux::detail::StoredSettings values;
    int clockMode = 0;

    // Held while callbacks are delivered: UnSubscribe takes it too, so that
    // once it returns no callback is running for what it dropped. Recursive,
    // since a subscriber may unsubscribe from inside its callback.
    std::recursive_mutex delivery;
    std::vector<std::pair<int, IVConfCallbackSubscriber*>> subscriptions;  // under delivery
};

Store& S()
{
    static auto* const store = new Store;
    return *store;
}

int Get(int daklinux::detail::StoredSettings::*field)
{
    Store& s = S();
    const std::lock_guard<std::mutex> lock(s.lock);
    return s.values.*field;
}

// Unchanged values are not written again: the file is replaced only when
// what it says changes.
void Put(int daklinux::detail::StoredSettings::*field, int value)
{
    Store& s = S();
    const std::lock_guard<std::mutex> lock(s.lock);
    if (s.values.*field == value) {
        return;
    }
    s.values.*field = value;
    std::string problem;
    if (!s.path.empty() && !daklinux::detail::SaveSettingsFile(s.path, s.values, &problem)) {
        daklinux::detail::Log(1, "settings: not saved: %s", problem.c_str());
    }
}

void CallBack(IVConfCallbackSubscriber::EVConfParam param)
{
    Store& s = S();
    const std::lock_guard<std::recursive_mutex> delivering(s.delivery);
    // A copy: a subscriber may change the list from inside its callback.
    const auto targets = s.subscriptions;
    for (const auto& [subscribed, subscriber] : targets) {
        if (subscribed == param) {
            subscriber->OnVConfCallback(param, nullptr);
        }
    }
}

}  // namespace

namespace daklinux::detail {

void LoadSettings(const std::string& path)
{
    StoredSettings values;
    std::string problem;
    switch (LoadSettingsFile(path, &values, &problem)) {
        case LoadResult::Loaded:
            break;
        case LoadResult::Missing:
            Log(4, "settings: %s missing; defaults used", path.c_str());
            values = StoredSettings{};
            break;
        case LoadResult::Damaged:
            Log(1, "settings: %s damaged (%s); defaults used", path.c_str(), problem.c_str());
            values = StoredSettings{};
            break;
    }
    Store& s = S();
    const std::lock_guard<std::mutex> lock(s.lock);
    s.path = path;
    s.values = values;
    s.clockMode = CurrentOptions().clockMode;
}

void SetClockMode(int mode)
{
    {
        Store& s = S();
        const std::lock_guard<std::mutex> lock(s.lock);
        if (s.clockMode == mode) {
            return;
        }
        s.clockMode = mode;
    }
    CallBack(IVConfCallbackSubscriber::E_VCONF_TIME_MODE);
}

void NetworkStateChanged()
{
    CallBack(IVConfCallbackSubscriber::E_VCONF_NETWORK_TIME);
}

}  // namespace daklinux::detail

using daklinux::detail::StoredSettings;

ESystemTimeReason TCVConfProvider::GetTimeSettingReason()
{
    return static_cast<ESystemTimeReason>(Get(&StoredSettings::reason));
}

void TCVConfProvider::SetTimeSettingReason(ESystemTimeReason reason)
{
    Put(&StoredSettings::reason, static_cast<int>(reason));
}

int TCVConfProvider::GetFlagDST()
{
    return Get(&StoredSettings::flagDst);
}

void TCVConfProvider::SetFlagDST(int dst)
{
    Put(&StoredSettings::flagDst, dst);
}

int TCVConfProvider::GetTvTimeOffset()
{
    return Get(&StoredSettings::timeOffset);
}

void TCVConfProvider::SetTvTimeOffset(int offset)
{
    Put(&StoredSettings::timeOffset, offset);
}

int TCVConfProvider::GetTvClockMode()
{
    Store& s = S();
    const std::lock_guard<std::mutex> lock(s.lock);
    return s.clockMode;
}

int TCVConfProvider::GetTvTimeZone()
{
    return daklinux::detail::CurrentOptions().timeZoneRegion;
}

bool TCVConfProvider::IsNetworkSet()
{
    return daklinux::detail::ReadNetworkState(daklinux::detail::CurrentOptions().networkMaxErrorUs)
        .synchronised;
}

void TCVConfProvider::SetAutoClockType(int type)
{
    Put(&StoredSettings::autoClockType, type);
}

int TCVConfProvider::GetFirstSTTTime()
{
    return Get(&StoredSettings::firstStreamTime);
}

void TCVConfProvider::SetFirstSTTTime(int utc)
{
    Put(&StoredSettings::firstStreamTime, utc);
}

IVConfCallbackSubscriber::~IVConfCallbackSubscriber() = default;

void TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::EVConfParam param,
                                       IVConfCallbackSubscriber* subscriber)
{
    Store& s = S();
    const std::lock_guard<std::recursive_mutex> delivering(s.delivery);
    const std::pair<int, IVConfCallbackSubscriber*> entry{param, subscriber};
    if (subscriber != nullptr &&
        std::find(s.subscriptions.begin(), s.subscriptions.end(), entry) == s.subscriptions.end()) {
        s.subscriptions.push_back(entry);
    }
}

void TCVConfCallbackManager::UnSubscribe(IVConfCallbackSubscriber::EVConfParam param,
                                         IVConfCallbackSubscriber* subscriber)
{
    Store& s = S();
    const std::lock_guard<std::recursive_mutex> delivering(s.delivery);
    const std::pair<int, IVConfCallbackSubscriber*> entry{param, subscriber};
    s.subscriptions.erase(std::remove(s.subscriptions.begin(), s.subscriptions.end(), entry),
                          s.subscriptions.end());
}
