// The providers of the host platform: settings store and its callbacks,
// factory options, power, object factory, agent registry, event manager,
// date conversion, platform clock and library registration.
#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "BPTime.h"
#include "Calendar.h"
#include "DakHostControl.h"
#include "Framework.h"
#include "HostInternal.h"
#include "IVConfCallbackSubscriber.h"
#include "PlatformExport.h"
#include "Scheduler.h"
#include "TCAgentMgr.h"
#include "TCFactoryProvider.h"
#include "TCObjectFactory.h"
#include "TCPowerTvProvider.h"
#include "TCTimeUtility.h"
#include "TCVConfCallbackManager.h"
#include "TCVConfProvider.h"
#include "TIAgent.h"
#include "TIEventManager.h"
#include "VirtualClock.h"

namespace {

constexpr int64_t kInitialUtc = 1704067200;  // 2024-01-01T00:00:00Z
constexpr int kSettingCount = static_cast<int>(dakhost::Setting::Presentation) + 1;
constexpr int kRegionCount = static_cast<int>(dakhost::Region::JPN) + 1;

// ---- settings-change subscriptions ----

struct Subscription {
    int param = 0;
    IVConfCallbackSubscriber* subscriber = nullptr;
    bool active = true;
    int inFlight = 0;  // callbacks running now
};
using SubscriptionPtr = std::shared_ptr<Subscription>;

// Callbacks running on this thread, innermost last.
thread_local std::vector<const Subscription*> tlsCallbacks;

// ---- agents ----

class HostTimeZoneAgent : public TITimeZoneOffsetAgent {
public:
    bool GetTimeZoneOffset(int regionId, int* offset) override;
    std::map<int, int> offsets;  // written under the registry's write lock
    bool refuseAll = false;
};

class HostTimeUpdateAgent : public TITimeUpdateAgent {
public:
    bool IsUpdateSystemTime(DAKHandle /*handle*/) override { return allow; }
    bool allow = true;
};

class HostOtherAgent : public TIAgent {};

class HostEventManager : public TIEventManager {
public:
    bool SendSignal(int signalId, void* param, int flags) override;
};

struct Providers {
    std::mutex lock;  // guards everything below unless said otherwise
    std::array<int, kSettingCount> settings{};
    std::vector<dakhost::SettingWrite> settingWrites;

    std::condition_variable callbackDone;
    std::vector<SubscriptionPtr> subscriptions;
    std::vector<dakhost::SubscriptionCall> subscriptionCalls;

    std::map<int, int> options;  // readable factory options
    bool masterPower = true;

    std::array<TCObjectFactory*, kRegionCount> factories{};
    dakhost::Region region = dakhost::Region::KR;

    dakhost::AgentMode timeZoneMode = dakhost::AgentMode::None;
    dakhost::AgentMode timeUpdateMode = dakhost::AgentMode::None;
    HostTimeZoneAgent timeZoneAgent;
    HostTimeUpdateAgent timeUpdateAgent;
    HostOtherAgent otherAgent;

    bool eventManagerPresent = true;
    HostEventManager eventManager;
    std::vector<dakhost::SignalRecord> signals;

    // A view of the kernel's clock, so that Advance() moves it.
    dakhost::kernel::ClockView platformClock{kInitialUtc * 1000};
    int failClockGet = 0;
    int failClockSet = 0;

