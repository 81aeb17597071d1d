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

int Int(const args::Value& value)
{
    return static_cast<int>(value.value);
}

dakhost::AgentMode Mode(AgentChoice choice)
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

void SetReason(RunContext& run, const Step& /*step*/, const args::Value& reason)
{
    dakhost::SetSetting(Setting::Reason, Int(reason));
    run.decisions.ReasonStored(Int(reason));
    run.journal.Store(Setting::Reason, Int(reason), false);
}

void SetDst(RunContext& /*run*/, const Step& /*step*/, const args::Value& dst)
{
    dakhost::SetSetting(Setting::FlagDst, Int(dst));
}

void SetOffset(RunContext& /*run*/, const Step& /*step*/, const args::Value& offset)
{
    dakhost::SetSetting(Setting::TimeOffset, Int(offset));
}

void SetRegion(RunContext& /*run*/, const Step& /*step*/, const args::Value& region)
{
    dakhost::SetSetting(Setting::TimeZone, Int(region));
}

void SetFirstStt(RunContext& /*run*/, const Step& /*step*/, const args::Value& first)
{
    dakhost::SetSetting(Setting::FirstStt, static_cast<int>(static_cast<uint32_t>(first.value)));
}

void SetClockMode(RunContext& /*run*/, const Step& /*step*/, const args::Value& mode)
{
    dakhost::SetSetting(Setting::ClockMode, Int(mode));
}

void SetNetworkSet(RunContext& /*run*/, const Step& /*step*/, const args::Switch& state)
{
    dakhost::SetSetting(Setting::NetworkSet, state.on ? 1 : 0);
}

void SetPresentation(RunContext& /*run*/, const Step& /*step*/, const args::Value& presentation)
{
    dakhost::SetSetting(Setting::Presentation, Int(presentation));
}

void SetOption24(RunContext& run, const Step& /*step*/, const args::Option24& option)
{
    const std::optional<int> value = option.value;
    dakhost::SetFactoryOption(24, value);
    run.decisions.Option24(value);
}

void SetPower(RunContext& /*run*/, const Step& /*step*/, const args::Switch& power)
{
    dakhost::SetMasterPower(power.on);
}

void SetTz(RunContext& /*run*/, const Step& /*step*/, const args::Text& tz)
{
    dakhost::SetTimeZone(tz.text);
}

void SetRtc(RunContext& /*run*/, const Step& /*step*/, const args::Time& rtc)
{
    dakhost::SetRtcPresent(true);
    dakhost::SetRtc(Resolve(rtc.time));
}

void SetRtcAbsent(RunContext& /*run*/, const Step& /*step*/, const args::None& /*none*/)
{
    dakhost::SetRtcPresent(false);
}

void SetRtcRaw(RunContext& /*run*/, const Step& /*step*/, const args::RtcRegisters& raw)
{
    const auto& r = raw.registers;  // year, month, day, hour, minute, second
    dakhost::SetRtcPresent(true);
    dakhost::SetRtcRaw(rtc_time{r[5], r[4], r[3], r[2], r[1], r[0], 0, 0, 0});
}

void SetClock(RunContext& /*run*/, const Step& /*step*/, const args::Time& clock)
{
    dakhost::SetPlatformClock(static_cast<uint32_t>(Resolve(clock.time)));
}

void SetProcessClock(RunContext& /*run*/, const Step& /*step*/, const args::ProcessClock& clock)
{
    // `real`: back to the machine's clock; otherwise a virtual time in ms.
    dakhost::SetProcessClock(clock.time ? std::optional<int64_t>(Resolve(*clock.time) * 1000)
                                        : std::nullopt);
}

void SetTzAgent(RunContext& /*run*/, const Step& /*step*/, const args::Agent& agent)
{
    dakhost::SetTimeZoneAgent(Mode(agent.choice), agent.offsets);
}

void SetUpdateAgent(RunContext& /*run*/, const Step& /*step*/, const args::Agent& agent)
{
    dakhost::SetTimeUpdateAgent(Mode(agent.choice));
}

void SetEventManager(RunContext& /*run*/, const Step& /*step*/, const args::Switch& present)
{
    dakhost::SetEventManagerPresent(present.on);
}

void SetFactory(RunContext& /*run*/, const Step& /*step*/, const args::Switch& present)
{
    dakhost::SelectObjectFactory(present.on ? dakhost::Region::KR : dakhost::Region::None);
}

void FailRtcRead(RunContext& /*run*/, const Step& /*step*/, const args::Switch& fault)
{
    dakhost::FailRtcRead(fault.on);
}

void FailRtcWrite(RunContext& /*run*/, const Step& /*step*/, const args::Switch& fault)
{
    dakhost::FailRtcWrite(fault.on);
}

void FailClockGet(RunContext& /*run*/, const Step& /*step*/, const args::Value& code)
{
    dakhost::FailClockGet(Int(code));
}

void FailClockSet(RunContext& /*run*/, const Step& /*step*/, const args::Value& code)
{
    dakhost::FailClockSet(Int(code));
}

void FailMonotonic(RunContext& /*run*/, const Step& /*step*/, const args::Switch& fault)
{
    dakhost::FailMonotonic(fault.on ? EINVAL : 0);
}

void FailProcessClock(RunContext& /*run*/, const Step& /*step*/, const args::Switch& fault)
{
    dakhost::FailProcessClock(fault.on ? EINVAL : 0);
}

void FailSend(RunContext& /*run*/, const Step& /*step*/, const args::Switch& fault)
{
    dakhost::FailSend(fault.on);
}

void FailMutex(RunContext& /*run*/, const Step& /*step*/, const args::Switch& fault)
{
    dakhost::FailMutexCreate(fault.on);
}

void FailTaskCreate(RunContext& /*run*/, const Step& /*step*/, const args::Switch& fault)
{
    dakhost::FailTaskCreate(fault.on);
}

}  // namespace daksim::steps
