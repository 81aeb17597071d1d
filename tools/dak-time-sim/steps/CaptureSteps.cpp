#include "CaptureSteps.h"

#include <string>

#include "Journal.h"
#include "Moment.h"
#include "PlayStep.h"
#include "RunContext.h"
#include "TIStreamClock.h"

namespace daksim::steps {

void StreamPlay(RunContext& run, const Step& step, const args::Capture& play)
{
    if (run.RefuseStale(step, play.handle)) {
        return;
    }
    TIStreamClock* clock = run.Stream(play.handle);
    if (clock == nullptr) {
        run.SetNull();
        return;
    }
    capture::PlayOutput output;
    if (!run.options.quiet) {
        output.line = [&run](const std::string& line) { run.PrintAt(Now(), "  " + line); };
    }
    output.note = [&run](const std::string& note) { run.PrintAt(Now(), "  " + note); };
    const std::string handle = HandleText(play.handle);
    output.table = [&run, &handle](const capture::Replayed& replayed) {
        const char* kind = capture::KindName(replayed.table->kind);
        if (replayed.handedOver) {
            run.journal.Table(handle, kind, replayed.utc, replayed.accepted);
        } else {
            run.journal.LostTable(handle, kind);
        }
    };
    std::string error;
    const auto tables = capture::PlayStep(*clock, play, run.script.name, output, error);
    if (!tables) {
        run.Fail(step, "a capture to replay", error);
        run.SetRefused();
        return;
    }
    run.result.kind = CallResult::Kind::Count;
    run.result.value = *tables;
}

}  // namespace daksim::steps
