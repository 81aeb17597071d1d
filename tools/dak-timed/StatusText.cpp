#include "StatusText.h"

#include "DvbTime.h"
#include "StopSignal.h"
#include "TimeSettingTypes.h"

namespace dakd {

namespace {

std::string ReasonText(int reason)
{
    switch (reason) {
        case Reason_init:
            return "Reason_init (no accepted time yet)";
        case Reason_micom:
            return "Reason_micom (set by hand, at start-up from the hardware clock, or after a "
                   "network failure)";
        case Reason_net:
            return "Reason_net (set from network time)";
        case Reason_stream:
            return "Reason_stream (set from a broadcast stream)";
        default:
            return "Reason_unknown (" + std::to_string(reason) + ")";
    }
}

std::string FollowsText(int autoClockType)
{
    switch (autoClockType) {
        case AutoType_stream:
            return "the broadcast stream (AutoType_stream)";
        case AutoType_net:
            return "network time (AutoType_net)";
        case AutoType_max:
            return "no automatic source (AutoType_max)";
        default:
            return "AutoType_unknown (" + std::to_string(autoClockType) + ")";
    }
}

std::string OffsetText(int minutes)
{
    const int magnitude = minutes < 0 ? -minutes : minutes;
    const std::string mm = std::to_string(magnitude % 60);
    return std::string(minutes < 0 ? "-" : "+") + std::to_string(magnitude / 60) + ":" +
           (mm.size() < 2 ? "0" : "") + mm;
}

std::string InputText(const InputStatus& input, uint64_t nowMs)
{
    std::string text = "  " + input.address + " -> stream clock " + HandleText(input.handle) + ": ";
    const dakinput::FeedStatus& feed = input.feed;
    if (!feed.lastKind) {
        text += "no table yet";
    } else {
        text += "last " + dakinput::HandedText(*feed.lastKind, feed.last) + ", " +
                dakinput::DurationText(nowMs - feed.lastAtMs) + " ago";
    }
    text += "; " + std::to_string(feed.tables) + " tables handed over";
    if (feed.refused > 0) {
        text += ", " + std::to_string(feed.refused) + " not";
    }
    if (!feed.lastNote.empty()) {
        text += "\n    last note: " + feed.lastNote;
    }
    return text + "\n";
}

}  // namespace

std::string StatusText(const daklinux::Snapshot& snapshot, const std::vector<InputStatus>& inputs,
                       uint64_t nowMs)
{
    std::string text;
    text += std::string("daemon: ") + (snapshot.running ? "running" : "not running") +
            (snapshot.dryRun ? " (dry run: the machine's clocks are not touched)" : "") + "\n";
    text += "clock: " + dakinput::UtcText(snapshot.platformClock) + "\n";
    text += "follows: " + FollowsText(snapshot.autoClockType) + "\n";
    text += "because: " + ReasonText(snapshot.reason) + "\n";
    if (!snapshot.settingsValid) {
        text += "settings: " + snapshot.settingsProblem + " (defaults shown)\n";
    }
    text += "offset: " + OffsetText(snapshot.timeOffsetMinutes) + ", daylight saving " +
            (snapshot.flagDst != 0 ? "on" : "off") + "\n";
    text += std::string("clock mode: ") + (snapshot.clockMode == 0 ? "automatic" : "manual") + "\n";
    text += "hardware clock: " +
            (snapshot.hardwareClockValid ? dakinput::UtcText(snapshot.hardwareClock)
                                         : "unreadable: " + snapshot.hardwareClockProblem) +
            "\n";
    text += std::string("network time: ") +
            (snapshot.networkSynchronised ? "synchronised" : "not synchronised") +
            " (maximum error " + std::to_string(snapshot.networkMaxErrorUs) + " us)\n";
    text += "first stream time: " +
            (snapshot.firstStreamTime == 0 ? std::string("none")
                                           : dakinput::UtcText(snapshot.firstStreamTime)) +
            "\n";
    if (snapshot.running) {
        text += "inputs:" + std::string(inputs.empty() ? " none\n" : "\n");
        for (const InputStatus& input : inputs) {
            text += InputText(input, nowMs);
        }
    }
    return text;
}

}  // namespace dakd
