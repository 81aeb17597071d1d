#include "Expectations.h"

#include <cstdint>
#include <optional>
#include <string>

#include "DakHostControl.h"
#include "LogWindow.h"
#include "RunContext.h"
#include "RunObserver.h"
#include "TISystemTimeManager.h"
#include "TimeSettingTypes.h"
#include "TimeValues.h"
#include "Vocabulary.h"

namespace daksim::steps {

namespace {

// Plain integers below this are printed as numbers, not as times.
constexpr int64_t kFirstTime = 978307200;

const char* SubscriptionName(int param)
{
    switch (param) {
        case 1:
            return "networktime";
        case 2:
            return "timemode";
        default:
            return "presentation";
    }
}

std::string Named(const std::string& name, int64_t value)
{
    return name + " (" + std::to_string(value) + ")";
}

}  // namespace

void ExpectResult(RunContext& run, const Step& step)
{
    const ExpectedResult& expected = step.expected;
    const CallResult& result = run.result;
    bool holds = false;
    std::string wanted;
    switch (expected.kind) {
        case ExpectedResult::Kind::Null:
            wanted = "null";
            holds = result.kind == CallResult::Kind::Null;
            break;
        case ExpectedResult::Kind::Bool:
            wanted = expected.boolean ? "true" : "false";
            holds = result.kind == CallResult::Kind::Bool && result.boolean == expected.boolean;
            break;
        case ExpectedResult::Kind::Number: {
            const int64_t number = Resolve(expected.number);
            const bool plain = !expected.number.now && !expected.number.tolerance;
            wanted = plain && number < kFirstTime ? std::to_string(number)
                                                  : ExpectedTimeText(expected.number, number);
            if (result.kind == CallResult::Kind::Time || result.kind == CallResult::Kind::Count) {
                holds = Within(result.value, expected.number, number);
            } else if (result.kind == CallResult::Kind::Bool && plain) {
                holds = (number == 0 || number == 1) && (number == 1) == result.boolean;
            }
            break;
        }
    }
    run.Check(step, holds, "result " + wanted, Describe(result));
}

void ExpectSetting(RunContext& run, const Step& step)
{
    using dakhost::Setting;
    switch (step.setting) {
        case SettingName::Reason: {
            const int stored = dakhost::GetSetting(Setting::Reason);
            run.Check(step, stored == step.value,
                      "reason " + Named(ReasonName(step.value), step.value),
                      Named(ReasonName(stored), stored));
            break;
        }
        case SettingName::AutoClock: {
            const int stored = dakhost::GetSetting(Setting::AutoClockType);
            run.Check(step, stored == step.value,
                      "stored autoclock " + Named(AutoTypeName(step.value), step.value),
                      Named(AutoTypeName(stored), stored));
            break;
        }
        case SettingName::Dst: {
            const int stored = dakhost::GetSetting(Setting::FlagDst);
            run.Check(step, stored == step.value, "stored dst " + std::to_string(step.value),
                      std::to_string(stored));
            break;
        }
        case SettingName::Offset: {
            const int stored = dakhost::GetSetting(Setting::TimeOffset);
            run.Check(step, stored == step.value, "stored offset " + std::to_string(step.value),
                      std::to_string(stored));
            break;
        }
        case SettingName::FirstStt: {
            const int stored = dakhost::GetSetting(Setting::FirstStt);
            if (step.value < 0) {
                run.Check(step, stored == step.value,
                          "stored firststt " + std::to_string(step.value), std::to_string(stored));
            } else {
                const auto actual = static_cast<int64_t>(static_cast<uint32_t>(stored));
                const int64_t expected = Resolve(step.time);
                run.Check(step, Within(actual, step.time, expected),
                          "stored firststt " + ExpectedTimeText(step.time, expected),
                          TimeText(actual));
            }
            break;
        }
    }
}

void ExpectAutoClock(RunContext& run, const Step& step)
{
    ETypeOfAutoClock type = AutoType_max;
    const bool answered = TISystemTimeManager::Instance()->GetAutoClockType(type);
    const std::string got = answered ? Named(AutoTypeName(type), static_cast<int>(type))
                                     : "false from GetAutoClockType";
    run.Check(step, answered && type == step.value,
              "autoclock " + Named(AutoTypeName(step.value), step.value), got);
}

void ExpectClock(RunContext& run, const Step& step)
{
    run.CheckTime(step, "clock", dakhost::PlatformClock());
}

void ExpectRtc(RunContext& run, const Step& step)
{
    run.CheckTime(step, "rtc", dakhost::Rtc());
}

void ExpectSignals(RunContext& run, const Step& step)
{
    const auto count = static_cast<int64_t>(run.signals.Total());
    run.Check(step, count == step.value, std::to_string(step.value) + " signals 108",
              std::to_string(count));
}

void ExpectSignal(RunContext& run, const Step& step)
{
    const auto wanted = static_cast<unsigned>(static_cast<uint16_t>(step.settingType));
    const std::string expected = "signal " + std::to_string(step.value) + " of type " +
                                 Named(SetTypeName(step.settingType), step.settingType);
    const int count = run.signals.Total();
    const std::optional<SignalBook::Seen> found =
        count >= step.value ? run.signals.Numbered(static_cast<int>(step.value)) : std::nullopt;
    if (!found) {
        run.Fail(step, expected, "only " + std::to_string(count) + " signals 108");
        return;
    }
    run.Check(step, found->type == wanted, expected,
              "type " + Named(SetTypeName(static_cast<int16_t>(found->type)), found->type));
}

void ExpectSubscribed(RunContext& run, const Step& step)
{
    const bool subscribed = dakhost::IsSubscribed(step.subscription);
    run.Check(
        step, subscribed == step.flag,
        std::string(step.flag ? "" : "no ") + SubscriptionName(step.subscription) + " subscription",
        subscribed ? "subscribed" : "not subscribed");
}

void ExpectRunning(RunContext& run, const Step& step)
{
    const bool exists = TISystemTimeManager::t_systemTimeManager != nullptr;
    const bool running = exists && dakhost::TaskCount() > 0;
    run.Check(step, running == step.flag, step.flag ? "a running manager" : "no running manager",
              !exists   ? "no manager"
              : running ? "a running manager"
                        : "a manager whose task is not created");
}

void ExpectRegistered(RunContext& run, const Step& step)
{
    const int calls = dakhost::RegisterCalls();
    run.Check(step, calls == step.value, std::to_string(step.value) + " register calls",
              std::to_string(calls));
}

void ExpectLog(RunContext& run, const Step& step)
{
    const bool wantsLine = step.kind == StepKind::ExpectLog;
    std::string wanted = wantsLine ? "log" : "no log";
    if (step.level) {
        wanted += " level=" + std::to_string(*step.level);
    }
    if (step.via) {
        wanted += std::string(" via=") + dakhost::ViaName(static_cast<dakhost::Via>(*step.via));
    }
    wanted += " \"" + step.text + "\"";
    const std::string window = run.markLine > 0
                                   ? "since the mark at line " + std::to_string(run.markLine)
                                   : "since the file's start";

    const LogWindow::Outcome outcome = run.window.OutcomeOf(run.index);
    if (wantsLine) {
        std::string got = "no such line " + window;
        if (!outcome.found && outcome.textOnly) {
            got += " (only " + *outcome.textOnly + ")";
        }
        run.Check(step, outcome.found.has_value(), wanted, got);
    } else {
        run.Check(step, !outcome.found, wanted + " " + window, outcome.found.value_or(""));
    }
}

}  // namespace daksim::steps
