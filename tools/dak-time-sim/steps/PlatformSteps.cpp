#include "PlatformSteps.h"

#include <linux/rtc.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <optional>

#include "DakHostControl.h"
#include "RunContext.h"
#include "TimeValues.h"

namespace daksim::steps {

namespace {

using dakhost::Setting;

int Value(const Step& step)
{
    return static_cast<int>(step.value);
}

dakhost::AgentMode Agent(AgentChoice choice)
{
    switch (choice) {
        case AgentChoice::Answer:
            return dakhost::AgentMode::Answer;
        case AgentChoice::Refuse:
            return dakhost::AgentMode::Refuse;
        case AgentChoice::None:
            return dakhost::AgentMode::None;
        case AgentChoice::Other:
            return dakhost::AgentMode::Other;
    }
    return dakhost::AgentMode::None;
}

}  // namespace

void SetReason(RunContext& run, const Step& step)
{
    dakhost::SetSetting(Setting::Reason, Value(step));
    run.decisions.ReasonStored(Value(step));
    run.journal.Store(Setting::Reason, Value(step), false);
}

void SetDst(RunContext& /*run*/, const Step& step)
{
    dakhost::SetSetting(Setting::FlagDst, Value(step));
}

void SetOffset(RunContext& /*run*/, const Step& step)
{
    dakhost::SetSetting(Setting::TimeOffset, Value(step));
}

void SetRegion(RunContext& /*run*/, const Step& step)
{
    dakhost::SetSetting(Setting::TimeZone, Value(step));
}

void SetFirstStt(RunContext& /*run*/, const Step& step)
{
    dakhost::SetSetting(Setting::FirstStt, static_cast<int>(static_cast<uint32_t>(step.value)));
}

void SetClockMode(RunContext& /*run*/, const Step& step)
{
    dakhost::SetSetting(Setting::ClockMode, Value(step));
}

void SetNetworkSet(RunContext& /*run*/, const Step& step)
{
    dakhost::SetSetting(Setting::NetworkSet, step.flag ? 1 : 0);
}

void SetPresentation(RunContext& /*run*/, const Step& step)
{
    dakhost::SetSetting(Setting::Presentation, Value(step));
}

void SetOption24(RunContext& run, const Step& step)
{
    const std::optional<int> value =
        step.option ? std::optional<int>(static_cast<int>(*step.option)) : std::nullopt;
    dakhost::SetFactoryOption(24, value);
    run.decisions.Option24(value);
}

void SetPower(RunContext& /*run*/, const Step& step)
{
    dakhost::SetMasterPower(step.flag);
}

void SetTz(RunContext& /*run*/, const Step& step)
{
    setenv("TZ", step.text.c_str(), 1);
    tzset();
}

void SetRtc(RunContext& /*run*/, const Step& step)
{
    dakhost::SetRtcPresent(true);
    dakhost::SetRtc(Resolve(step.time));
}

void SetRtcAbsent(RunContext& /*run*/, const Step& /*step*/)
{
    dakhost::SetRtcPresent(false);
}

void SetRtcRaw(RunContext& /*run*/, const Step& step)
{
    const auto& raw = step.rtcRaw;  // year, month, day, hour, minute, second
    dakhost::SetRtcPresent(true);
    dakhost::SetRtcRaw(rtc_time{raw[5], raw[4], raw[3], raw[2], raw[1], raw[0], 0, 0, 0});
}

void SetClock(RunContext& /*run*/, const Step& step)
{
    dakhost::SetPlatformClock(static_cast<uint32_t>(Resolve(step.time)));
}

void SetProcessClock(RunContext& /*run*/, const Step& step)
{
    // `real`: back to the machine's clock; otherwise a virtual time in ms.
    dakhost::SetProcessClock(step.flag ? std::nullopt
                                       : std::optional<int64_t>(Resolve(step.time) * 1000));
}

void SetTzAgent(RunContext& /*run*/, const Step& step)
{
    dakhost::SetTimeZoneAgent(Agent(step.agent), step.offsets);
}

void SetUpdateAgent(RunContext& /*run*/, const Step& step)
{
    dakhost::SetTimeUpdateAgent(Agent(step.agent));
}

void SetEventManager(RunContext& /*run*/, const Step& step)
{
    dakhost::SetEventManagerPresent(step.flag);
}

void SetFactory(RunContext& /*run*/, const Step& step)
{
    dakhost::SelectObjectFactory(step.flag ? dakhost::Region::KR : dakhost::Region::None);
}

void FailRtcRead(RunContext& /*run*/, const Step& step)
{
    dakhost::FailRtcRead(step.flag);
}

void FailRtcWrite(RunContext& /*run*/, const Step& step)
{
    dakhost::FailRtcWrite(step.flag);
}

void FailClockGet(RunContext& /*run*/, const Step& step)
{
    dakhost::FailClockGet(Value(step));
}

void FailClockSet(RunContext& /*run*/, const Step& step)
{
    dakhost::FailClockSet(Value(step));
}

void FailMonotonic(RunContext& /*run*/, const Step& step)
{
    dakhost::FailMonotonic(step.flag ? EINVAL : 0);
}

void FailProcessClock(RunContext& /*run*/, const Step& step)
{
    dakhost::FailProcessClock(step.flag ? EINVAL : 0);
}

void FailSend(RunContext& /*run*/, const Step& step)
{
    dakhost::FailSend(step.flag);
}

void FailMutex(RunContext& /*run*/, const Step& step)
{
    dakhost::FailMutexCreate(step.flag);
}

void FailTaskCreate(RunContext& /*run*/, const Step& step)
{
    dakhost::FailTaskCreate(step.flag);
}

}  // namespace daksim::steps