    int registerCalls = 0;
    int deregisterCalls = 0;
    int* lastRegistered = nullptr;
    int lastRegisteredValue = 0;
    std::vector<int*> registered;  // libraries registered and not withdrawn
};

Providers& TheProviders()
{
    static auto* const providers = new Providers;
    return *providers;
}

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

bool HostTimeZoneAgent::GetTimeZoneOffset(int regionId, int* offset)
{
    if (refuseAll || offset == nullptr) {
        return false;
    }
    const auto found = offsets.find(regionId);
    if (found == offsets.end()) {
        return false;
    }
    *offset = found->second;
    return true;
}

bool HostEventManager::SendSignal(int signalId, void* param, int flags)
{
    dakhost::SignalRecord record{signalId, {}, flags};
    if (param != nullptr) {
        std::memcpy(record.param, param, sizeof record.param);
    }
    {
        Providers& p = TheProviders();
        const std::lock_guard<std::mutex> lock(p.lock);
        p.signals.push_back(record);
    }
    if (dakhost::Observer* observer = dakhost::detail::CurrentObserver()) {
        observer->SignalSent(record);
    }
    return true;
}

// Calls back every active subscriber of `param`, on this thread, holding no
// lock while a callback runs.
void CallBack(int param, int value)
{
    Providers& p = TheProviders();
    std::vector<SubscriptionPtr> targets;
    {
        const std::lock_guard<std::mutex> lock(p.lock);
        for (const SubscriptionPtr& entry : p.subscriptions) {
            if (entry->param == param) {
                targets.push_back(entry);
            }
        }
    }
    int data = value;
    for (const SubscriptionPtr& entry : targets) {
        tlsCallbacks.push_back(entry.get());  // before anything is counted
        {
            const std::lock_guard<std::mutex> lock(p.lock);
            if (!entry->active) {
                tlsCallbacks.pop_back();
                continue;
            }
            ++entry->inFlight;
        }
        // Counted out again however the callback ends (an allocation failure
        // goes on to the writer of the setting), so that no UnSubscribe waits
        // for a callback that is over.
        struct InFlight {
            Providers& p;
            Subscription& entry;
            ~InFlight()
            {
                tlsCallbacks.pop_back();
                {
                    const std::lock_guard<std::mutex> lock(p.lock);
                    --entry.inFlight;
                }
                p.callbackDone.notify_all();
                dakfw::Turns().Wake(&p.callbackDone);
            }
        };
        const InFlight counted{p, *entry};
        dakfw::Turns().Point();
        entry->subscriber->OnVConfCallback(
            static_cast<IVConfCallbackSubscriber::EVConfParam>(param), &data);
    }
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

IVConfCallbackSubscriber::~IVConfCallbackSubscriber() = default;

void TCVConfCallbackManager::Subscribe(IVConfCallbackSubscriber::EVConfParam param,
                                       IVConfCallbackSubscriber* subscriber)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.subscriptionCalls.push_back({static_cast<int>(param), true, subscriber});
    if (subscriber == nullptr) {
        return;
    }
    const bool held =
        std::any_of(p.subscriptions.begin(), p.subscriptions.end(),
                    [param, subscriber](const SubscriptionPtr& entry) {
                        return entry->param == param && entry->subscriber == subscriber;
                    });
    if (!held) {
        auto entry = std::make_shared<Subscription>();
        entry->param = param;
        entry->subscriber = subscriber;
        p.subscriptions.push_back(std::move(entry));
    }
}

void TCVConfCallbackManager::UnSubscribe(IVConfCallbackSubscriber::EVConfParam param,
                                         IVConfCallbackSubscriber* subscriber)
{
    Providers& p = TheProviders();
    std::unique_lock<std::mutex> lock(p.lock);
    p.subscriptionCalls.push_back({static_cast<int>(param), false, subscriber});
    const auto found =
        std::find_if(p.subscriptions.begin(), p.subscriptions.end(),
                     [param, subscriber](const SubscriptionPtr& entry) {
                         return entry->param == param && entry->subscriber == subscriber;
                     });
    if (found == p.subscriptions.end()) {
        return;
    }
    const SubscriptionPtr entry = *found;
    entry->active = false;
    p.subscriptions.erase(found);
    // Callbacks already running elsewhere finish first; those that this very
    // thread is inside cannot be waited for.
    const auto own =
        static_cast<int>(std::count(tlsCallbacks.begin(), tlsCallbacks.end(), entry.get()));
    dakfw::Scheduler& turns = dakfw::Turns();
    while (entry->inFlight > own) {
        turns.Wait(lock, p.callbackDone, &p.callbackDone);
    }
}

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

// ---- agents, event manager ----------------------------------------------------------

TIAgent::~TIAgent() = default;

TCAgentMgr* TCAgentMgr::Instance()
{
    static auto* const registry = new TCAgentMgr;
    return registry;
}

TIAgent* TCAgentMgr::m_Instance(TSAgentInstanceKey key)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    dakhost::AgentMode mode = dakhost::AgentMode::None;
    TIAgent* agent = nullptr;
    if (key.agentType == AGENT_TYPE_TIME_ZONE_OFFSET) {
        mode = p.timeZoneMode;
        agent = &p.timeZoneAgent;
    } else if (key.agentType == AGENT_TYPE_TIME_UPDATE) {
        mode = p.timeUpdateMode;
        agent = &p.timeUpdateAgent;
    }
    switch (mode) {
        case dakhost::AgentMode::None:
            return nullptr;
        case dakhost::AgentMode::Other:
            return &p.otherAgent;
        case dakhost::AgentMode::Answer:
        case dakhost::AgentMode::Refuse:
            return agent;
    }
    return nullptr;
}

TIEventManager::~TIEventManager() = default;

TIEventManager* TIEventManager::Instance()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.eventManagerPresent ? &p.eventManager : nullptr;
}

// ---- date conversion, platform clock ---------------------------------------------------

bool TCTimeUtility::BinaryToDate(unsigned long utc, tm* date)
{
    if (date == nullptr) {
        return false;
    }
    dakcal::CivilFromUtc(static_cast<int64_t>(static_cast<uint64_t>(utc)), date);
    return true;
}

extern "C" int BPTime_get_current_time(unsigned long* utc)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    if (p.failClockGet != 0) {
        return p.failClockGet;
    }
    if (utc == nullptr) {
        return -1;
    }
    *utc = static_cast<unsigned long>(
        static_cast<uint32_t>(static_cast<uint64_t>(p.platformClock.Ms()) / 1000U));
    return 0;
}

