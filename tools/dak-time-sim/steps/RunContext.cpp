#include "RunContext.h"

#include "DAKHandle.h"
#include "TIStreamClock.h"
#include "TimeValues.h"

namespace daksim {

std::string Describe(const CallResult& result)
{
    switch (result.kind) {
        case CallResult::Kind::Nothing:
            return "no call step yet";
        case CallResult::Kind::Refused:
            return "nothing (the last call step was refused)";
        case CallResult::Kind::Void:
            return "nothing (the last call returns nothing)";
        case CallResult::Kind::Null:
            return "null";
        case CallResult::Kind::Bool:
            return result.boolean ? "true" : "false";
        case CallResult::Kind::Time:
            return TimeText(result.value);
        case CallResult::Kind::Count:
            return std::to_string(result.value);
    }
    return "?";
}

RunContext::RunContext(Runner& runner, const Script& ofScript, const RunOptions& withOptions,
                       Journal& toJournal, Decisions& toDecisions, const LogWindow& logWindow,
                       const SignalBook& signalBook)
    : script(ofScript),
      options(withOptions),
      journal(toJournal),
      decisions(toDecisions),
      window(logWindow),
      signals(signalBook),
      m_runner(runner)
{
}

void RunContext::Print(const std::string& text)
{
    m_runner.Print(text);
}

void RunContext::PrintAt(const Moment& moment, const std::string& text)
{
    m_runner.PrintAt(moment, text);
}

void RunContext::SetBool(bool value)
{
    result.kind = CallResult::Kind::Bool;
    result.boolean = value;
}

void RunContext::Pass(const Step& step)
{
    ++tally.passed;
    const Moment moment = journal.Expectation(step, true, "");
    PrintAt(moment, "ok " + script.name + ":" + std::to_string(step.line));
}

void RunContext::Fail(const Step& step, const std::string& expected, const std::string& got)
{
    ++tally.failed;
    tally.failures.push_back({step.line, step.source});
    const std::string message = "expected " + expected + ", got " + got;
    const Moment moment = journal.Expectation(step, false, message);
    PrintAt(moment, "FAIL " + script.name + ":" + std::to_string(step.line) + ": " + message);
}

void RunContext::Check(const Step& step, bool holds, const std::string& expected,
                       const std::string& got)
{
    if (holds) {
        Pass(step);
    } else {
        Fail(step, expected, got);
    }
}

void RunContext::CheckTime(const Step& step, const TimeValue& expected, const std::string& what,
                           int64_t actual)
{
    const int64_t resolved = Resolve(expected);
    Check(step, Within(actual, expected, resolved),
          what + " " + ExpectedTimeText(expected, resolved), TimeText(actual));
}

TIStreamClock* RunContext::Stream(const args::StreamHandle& handle)
{
    DAKHandle dak;
    dak.profileId = handle.profileId;
    dak.subId = handle.subId;
    TIStreamClock* clock = TIStreamClock::Instance(dak);
    if (clock != nullptr) {
        m_clocks.insert(Key(handle));
    }
    return clock;
}

bool RunContext::RefuseStale(const Step& step, const args::StreamHandle& clock)
{
    const auto stale = m_staleSince.find(Key(clock));
    if (stale == m_staleSince.end()) {
        return false;
    }
    const std::string handle = HandleText(clock);
    ++tally.failed;
    tally.failures.push_back({step.line, step.source});
    Print("FAIL " + script.name + ":" + std::to_string(step.line) + ": step refused: stream " +
          handle + " still holds the manager destroyed by 'manager exit' at line " +
          std::to_string(stale->second) + "; run 'streams exit' or 'stream " + handle +
          " reset' first");
    SetRefused();
    return true;
}

void RunContext::ManagerGone(int line)
{
    for (const HandleKey& clock : m_clocks) {
        m_staleSince.emplace(clock, line);
    }
}

void RunContext::StreamsGone()
{
    m_clocks.clear();
    m_staleSince.clear();
}

void RunContext::StreamReset(const args::StreamHandle& handle)
{
    m_staleSince.erase(Key(handle));
}

}  // namespace daksim
