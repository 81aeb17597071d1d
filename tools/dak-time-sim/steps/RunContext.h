// What the steps of one file's run share: where they print, what they
// record, the result of the last call step, the tally of expectations, and
// the stream clocks the file has made. Each step handler gets it with its
// step; nothing else of the run is reachable from a handler.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "Decisions.h"
#include "Journal.h"
#include "LogWindow.h"
#include "Moment.h"
#include "Runner.h"
#include "Scenario.h"

class TIStreamClock;

namespace daksim {

class SignalBook;

// What the last call step returned.
struct CallResult {
    enum class Kind { Nothing, Refused, Void, Null, Bool, Time, Count };
    Kind kind = Kind::Nothing;
    bool boolean = false;
    int64_t value = 0;
};
std::string Describe(const CallResult& result);

class RunContext {
public:
    RunContext(Runner& runner, const Script& ofScript, const RunOptions& withOptions,
               Journal& toJournal, Decisions& toDecisions, const LogWindow& logWindow,
               const SignalBook& signalBook);

    const Script& script;
    const RunOptions& options;
    Journal& journal;
    Decisions& decisions;
    const LogWindow& window;
    const SignalBook& signals;

    size_t index = 0;   // of the step running
    int markLine = 0;   // of the last `mark` (0: none yet)
    CallResult result;  // of the last call step
    Tally tally;

    // The simulator's own lines (printed even when quiet, like verdicts).
    void Print(const std::string& text);
    void PrintAt(const Moment& moment, const std::string& text);

    void SetBool(bool value);
    void SetVoid() { result.kind = CallResult::Kind::Void; }
    void SetNull() { result.kind = CallResult::Kind::Null; }
    void SetRefused() { result.kind = CallResult::Kind::Refused; }

    // Verdicts of expectations (and of steps that could not be done).
    void Pass(const Step& step);
    void Fail(const Step& step, const std::string& expected, const std::string& got);
    void Check(const Step& step, bool holds, const std::string& expected, const std::string& got);
    // `expected` against `actual`, within its tolerance.
    void CheckTime(const Step& step, const TimeValue& expected, const std::string& what,
                   int64_t actual);

    // The stream clock of `handle`, created on first use like the
    // middleware would; null without a registry.
    TIStreamClock* Stream(const args::StreamHandle& handle);
    // A stream clock keeps the manager it was made with (until its Reset), so
    // the library wants the stream clocks gone before the manager goes. A
    // file that exits the manager first and then feeds such a clock would
    // make it call a destroyed manager: such a step is refused (true).
    bool RefuseStale(const Step& step, const args::StreamHandle& clock);
    // The manager is going at `line`: every stream clock made holds it.
    void ManagerGone(int line);
    void StreamsGone();
    void StreamReset(const args::StreamHandle& handle);

private:
    using HandleKey = std::pair<int32_t, uint16_t>;
    static HandleKey Key(const args::StreamHandle& handle)
    {
        return {handle.profileId, handle.subId};
    }

    Runner& m_runner;
    std::set<HandleKey> m_clocks;           // stream clocks made in this registry
    std::map<HandleKey, int> m_staleSince;  // clocks holding an exited manager
};

}  // namespace daksim