extern "C" int BPTime_set_current_time(unsigned long utc)
{
    int result = 0;
    {
        Providers& p = TheProviders();
        const std::lock_guard<std::mutex> lock(p.lock);
        result = p.failClockSet;
        if (result == 0) {
            p.platformClock.Set(static_cast<int64_t>(static_cast<uint32_t>(utc)) * 1000);
        }
    }
    if (dakhost::Observer* observer = dakhost::detail::CurrentObserver()) {
        observer->ClockSet(result, static_cast<uint32_t>(utc));
    }
    return result;
}

// ---- library registration --------------------------------------------------------------
// (HtLibHelper.h is not included: it would register this library itself.)

extern "C" {
DAK_PLATFORM_API void ht_register_library(int* enabled);
DAK_PLATFORM_API void ht_deregister_library(int* enabled);
}

extern "C" void ht_register_library(int* enabled)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    ++p.registerCalls;
    p.lastRegistered = enabled;
    p.lastRegisteredValue = enabled != nullptr ? *enabled : 0;
    p.registered.push_back(enabled);
}

extern "C" void ht_deregister_library(int* enabled)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    ++p.deregisterCalls;
    const auto found = std::find(p.registered.begin(), p.registered.end(), enabled);
    if (found != p.registered.end()) {
        p.registered.erase(found);
    }
}

// ---- controls -------------------------------------------------------------------------------

namespace dakhost::detail {

void ResetProviders()
{
    Providers& p = TheProviders();
    {
        const std::lock_guard<std::mutex> lock(p.lock);
        p.settings.fill(0);
        p.settingWrites.clear();
        // A subscriber left behind by the last run must not be called again.
        for (const SubscriptionPtr& entry : p.subscriptions) {
            entry->active = false;
        }
        p.subscriptions.clear();
        p.subscriptionCalls.clear();
        p.options.clear();
        p.masterPower = true;
        p.region = Region::KR;
        p.eventManagerPresent = true;
        p.signals.clear();
        p.platformClock.Set(kInitialUtc * 1000);
        p.failClockGet = 0;
        p.failClockSet = 0;
        p.registerCalls = static_cast<int>(p.registered.size());
        p.deregisterCalls = 0;
    }
    SetTimeZoneAgent(AgentMode::None);
    SetTimeUpdateAgent(AgentMode::None);
}

}  // namespace dakhost::detail

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

bool IsSubscribed(int param)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return std::any_of(p.subscriptions.begin(), p.subscriptions.end(),
                       [param](const SubscriptionPtr& entry) { return entry->param == param; });
}

std::vector<SubscriptionCall> SubscriptionCalls()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.subscriptionCalls;
}

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

void SetTimeZoneAgent(AgentMode mode, const std::map<int, int>& offsets)
{
    // Under the registry's write lock: no reader is using the agent meanwhile.
    TCRWLock& registryLock = TCAgentMgr::Instance()->m_agentLock;
    registryLock.WLock();
    {
        Providers& p = TheProviders();
        const std::lock_guard<std::mutex> lock(p.lock);
        p.timeZoneMode = mode;
        p.timeZoneAgent.offsets = mode == AgentMode::Answer ? offsets : std::map<int, int>{};
        p.timeZoneAgent.refuseAll = mode != AgentMode::Answer;
    }
    registryLock.WUnlock();
}

void SetTimeUpdateAgent(AgentMode mode)
{
    TCRWLock& registryLock = TCAgentMgr::Instance()->m_agentLock;
    registryLock.WLock();
    {
        Providers& p = TheProviders();
        const std::lock_guard<std::mutex> lock(p.lock);
        p.timeUpdateMode = mode;
        p.timeUpdateAgent.allow = mode == AgentMode::Answer;
    }
    registryLock.WUnlock();
}

int AgentReadHolds()
{
    // The agent registry's lock is the one reader/writer lock there is.
    return dakfw::ReadHolds();
}

void SetEventManagerPresent(bool present)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.eventManagerPresent = present;
}

std::vector<SignalRecord> Signals()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.signals;
}

void SetPlatformClock(uint32_t utc)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.platformClock.Set(static_cast<int64_t>(utc) * 1000);
}

uint32_t PlatformClock()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return static_cast<uint32_t>(static_cast<uint64_t>(p.platformClock.Ms()) / 1000U);
}

void FailClockGet(int code)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.failClockGet = code;
}

void FailClockSet(int code)
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    p.failClockSet = code;
}

int RegisterCalls()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.registerCalls;
}

int DeregisterCalls()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.deregisterCalls;
}

int* LastRegisteredPointer()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.lastRegistered;
}

int LastRegisteredValue()
{
    Providers& p = TheProviders();
    const std::lock_guard<std::mutex> lock(p.lock);
    return p.lastRegisteredValue;
}

}  // namespace dakhost
