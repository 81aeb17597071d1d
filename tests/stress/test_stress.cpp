// Stress: eight client threads on every public operation and many stream
// handles, a thread flipping settings and platform faults, and virtual time
// moving, for a bounded number of operations; between phases every thread
// parks and the invariants are checked, and every few phases the library is
// shut down completely and started again.
//
// Invariants: the library never hands the platform clock a time outside
// 2001-2099 (each time it sets is traced); the auto clock type, kept and
// stored, is 0-2; no read lock of the agent registry is held; after shutdown
// no task, alarm or subscription is left.
//
// DAK_STRESS_OPS overrides the operations per client and phase.

#include <gtest/gtest.h>
#include <linux/rtc.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "DakHostControl.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace {

using dakhost::Setting;

constexpr int kClients = 8;
constexpr int kPhases = 12;
constexpr int kPhasesPerRun = 3;  // full shutdown and restart after these
constexpr int kDefaultOpsPerPhase = 4000;
constexpr unsigned long kFirstValid = 978307200UL;     // 2001-01-01
constexpr unsigned long kFirstInvalid = 4102444800UL;  // 2100-01-01

class Random {
public:
    explicit Random(uint64_t seed) : m_state(seed * 0x9E3779B97F4A7C15ULL + 1) {}
    uint64_t Next()
    {
        m_state ^= m_state << 13U;
        m_state ^= m_state >> 7U;
        m_state ^= m_state << 17U;
        return m_state;
    }
    int Below(int n) { return static_cast<int>(Next() % static_cast<uint64_t>(n)); }
    bool Chance(int inN) { return Below(inN) == 0; }

private:
    uint64_t m_state;
};

int OpsPerPhase()
{
    const char* text = std::getenv("DAK_STRESS_OPS");
    return text != nullptr ? std::atoi(text) : kDefaultOpsPerPhase;
}

// Times mostly inside the valid range, now and then on or beyond its ends.
unsigned long AnyTime(Random& random)
{
    switch (random.Below(8)) {
        case 0:
            return kFirstValid - 1 + static_cast<unsigned long>(random.Below(2));
        case 1:
            return kFirstInvalid - 1 + static_cast<unsigned long>(random.Below(2));
        case 2:
            return static_cast<unsigned long>(random.Next());  // anything, 64-bit wide too
        default:
            return 1700000000UL + static_cast<unsigned long>(random.Below(100000000));
    }
}

ETimeSettingType AnyType(Random& random)
{
    static constexpr int kTypes[] = {0, 1,  2, 3,     4,     5,      6,
                                     7, -1, 8, 65536, 65537, -65536, INT32_MIN};
    return static_cast<ETimeSettingType>(kTypes[random.Below(sizeof kTypes / sizeof kTypes[0])]);
}

DAKHandle AnyHandle(Random& random)
{
    return DAKHandle{random.Below(6) - 2, static_cast<uint16_t>(random.Below(4))};
}

void ClientOperation(Random& random)
{
    TISystemTimeManager* manager = TISystemTimeManager::t_systemTimeManager;
    TIStreamClock* clock = TIStreamClock::Instance(AnyHandle(random));
    unsigned long utc = 0;
    int next = 0;
    int local = 0;
    bool flag = false;
    ETypeOfAutoClock autoType = AutoType_max;
    switch (random.Below(16)) {
        case 0:
            manager->SetSystemTime(AnyTime(random), AnyType(random), random.Chance(2));
            break;
        case 1:
            manager->GetSystemTime(utc);
            break;
        case 2:
            manager->SetSystemTimeByNetworkTime();
            break;
        case 3:
            manager->GetAutoClockType(autoType);
            EXPECT_TRUE(autoType >= AutoType_stream && autoType <= AutoType_max) << autoType;
            break;
        case 4:
            manager->SetSystemTimeByReleaseTime();
            break;
        case 5:
        case 6:
            clock->SetStreamClock(AnyTime(random), random.Chance(4), random.Below(2));
            break;
        case 7:
            clock->SetMode(random.Below(2));
            break;
        case 8:
            clock->GetMode();
            break;
        case 9:
            clock->SetStreamDST(random.Chance(2), random.Below(2));
            break;
        case 10:
            clock->StreamDST();
            break;
        case 11:
            clock->SetDVBTimeOffset(AnyTime(random), random.Below(120) - 60, random.Below(120));
            break;
        case 12:
            clock->GetDVBTimeOffset(utc, next, local);
            break;
        case 13:
            if (random.Chance(8)) {
                clock->Reset();
            }
            break;
        case 14:
            clock->StreamClock(&flag);
            break;
        default:
            clock->StreamClockOfSystem(&flag);
            break;
    }
}

