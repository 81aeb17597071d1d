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

void ExpectResult(RunContext& run, const Step& step, const args::Result& result)
{
    const ExpectedResult& expected = result.expected;
    const CallResult& got = run.result;
    bool holds = false;
    std::string wanted;
    switch (expected.kind) {
        case ExpectedResult::Kind::Null:
            wanted = "null";
            holds = got.kind == CallResult::Kind::Null;
            break;
        case ExpectedResult::Kind::Bool:
            wanted = expected.boolean ? "true" : "false";
            holds = got.kind == CallResult::Kind::Bool && got.boolean == expected.boolean;
            break;
        case ExpectedResult::Kind::Number: {
            const int64_t number = Resolve(expected.number);
            const bool plain = !expected.number.now && !expected.number.tolerance;
            wanted = plain && number < kFirstTime ? std::to_string(number)
                                                  : ExpectedTimeText(expected.number, number);
            if (got.kind == CallResult::Kind::Time || got.kind == CallResult::Kind::Count) {
                holds = Within(got.value, expected.number, number);
            } else if (got.kind == CallResult::Kind::Bool && plain) {
                holds = (number == 0 || number == 1) && (number == 1) == got.boolean;
            }
            break;
        }
    }
    run.Check(step, holds, "result " + wanted, Describe(got));
}

void ExpectSetting(RunContext& run, const Step& step, const args::StoredSetting& wanted)
{
    using dakhost::Setting;
    const int64_t value = wanted.value;
    switch (wanted.setting) {
        case SettingName::Reason: {
            const int stored = dakhost::GetSetting(Setting::Reason);
            run.Check(step, stored == value, "reason " + Named(ReasonName(value), value),
                      Named(ReasonName(stored), stored));
            break;
        }
        case SettingName::AutoClock: {
            const int stored = dakhost::GetSetting(Setting::AutoClockType);
            run.Check(step, stored == value,
                      "stored autoclock " + Named(AutoTypeName(value), value),
                      Named(AutoTypeName(stored), stored));
            break;
        }
        case SettingName::Dst: {
            const int stored = dakhost::GetSetting(Setting::FlagDst);
            run.Check(step, stored == value, "stored dst " + std::to_string(value),
                      std::to_string(stored));
            break;
        }
        case SettingName::Offset: {
            const int stored = dakhost::GetSetting(Setting::TimeOffset);
            run.Check(step, stored == value, "stored offset " + std::to_string(value),
                      std::to_string(stored));
            break;
        }
        case SettingName::FirstStt: {
            const int stored = dakhost::GetSetting(Setting::FirstStt);
            if (value < 0) {
                run.Check(step, stored == value, "stored firststt " + std::to_string(value),
                          std::to_string(stored));
            } else {
                const auto actual = static_cast<int64_t>(static_cast<uint32_t>(stored));
                const int64_t expected = Resolve(wanted.time);
                run.Check(step, Within(actual, wanted.time, expected),
                          "stored firststt " + ExpectedTimeText(wanted.time, expected),
                          TimeText(actual));
            }
            break;
        }
    }
}

void ExpectAutoClock(RunContext& run, const Step& step, const args::Value& type)
{
    ETypeOfAutoClock got = AutoType_max;
    const bool answered = TISystemTimeManager::Instance()->GetAutoClockType(got);
    const std::string text =
        answered ? Named(AutoTypeName(got), static_cast<int>(got)) : "false from GetAutoClockType";
    run.Check(step, answered && got == type.value,
              "autoclock " + Named(AutoTypeName(type.value), type.value), text);
}

void ExpectClock(RunContext& run, const Step& step, const args::Time& clock)
{
    run.CheckTime(step, clock.time, "clock", dakhost::PlatformClock());
}

void ExpectRtc(RunContext& run, const Step& step, const args::Time& rtc)
{
    run.CheckTime(step, rtc.time, "rtc", dakhost::Rtc());
}

void ExpectSignals(RunContext& run, const Step& step, const args::Value& count)
{
    const auto total = static_cast<int64_t>(run.signals.Total());
    run.Check(step, total == count.value, std::to_string(count.value) + " signals 108",
              std::to_string(total));
}

void ExpectSignal(RunContext& run, const Step& step, const args::SignalEntry& signal)
{
    const auto wanted = static_cast<unsigned>(static_cast<uint16_t>(signal.type));
    const std::string expected = "signal " + std::to_string(signal.number) + " of type " +
                                 Named(SetTypeName(signal.type), signal.type);
    const int count = run.signals.Total();
    const std::optional<SignalBook::Seen> found =
        count >= signal.number ? run.signals.Numbered(static_cast<int>(signal.number))
                               : std::nullopt;
    if (!found) {
        run.Fail(step, expected, "only " + std::to_string(count) + " signals 108");
        return;
    }
    run.Check(step, found->type == wanted, expected,
              "type " + Named(SetTypeName(static_cast<int16_t>(found->type)), found->type));
}

void ExpectSubscribed(RunContext& run, const Step& step, const args::Subscription& subscription)
{
    const bool subscribed = dakhost::IsSubscribed(subscription.which);
    run.Check(step, subscribed == subscription.on,
              std::string(subscription.on ? "" : "no ") + SubscriptionName(subscription.which) +
                  " subscription",
              subscribed ? "subscribed" : "not subscribed");
}

void ExpectRunning(RunContext& run, const Step& step, const args::Switch& wanted)
{
    const bool exists = TISystemTimeManager::t_systemTimeManager != nullptr;
    const bool running = exists && dakhost::TaskCount() > 0;
    run.Check(step, running == wanted.on, wanted.on ? "a running manager" : "no running manager",
              !exists   ? "no manager"
              : running ? "a running manager"
                        : "a manager whose task is not created");
}

void ExpectRegistered(RunContext& run, const Step& step, const args::Value& count)
{
    const int calls = dakhost::RegisterCalls();
    run.Check(step, calls == count.value, std::to_string(count.value) + " register calls",
              std::to_string(calls));
}

void ExpectLog(RunContext& run, const Step& step, const args::LogMatch& match)
{
    const bool wantsLine = step.kind == StepKind::ExpectLog;
    std::string wanted = wantsLine ? "log" : "no log";
    if (match.level) {
        wanted += " level=" + std::to_string(*match.level);
    }
    if (match.via) {
        wanted += std::string(" via=") + dakhost::ViaName(static_cast<dakhost::Via>(*match.via));
    }
    wanted += " \"" + match.text + "\"";
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
