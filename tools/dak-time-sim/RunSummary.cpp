#include "RunSummary.h"

#include <cstddef>
#include <vector>

#include "DakHostControl.h"
#include "RunObserver.h"
#include "Runner.h"
#include "TimeValues.h"
#include "Vocabulary.h"

namespace daksim {

namespace {

// The signals listed one by one.
constexpr size_t kSignalsListed = 100;

}  // namespace

void PrintSummary(Runner& runner, const std::string& name, const SignalBook& signals)
{
    using dakhost::Setting;
    const int reason = dakhost::GetSetting(Setting::Reason);
    const int autoClock = dakhost::GetSetting(Setting::AutoClockType);
    const std::vector<SignalBook::Seen> seen = signals.Kept();
    const int signalCount = signals.Total();
    runner.Print("");
    runner.Print("-- state at the end of " + name);
    runner.Print("   platform clock   " + TimeText(dakhost::PlatformClock()));
    runner.Print("   hardware clock   " + TimeText(dakhost::Rtc()));
    runner.Print("   stored reason    " + ReasonName(reason) + " (" + std::to_string(reason) + ")");
    runner.Print("   auto clock type  " + AutoTypeName(autoClock) + " (" +
                 std::to_string(autoClock) + ")");
    runner.Print("   time offset      " + std::to_string(dakhost::GetSetting(Setting::TimeOffset)) +
                 " min");
    runner.Print("   flag DST         " + std::to_string(dakhost::GetSetting(Setting::FlagDst)));
    runner.Print(std::string("   subscriptions    networktime ") +
                 (dakhost::IsSubscribed(1) ? "1" : "0") + ", timemode " +
                 (dakhost::IsSubscribed(2) ? "1" : "0") + ", presentation " +
                 (dakhost::IsSubscribed(3) ? "1" : "0"));
    runner.Print("   signals sent     " + std::to_string(signalCount));
    for (size_t i = 0; i < seen.size() && i < kSignalsListed; ++i) {
        runner.Print("     #" + std::to_string(i + 1) + " " +
                     SetTypeName(static_cast<int16_t>(seen[i].type)) + " at " +
                     MomentText(seen[i].moment));
    }
    if (static_cast<size_t>(signalCount) > kSignalsListed) {
        runner.Print("     ... and " +
                     std::to_string(static_cast<size_t>(signalCount) - kSignalsListed) + " more");
    }
}

}  // namespace daksim
