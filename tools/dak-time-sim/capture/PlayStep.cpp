#include "PlayStep.h"

#include <variant>

#include "CapturePlayer.h"
#include "CaptureReader.h"
#include "SttSection.h"
#include "TimeText.h"
#include "UdpAddress.h"

namespace daksim::capture {

namespace {

std::string Seconds(uint64_t ms)
{
    std::string fraction = std::to_string(ms % 1000U);
    fraction.insert(0, 3 - fraction.size(), '0');
    return std::to_string(ms / 1000U) + "." + fraction + "s";
}

std::string Describe(const Replayed& replayed)
{
    const TimeTable& table = *replayed.table;
    std::string text = std::string("table ") + KindName(table.kind) + " (packet at byte " +
                       std::to_string(table.packetOffset) + ", capture " +
                       Seconds(replayed.elapsedMs) + "): ";
    if (table.kind == TimeTable::Kind::Stt) {
        text += "system_time " + std::to_string(table.systemTime) + " GPS_UTC_offset " +
                std::to_string(table.gpsUtcOffset) + " DS_status " +
                (DsStatus(table.daylightSavings) ? "1" : "0") + ": ";
    }
    if (!replayed.handedOver) {
        return text + replayed.remark;
    }
    if (replayed.hasDst) {
        text += std::string("SetStreamDST(") + (replayed.dst ? "1" : "0") + "), ";
    }
    text += "SetStreamClock(" + IsoFromUtc(replayed.utc) + " " + std::to_string(replayed.utc) +
            ") " + (replayed.accepted ? "true" : "false");
    if (replayed.hasOffset) {
        text += ", SetDVBTimeOffset(" + IsoFromUtc(replayed.timeOfChange) + " " +
                std::to_string(replayed.timeOfChange) + ", " + std::to_string(replayed.nextOffset) +
                ", " + std::to_string(replayed.localOffset) + ")";
    }
    if (!replayed.remark.empty()) {
        text += "; " + replayed.remark;
    }
    return text;
}

}  // namespace

bool IsLive(const std::string& file)
{
    return file.compare(0, 6, "udp://") == 0;
}

std::string CapturePath(const std::string& scriptName, const std::string& file)
{
    if (file.empty() || file[0] == '/' || IsLive(file)) {
        return file;
    }
    const size_t slash = scriptName.rfind('/');
    return slash == std::string::npos ? file : scriptName.substr(0, slash + 1) + file;
}

std::optional<std::string> CheckCaptures(const Script& script)
{
    for (const Step& step : script.steps) {
        const auto* play = step.Get<args::Capture>();
        if (play == nullptr) {
            continue;
        }
        std::string live;
        if (IsLive(play->file) && !ParseUdpUrl(play->file, live)) {
            return script.name + ":" + std::to_string(step.line) + ": " + live;
        }
        if (const auto error = IsLive(play->file)
                                   ? std::nullopt
                                   : CheckCaptureFile(CapturePath(script.name, play->file))) {
            return script.name + ":" + std::to_string(step.line) + ": " + error->message;
        }
    }
    return std::nullopt;
}

PlayOptions OptionsOf(const args::Capture& play)
{
    PlayOptions options;
    options.scan = play.scan;
    options.mode = play.mode;
    options.country = play.country;
    options.region = play.region;
    options.wireMinutes = play.wireMinutes ? *play.wireMinutes : play.jst ? kJstMinutes : 0;
    return options;
}

std::optional<int> PlayStep(TIStreamClock& clock, const args::Capture& play,
                            const std::string& scriptName, const PlayOutput& output,
                            std::string& error)
{
    PlayReport report;
    report.table = [&output](const Replayed& replayed) {
        // A lost table was told by its note; one that was not handed over
        // is told like a note, so that --quiet shows it too.
        if (!replayed.handedOver && !replayed.lost && output.note) {
            output.note("capture: " + Describe(replayed));
        } else if (output.line && !replayed.lost) {
            output.line(Describe(replayed));
        }
        if (output.table) {
            output.table(replayed);
        }
    };
    if (output.note) {
        report.note = [&output](const Note& note) {
            output.note("capture: packet at byte " + std::to_string(note.packetOffset) + ": " +
                        note.text);
        };
    }
    const auto played =
        IsLive(play.file)
            ? PlayLive(clock, play.file, OptionsOf(play), report, {play.forSeconds, play.tables})
            : PlayFile(clock, CapturePath(scriptName, play.file), OptionsOf(play), report);
    if (const auto* failed = std::get_if<ReadError>(&played)) {
        error = failed->message;
        return std::nullopt;
    }
    return std::get<int>(played);
}

}  // namespace daksim::capture
