// Random sequences of the library's public operations against the host
// platform, with settings flipped and platform faults injected between them.
// Each input starts from a fresh platform and ends with a full shutdown. The
// sanitizers and libFuzzer's timeout are the first oracle; these are the
// second, checked after every input:
//   - every time the library handed the platform clock lies in 2001-2099;
//   - the auto clock type, kept and stored, is 0-2;
//   - no read lock of the agent registry is held;
//   - after shutdown no task, alarm or subscription is left.
#include <linux/rtc.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "DakHostControl.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace {

using dakhost::Setting;

constexpr unsigned long kFirstValid = 978307200UL;     // 2001-01-01
constexpr unsigned long kFirstInvalid = 4102444800UL;  // 2100-01-01

// Reads the input front to back; past its end every value is 0.
class Input {
public:
    Input(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    bool AtEnd() const { return m_at >= m_size; }
    uint8_t Byte() { return m_at < m_size ? m_data[m_at++] : 0; }
    uint32_t Word()
    {
        uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            value = (value << 8U) | Byte();
        }
        return value;
    }
    int32_t Int() { return static_cast<int32_t>(Word()); }
    bool Flag() { return (Byte() & 1U) != 0; }
    // A time: often near the valid range's ends or inside it, else any word.
    unsigned long Time()
    {
        switch (Byte() % 4) {
            case 0:
                return kFirstValid - 2 + Byte() % 4;
            case 1:
                return kFirstInvalid - 2 + Byte() % 4;
            case 2:
                return 1700000000UL + Word() % 100000000UL;
            default:
                return Word();
        }
    }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_at = 0;
};

void Check(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "invariant broken: %s\n", what);
        std::abort();
    }
}

TIStreamClock* Clock(Input& in)
{
    const auto handle =
        DAKHandle{static_cast<int8_t>(in.Byte()) % 4, static_cast<uint16_t>(in.Byte() % 3)};
    return TIStreamClock::Instance(handle);
}

void LibraryStep(Input& in, uint8_t op)
{
    TISystemTimeManager* manager = TISystemTimeManager::t_systemTimeManager;
    unsigned long utc = 0;
    int next = 0;
    int local = 0;
    bool flag = false;
    ETypeOfAutoClock type = AutoType_max;
    switch (op % 20) {
        case 0:
            TISystemTimeManager::Instance()->Init();
            break;
        case 1:
            TIStreamClock::Exit();  // the stream clocks hold the manager: they go first
            TISystemTimeManager::Exit();
            break;
        case 2:
            TISystemTimeManager::Instance()->SetSystemTime(
                in.Time(), static_cast<ETimeSettingType>(in.Int()), in.Flag());
            break;
        case 3:
            TISystemTimeManager::Instance()->GetSystemTime(utc);
            break;
        case 4:
            TISystemTimeManager::Instance()->SetSystemTimeByNetworkTime();
            break;
        case 5:
            if (manager != nullptr) {
                manager->GetAutoClockType(type);
                Check(type >= AutoType_stream && type <= AutoType_max, "auto clock type 0-2");
            }
            break;
        case 6:
            TISystemTimeManager::Instance()->SetSystemTimeByReleaseTime();
            break;
        case 7:
            TIStreamClock::Init();
            break;
        case 8:
            TIStreamClock::Exit();
            break;
        default: {
            TIStreamClock* clock = Clock(in);
            if (clock == nullptr) {
                break;
            }
            switch (op % 20) {
                case 9:
                case 10:
                    clock->SetStreamClock(in.Time(), in.Flag(), in.Byte() % 3);
                    break;
                case 11:
                    clock->SetMode(in.Byte() % 3);
                    break;
                case 12:
                    clock->SetStreamDST(in.Flag(), in.Byte() % 3);
                    break;
                case 13:
                    clock->SetDVBTimeOffset(in.Time(), in.Int(), in.Int());
                    break;
                case 14:
                    clock->GetDVBTimeOffset(utc, next, local);
                    break;
                case 15:
                    clock->Reset();
                    break;
                case 16:
                    clock->StreamClock(&flag);
                    break;
                case 17:
                    clock->StreamClockOfSystem(&flag);
                    break;
                case 18:
                    clock->StreamDST();
                    break;
                default:
                    clock->GetMode();
                    break;
            }
            break;
        }
    }
}

