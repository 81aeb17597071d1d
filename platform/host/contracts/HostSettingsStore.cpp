// The host platform's settings store: what the library reads and writes, and
// the controls that set it as the user or the set would.
#include <mutex>
#include <vector>

#include "DakHostControl.h"
#include "HostInternal.h"
#include "HostProviderState.h"
#include "IVConfCallbackSubscriber.h"
#include "TCVConfProvider.h"

using dakhost::detail::CallBack;
using dakhost::detail::Providers;
using dakhost::detail::TheProviders;

namespace {

int& SettingSlot(Providers& p, dakhost::Setting setting)
{
    return p.settings.at(static_cast<size_t>(setting));
}

void LibraryWrite(dakhost::Setting setting, int value)
{
    {
        Providers& p = TheProviders();
        const std::lock_guard<std::mutex> lock(p.lock);
        SettingSlot(p, setting) = value;
        p.settingWrites.push_back({setting, value});
    }
    if (dakhost::Observer* observer = dakhost::detail::CurrentObserver()) {
        observer->SettingWritten(setting, value);
    }
}

int Read(dakhost::Setting setting)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return SettingSlot(p, setting);
}

}  // namespace

// ---- settings store -------------------------------------------------------------

ESystemTimeReason TCVConfProvider::GetTimeSettingReason()
{
    return static_cast<ESystemTimeReason>(Read(dakhost::Setting::Reason));
}

void TCVConfProvider::SetTimeSettingReason(ESystemTimeReason reason)
{
    LibraryWrite(dakhost::Setting::Reason, static_cast<int>(reason));
}

int TCVConfProvider::GetFlagDST()
{
    return Read(dakhost::Setting::FlagDst);
}

void TCVConfProvider::SetFlagDST(int dst)
{
    LibraryWrite(dakhost::Setting::FlagDst, dst);
}

int TCVConfProvider::GetTvTimeOffset()
{
    return Read(dakhost::Setting::TimeOffset);
}

void TCVConfProvider::SetTvTimeOffset(int offset)
{
    LibraryWrite(dakhost::Setting::TimeOffset, offset);
}

int TCVConfProvider::GetTvClockMode()
{
    return Read(dakhost::Setting::ClockMode);
}

int TCVConfProvider::GetTvTimeZone()
{
    return Read(dakhost::Setting::TimeZone);
}

bool TCVConfProvider::IsNetworkSet()
{
    return Read(dakhost::Setting::NetworkSet) != 0;
}

void TCVConfProvider::SetAutoClockType(int type)
{
    LibraryWrite(dakhost::Setting::AutoClockType, type);
}

int TCVConfProvider::GetFirstSTTTime()
{
    return Read(dakhost::Setting::FirstStt);
}

void TCVConfProvider::SetFirstSTTTime(int utc)
{
    LibraryWrite(dakhost::Setting::FirstStt, utc);
}

// ---- controls -------------------------------------------------------------------------------

namespace dakhost {

void SetSetting(Setting setting, int value)
{
    {
        Providers& p = TheProviders();
        const std::lock_guard<std::mutex> lock(p.lock);
        SettingSlot(p, setting) = value;
    }
    switch (setting) {
        case Setting::ClockMode:
            CallBack(IVConfCallbackSubscriber::E_VCONF_TIME_MODE, value);
            break;
        case Setting::NetworkSet:
            CallBack(IVConfCallbackSubscriber::E_VCONF_NETWORK_TIME, value);
            break;
        case Setting::Presentation:
            CallBack(IVConfCallbackSubscriber::E_VCONF_PRESENTATION_TIME, value);
            break;
        default:
            break;
    }
}

int GetSetting(Setting setting)
{
    return Read(setting);
}

std::vector<SettingWrite> SettingWrites()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.settingWrites;
}

}  // namespace dakhost