// Settings and faults as the platform would flip them under the library.
void FlipOperation(Random& random)
{
    switch (random.Below(12)) {
        case 0:
            dakhost::SetSetting(Setting::ClockMode, random.Below(2));
            break;
        case 1:
            dakhost::SetSetting(Setting::NetworkSet, random.Below(2));
            break;
        case 2:
            dakhost::SetSetting(Setting::Presentation, random.Below(1000));
            break;
        case 3:
            dakhost::SetSetting(Setting::Reason, random.Below(5));
            break;
        case 4:
            dakhost::FailSend(random.Chance(4));
            break;
        case 5:
            dakhost::FailClockSet(random.Chance(4) ? -1 : 0);
            dakhost::FailClockGet(random.Chance(8) ? -1 : 0);
            break;
        case 6:
            dakhost::FailRtcRead(random.Chance(4));
            dakhost::FailRtcWrite(random.Chance(4));
            break;
        case 7:
            if (random.Chance(2)) {
                dakhost::SetRtcRaw(rtc_time{random.Below(70), random.Below(70), random.Below(30),
                                            random.Below(40), random.Below(20),
                                            random.Below(400) - 100, 0, 0, 0});
            } else {
                dakhost::SetRtc(static_cast<int64_t>(AnyTime(random) & 0xFFFFFFFFUL));
            }
            break;
        case 8:
            dakhost::SetTimeUpdateAgent(static_cast<dakhost::AgentMode>(random.Below(4)));
            break;
        case 9:
            dakhost::SetTimeZoneAgent(static_cast<dakhost::AgentMode>(random.Below(4)),
                                      {{0, 540}, {1, -300}});
            break;
        case 10:
            dakhost::SetFactoryOption(24, random.Chance(3) ? std::optional<int>(4) : std::nullopt);
            break;
        default:
            dakhost::SetMasterPower(random.Chance(2));
            break;
    }
}

void ClearFaults()
{
    dakhost::FailSend(false);
    dakhost::FailClockSet(0);
    dakhost::FailClockGet(0);
    dakhost::FailRtcRead(false);
    dakhost::FailRtcWrite(false);
    dakhost::FailTaskCreate(false);
}

// Every time the library handed the platform clock, from its traces.
int g_clockSettings = 0;
int g_advances = 0;

void CheckClockSettings()
{
    const std::string mark = "BPTime_set_current_time: UPC[";
    for (const auto& line : dakhost::Logs()) {
        const size_t at = line.text.find(mark);
        if (line.via != dakhost::Via::Trace || at == std::string::npos) {
            continue;
        }
        const unsigned long utc = std::stoul(line.text.substr(at + mark.size()));
        ++g_clockSettings;
        EXPECT_GE(utc, kFirstValid) << line.text;
        EXPECT_LT(utc, kFirstInvalid) << line.text;
    }
}

void CheckParked(int phase)
{
    dakhost::WaitIdle();
    EXPECT_EQ(dakhost::AgentReadHolds(), 0) << "phase " << phase;
    const int stored = dakhost::GetSetting(Setting::AutoClockType);
    EXPECT_TRUE(stored >= 0 && stored <= 2) << stored;
    if (TISystemTimeManager::t_systemTimeManager != nullptr) {
        ETypeOfAutoClock kept = AutoType_max;
        EXPECT_TRUE(TISystemTimeManager::t_systemTimeManager->GetAutoClockType(kept));
        EXPECT_TRUE(kept >= AutoType_stream && kept <= AutoType_max) << kept;
    }
    CheckClockSettings();
    dakhost::ClearLogs();
}

void Start(Random& random)
{
    ClearFaults();
    dakhost::FailTaskCreate(random.Chance(6));  // now and then a manager that never runs
    TIStreamClock::Init();
    TISystemTimeManager::Instance()->Init();
    dakhost::FailTaskCreate(false);
}

void ShutDown(int phase)
{
    ClearFaults();
    dakhost::WaitIdle();
    TIStreamClock::Exit();
    TISystemTimeManager::Exit();
    EXPECT_EQ(dakhost::TaskCount(), 0) << "phase " << phase;
    EXPECT_EQ(dakhost::AlarmCount(), 0) << "phase " << phase;
    for (const int param : {1, 2, 3}) {
        EXPECT_FALSE(dakhost::IsSubscribed(param)) << "phase " << phase << " param " << param;
    }
    CheckParked(phase);
}

TEST(Stress, ClientsFlipsAndTimeWithShutdownsKeepTheInvariants)
{
    dakhost::Reset();
    dakhost::UseVirtualTime(true);
    dakhost::SetLogToStderr(false);
    const int ops = OpsPerPhase();
    Random control(12345);

    Start(control);
    for (int phase = 0; phase < kPhases; ++phase) {
        std::atomic<int> clientsLeft{kClients};
        std::vector<std::thread> threads;
        for (int client = 0; client < kClients; ++client) {
            threads.emplace_back([&clientsLeft, ops, seed = phase * 100 + client] {
                Random random(static_cast<uint64_t>(seed) + 1);
                for (int i = 0; i < ops; ++i) {
                    ClientOperation(random);
                }
                clientsLeft.fetch_sub(1);
            });
        }
        threads.emplace_back([&clientsLeft, phase] {
            Random random(static_cast<uint64_t>(phase) + 7777);
            while (clientsLeft.load() > 0) {
                FlipOperation(random);
                std::this_thread::yield();
            }
        });
        threads.emplace_back([&clientsLeft] {
            while (clientsLeft.load() > 0) {
                dakhost::Advance(7000);  // a sync period ends every few of these
                ++g_advances;
            }
        });
        for (std::thread& thread : threads) {
            thread.join();
        }
        ClearFaults();
        CheckParked(phase);
        if ((phase + 1) % kPhasesPerRun == 0) {
            ShutDown(phase);
            if (phase + 1 < kPhases) {
                Start(control);
            }
        }
        if (HasFailure()) {
            break;
        }
    }
    // What the run amounted to, for whoever tunes its size.
    std::printf("%d clients x %d operations x %d phases; %d clock settings, %d advances\n",
                kClients, ops, kPhases, g_clockSettings, g_advances);
    EXPECT_GT(g_clockSettings, 0);
}

}  // namespace