void PlatformStep(Input& in, uint8_t op)
{
    switch (op % 20) {
        case 0: {
            // Any value but the auto clock type, which only the library writes.
            int setting = in.Byte() % 8;
            setting += setting >= static_cast<int>(Setting::AutoClockType) ? 1 : 0;
            dakhost::SetSetting(static_cast<Setting>(setting), in.Int() % 8);
            break;
        }
        case 1:
            dakhost::SetSetting(Setting::ClockMode, in.Byte() % 2);
            break;
        case 2:
            dakhost::SetSetting(Setting::NetworkSet, in.Byte() % 2);
            break;
        case 3:
            dakhost::SetSetting(Setting::Reason, in.Byte() % 5);
            break;
        case 4:
            dakhost::SetRtcRaw(
                rtc_time{in.Int(), in.Int(), in.Int(), in.Int(), in.Int(), in.Int(), 0, 0, 0});
            break;
        case 5:
            dakhost::SetRtc(static_cast<int64_t>(in.Time() & 0xFFFFFFFFUL));
            break;
        case 6:
            dakhost::SetPlatformClock(static_cast<uint32_t>(in.Time()));
            break;
        case 7:
            dakhost::FailSend(in.Flag());
            break;
        case 8:
            dakhost::FailClockGet(in.Byte() % 3 == 0 ? -1 : 0);
            dakhost::FailClockSet(in.Byte() % 3 == 0 ? -1 : 0);
            break;
        case 9:
            dakhost::FailRtcRead(in.Flag());
            dakhost::FailRtcWrite(in.Flag());
            break;
        case 10:
            dakhost::FailMutexCreate(in.Flag());
            break;
        case 11:
            dakhost::FailTaskCreate(in.Flag());
            break;
        case 12:
            dakhost::SetRtcPresent(in.Flag());
            break;
        case 13:
            dakhost::SetEventManagerPresent(in.Flag());
            break;
        case 14:
            dakhost::SelectObjectFactory(static_cast<dakhost::Region>(in.Byte() % 6));
            break;
        case 15:
            dakhost::SetTimeUpdateAgent(static_cast<dakhost::AgentMode>(in.Byte() % 4));
            break;
        case 16:
            dakhost::SetTimeZoneAgent(static_cast<dakhost::AgentMode>(in.Byte() % 4),
                                      {{in.Byte() % 4, in.Int() % 1000}});
            break;
        case 17:
            dakhost::SetFactoryOption(24,
                                      in.Flag() ? std::optional<int>(in.Byte() % 6) : std::nullopt);
            break;
        case 18:
            dakhost::SetMasterPower(in.Flag());
            break;
        default:
            dakhost::Advance(in.Word() % 120000U);  // up to two minutes: some syncs
            break;
    }
}

void CheckClockSettings()
{
    const std::string mark = "BPTime_set_current_time: UPC[";
    for (const auto& line : dakhost::Logs()) {
        const size_t at = line.text.find(mark);
        if (line.via == dakhost::Via::Trace && at != std::string::npos) {
            const unsigned long utc = std::stoul(line.text.substr(at + mark.size()));
            Check(utc >= kFirstValid && utc < kFirstInvalid, "clock set inside 2001-2099");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    dakhost::Reset();
    dakhost::UseVirtualTime(true);
    dakhost::SetLogToStderr(false);

    Input in(data, size);
    for (int steps = 0; !in.AtEnd() && steps < 200; ++steps) {
        const uint8_t op = in.Byte();
        if (op < 128) {
            LibraryStep(in, op);
        } else {
            PlatformStep(in, op);
        }
        dakhost::WaitIdle();
        Check(dakhost::AgentReadHolds() == 0, "no read lock held");
    }

    const int stored = dakhost::GetSetting(Setting::AutoClockType);
    Check(stored >= 0 && stored <= 2, "stored auto clock type 0-2");
    CheckClockSettings();

    dakhost::FailSend(false);
    TIStreamClock::Exit();
    TISystemTimeManager::Exit();
    Check(dakhost::TaskCount() == 0, "no task after shutdown");
    Check(dakhost::AlarmCount() == 0, "no alarm after shutdown");
    for (const int param : {1, 2, 3}) {
        Check(!dakhost::IsSubscribed(param), "no subscription after shutdown");
    }
    return 0;
}
