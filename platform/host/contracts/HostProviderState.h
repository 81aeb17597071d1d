// The state behind the host platform's providers (settings store and its
// callbacks, factory options, power, object factory, agent registry, event
// manager, platform clock and library registration), one lock guarding it.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "DakHostControl.h"
#include "IVConfCallbackSubscriber.h"
#include "TCObjectFactory.h"
#include "TIAgent.h"
#include "TIEventManager.h"
#include "VirtualClock.h"

namespace dakhost::detail {

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

// The one instance, never destroyed.
Providers& TheProviders();

// Calls back every active subscriber of `param`, on this thread, holding no
// lock while a callback runs.
void CallBack(int param, int value);

}  // namespace dakhost::detail
