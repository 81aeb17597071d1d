#include "Runner.h"

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <string>

#include "DakHostControl.h"
#include "Decisions.h"
#include "Journal.h"
#include "LogWindow.h"
#include "RunContext.h"
#include "RunObserver.h"
#include "RunSummary.h"
#include "StepTable.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace daksim {

namespace {

// While an expectation or the trace can see a line, the host hands over
// every line whatever --log-level says (the option only hides printed lines);
// while nothing can, lines are not even formatted.
constexpr int kRecordEveryLevel = 99;
constexpr int kRecordNothing = -1;

// One file's run: its steps in order, each through the dispatch table.
class FileRun {
public:
    FileRun(Runner& runner, const Script& script, const RunOptions& options, Journal& journal)
        : m_runner(runner),
          m_script(script),
          m_options(options),
          m_journal(journal),
          m_window(script),
          m_decisions([&journal](const Decisions::Setting& setting) { journal.Setting(setting); },
                      [&journal](const Decisions::Sync& sync) { journal.Sync(sync); }),
          m_observer(runner, script, options, journal, m_decisions, m_window),
          m_context(runner, script, options, journal, m_decisions, m_window, m_observer.Signals())
    {
    }

    RunObserver& Observer() { return m_observer; }

    Tally Run()
    {
        for (size_t i = 0; i < m_script.steps.size(); ++i) {
            m_context.index = i;
            m_window.EnterStep(i);
            dakhost::SetLogLevel(LevelNeeded());
            RunStep(m_script.steps[i]);
        }
        dakhost::WaitIdle();
        if (!m_options.quiet) {
            PrintSummary(m_runner, m_script.name, m_observer.Signals());
        }
        return m_context.tally;
    }

private:
    int LevelNeeded() const
    {
        if (m_journal.Recording() || m_window.Watching()) {
            return kRecordEveryLevel;
        }
        return m_options.quiet ? kRecordNothing : m_options.logLevel;
    }

    // A step runs to its end, then the tasks get their turn: under the fixed
    // scheduling rule they handle what the step posted before the next step.
    void RunStep(const Step& step)
    {
        const StepHandler handler = HandlerOf(step.kind);
        if (handler == nullptr) {  // a heading
            if (!m_options.quiet) {
                m_runner.Print("");
                const auto* heading = step.Get<args::Text>();
                m_runner.Print("## " + (heading != nullptr ? heading->text : std::string()));
            }
            return;
        }
        const Moment moment = m_journal.Step(step);
        if (!m_options.quiet) {
            m_runner.PrintAt(moment, "> " + step.source);
        }
        // A call step that asks the manager for a setting says so itself.
        m_decisions.CallStep(std::nullopt, -1);
        try {
            handler(m_context, step);
        } catch (const std::exception& error) {
            m_context.Fail(step, "the step to complete", std::string("exception: ") + error.what());
        }
        dakhost::LetTasksRun();
        std::fflush(stdout);
        dakhost::CollectStdout();
    }

    Runner& m_runner;
    const Script& m_script;
    const RunOptions& m_options;
    Journal& m_journal;
    LogWindow m_window;
    Decisions m_decisions;
    RunObserver m_observer;
    RunContext m_context;
};

// Back to a process that has just loaded the library.
void FreshState(const RunOptions& options)
{
    TIStreamClock::Exit();
    TISystemTimeManager::Exit();
    dakhost::Reset();
    dakhost::UseVirtualTime(true);
    dakhost::UseDeterministicScheduling(options.seed);
    dakhost::SetLogToStderr(false);
    dakhost::SetLogLevel(kRecordEveryLevel);
}

}  // namespace

Runner::Runner(FILE* out, RunOptions options)
    : m_out(out),
      m_options(options),
      m_colour(isatty(fileno(out)) != 0),
      m_journal(options.trace, options.timeline)
{
}

Runner::~Runner()
{
    dakhost::SetLogSink(nullptr);
    dakhost::SetObserver(nullptr);
}

void Runner::PrintAt(const Moment& moment, const std::string& text)
{
    Print(MomentText(moment) + "  " + text);
}

void Runner::Print(const std::string& text)
{
    const std::lock_guard<std::mutex> lock(m_outMutex);
    std::fputs(text.c_str(), m_out);
    std::fputc('\n', m_out);
    std::fflush(m_out);
}

Tally Runner::Run(const Script& script)
{
    FreshState(m_options);
    if (!m_options.quiet) {
        Print("=== " + script.name +
              (m_options.seed ? "  (seed " + std::to_string(*m_options.seed) + ")" : ""));
    }
    m_journal.BeginFile(script.name, m_options.seed);
    FileRun run(*this, script, m_options, m_journal);
    RunObserver& observer = run.Observer();
    dakhost::SetLogSink([&observer](const dakhost::LogLine& line) { observer.Logged(line); });
    dakhost::SetObserver(&observer);
    dakhost::CaptureStdout(true);

    Tally tally;
    try {
        tally = run.Run();
    } catch (const std::exception& error) {
        ++tally.failed;
        tally.failures.push_back({0, error.what()});
        Print("FAIL " + script.name + ": " + error.what());
    }
    m_journal.EndFile(tally.passed, tally.failed);

    // Leave nothing running into the next file; what the teardown logs is
    // not part of the scenario.
    std::fflush(stdout);
    dakhost::CollectStdout();
    dakhost::SetLogSink(nullptr);
    dakhost::SetObserver(nullptr);
    TIStreamClock::Exit();
    TISystemTimeManager::Exit();
    std::fflush(stdout);
    dakhost::CollectStdout();
    dakhost::CaptureStdout(false);
    return tally;
}

}  // namespace daksim
