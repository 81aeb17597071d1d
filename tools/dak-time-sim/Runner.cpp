#include "Runner.h"

#include <linux/rtc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "DakHostControl.h"
#include "Decisions.h"
#include "Journal.h"
#include "LogText.h"
#include "LogWindow.h"
#if DAK_SIM_CAPTURE
#include "PlayStep.h"
#endif
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"
#include "TimeSettingTypes.h"
#include "TimeText.h"
#include "Vocabulary.h"

namespace daksim {

namespace {

constexpr int kSignalTimeUpdated = 108;
// While an expectation or the trace can see a line, the host hands over
// every line whatever --log-level says (the option only hides printed lines);
// while nothing can, lines are not even formatted.
constexpr int kRecordEveryLevel = 99;
constexpr int kRecordNothing = -1;
// The host keeps a capture of its own that the simulator does not read: it
// is emptied every so many lines so that it never grows with a long run.
constexpr unsigned kLinesBetweenClears = 4096;
// The signals a summary lists one by one.
constexpr size_t kSignalsListed = 100;

std::string TimeText(int64_t utc)
{
    return IsoFromUtc(utc) + " (" + std::to_string(utc) + ")";
}

std::string ExpectedTimeText(const TimeValue& expected, int64_t resolved)
{
    std::string text = expected.now ? "now " + IsoFromUtc(resolved) : IsoFromUtc(resolved);
    if (expected.tolerance) {
        text += "~" + std::to_string(*expected.tolerance);
    }
    return text;
}

bool Within(int64_t actual, const TimeValue& expected, int64_t resolved)
{
    const int64_t difference = actual > resolved ? actual - resolved : resolved - actual;
    return difference <= expected.tolerance.value_or(0);
}

int64_t Resolve(const TimeValue& time)
{
    return time.now ? static_cast<int64_t>(std::time(nullptr)) : time.seconds;
}

// What the last call step returned.
struct CallResult {
    enum class Kind { Nothing, Refused, Void, Null, Bool, Time, Count };
    Kind kind = Kind::Nothing;
    bool boolean = false;
    int64_t value = 0;
};

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

unsigned SignalType(const dakhost::SignalRecord& signal)
{
    return static_cast<unsigned>(signal.param[0]) | (static_cast<unsigned>(signal.param[1]) << 8U);
}

// A signal 108 and when it was sent.
struct SignalSeen {
    Moment moment;
    unsigned type;
};

// One file's run.
class FileRun : public dakhost::Observer {
public:
    FileRun(Runner& runner, const Script& script, const RunOptions& options, Journal& journal,
            bool colour)
        : m_runner(runner),
          m_script(script),
          m_options(options),
          m_journal(journal),
          m_colour(colour),
          m_window(script),
          m_decisions([&journal](const Decisions::Setting& setting) { journal.Setting(setting); },
                      [&journal](const Decisions::Sync& sync) { journal.Sync(sync); })
    {
        for (const Step& step : script.steps) {
            if (step.kind == StepKind::ExpectSignal) {
                m_signalsKept = std::max(m_signalsKept, static_cast<size_t>(step.value));
            }
        }
    }

    Tally Run()
    {
        for (size_t i = 0; i < m_script.steps.size(); ++i) {
            m_index = i;
            m_window.EnterStep(i);
            dakhost::SetLogLevel(LevelNeeded());
            RunStep(m_script.steps[i]);
        }
        if (!m_options.quiet) {
            PrintSummary();
        }
        return m_tally;
    }

    // A line the library logged, on the thread that logged it.
    void Logged(const dakhost::LogLine& line)
    {
        m_window.Offer(line);
        if (m_journal.Recording()) {
            m_decisions.Line(line);
        }
        const Moment moment = m_journal.Log(line);
        if (!m_options.quiet && line.level <= m_options.logLevel) {
            m_runner.PrintAt(moment, "    " + LogLineText(line, m_colour));
        }
        thread_local bool clearing = false;
        if (++m_linesSinceClear >= kLinesBetweenClears && !clearing) {
            m_linesSinceClear = 0;
            clearing = true;
            dakhost::ClearLogs();
            clearing = false;
        }
    }

    // ---- what the platform saw the library do --------------------------------

    void SettingWritten(dakhost::Setting setting, int value) override
    {
        if (setting == dakhost::Setting::Reason) {
            m_decisions.ReasonStored(value);
        }
        m_journal.Store(setting, value, true);
    }
    void RtcRead(bool ok, std::optional<int64_t> utc) override { m_journal.RtcRead(ok, utc); }
    void RtcWritten(bool ok, std::optional<int64_t> utc) override { m_journal.RtcWrite(ok, utc); }
    void ClockSet(int result, uint32_t utc) override { m_journal.ClockSet(result, utc); }

    void SignalSent(const dakhost::SignalRecord& signal) override
    {
        if (signal.signalId != kSignalTimeUpdated) {
            return;
        }
        const unsigned type = SignalType(signal);
        int number = 0;
        {
            const std::lock_guard<std::mutex> lock(m_signalLock);
            number = ++m_signalCount;
        }
        const Moment moment = m_journal.Signal(number, type);
        {
            const std::lock_guard<std::mutex> lock(m_signalLock);
            if (m_signals.size() < std::max(m_signalsKept, kSignalsListed)) {
                m_signals.push_back({moment, type});
            }
        }
        if (!m_options.quiet) {
            m_runner.PrintAt(moment, "<< signal 108 #" + std::to_string(number) + " " +
                                         SetTypeName(static_cast<int16_t>(type)));
        }
    }

    void AlarmDue(uint64_t /*virtualMs*/, unsigned short eventId) override
    {
        const Moment moment = m_journal.SyncAlarm(eventId);
        if (!m_options.quiet) {
            m_runner.PrintAt(moment, "~~ sync: the 30 s period ends, the alarm fires");
        }
    }

private:
    int LevelNeeded() const
    {
        if (m_journal.Recording() || m_window.Watching()) {
            return kRecordEveryLevel;
        }
        return m_options.quiet ? kRecordNothing : m_options.logLevel;
    }

    // The setting a call step asks the manager for, for reading its answer.
    void TellDecisions(const Step& step)
    {
        switch (step.kind) {
            case StepKind::SetTime:
                m_decisions.CallStep(step.settingType, Resolve(step.time));
                break;
            case StepKind::NetworkTime:
                m_decisions.CallStep(SetType_net, -1);
                break;
            case StepKind::Init:
                m_decisions.CallStep(SetType_init, -1);
                break;
            case StepKind::StreamSet:
                m_decisions.CallStep(SetType_stream, Resolve(step.time));
                break;
            default:
                m_decisions.CallStep(std::nullopt, -1);
                break;
        }
    }

    void RunStep(const Step& step)
    {
        if (step.kind == StepKind::Heading) {
            if (!m_options.quiet) {
                m_runner.Print("");
                m_runner.Print("## " + step.text);
            }
            return;
        }
        const Moment moment = m_journal.Step(step);
        if (!m_options.quiet) {
            m_runner.PrintAt(moment, "> " + step.source);
        }
        TellDecisions(step);
        try {
            if (step.IsExpectation()) {
                Expect(step);
            } else {
                Act(step);
            }
        } catch (const std::exception& error) {
            Fail(step, "the step to complete", std::string("exception: ") + error.what());
        }
        std::fflush(stdout);
        dakhost::CollectStdout();
    }

    // ---- steps that act ----------------------------------------------------------

    using HandleKey = std::pair<int32_t, uint16_t>;

    static HandleKey Key(const Step& step) { return {step.profileId, step.subId}; }

    // The step's stream clock, created on first use like the middleware
    // would; null without a registry.
    TIStreamClock* Stream(const Step& step)
    {
        DAKHandle handle;
        handle.profileId = step.profileId;
        handle.subId = step.subId;
        TIStreamClock* clock = TIStreamClock::Instance(handle);
        if (clock != nullptr) {
            m_clocks.insert(Key(step));
        }
        return clock;
    }

    // A stream clock keeps the manager it was made with (until its Reset), so
    // the library wants the stream clocks gone before the manager goes. A
    // file that exits the manager first and then feeds such a clock would
    // make it call a destroyed manager: those steps are refused.
    bool RefuseStale(const Step& step)
    {
        if (step.kind != StepKind::StreamSet && step.kind != StepKind::StreamDst &&
            step.kind != StepKind::StreamPlay) {
            return false;
        }
        const auto stale = m_staleSince.find(Key(step));
        if (stale == m_staleSince.end()) {
            return false;
        }
        const std::string handle =
            std::to_string(step.profileId) + "/" + std::to_string(step.subId);
        ++m_tally.failed;
        m_runner.Print("FAIL " + m_script.name + ":" + std::to_string(step.line) +
                       ": step refused: stream " + handle +
                       " still holds the manager destroyed by 'manager exit' at line " +
                       std::to_string(stale->second) + "; run 'streams exit' or 'stream " + handle +
                       " reset' first");
        m_result.kind = CallResult::Kind::Refused;
        return true;
    }

    void SetBool(bool value)
    {
        m_result.kind = CallResult::Kind::Bool;
        m_result.boolean = value;
    }

    void SetVoid() { m_result.kind = CallResult::Kind::Void; }
    void SetNull() { m_result.kind = CallResult::Kind::Null; }

    static dakhost::AgentMode Agent(AgentChoice choice)
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

    void Act(const Step& step)
    {
        using dakhost::Setting;
        const int value = static_cast<int>(step.value);
        switch (step.kind) {
            case StepKind::SetReason:
                dakhost::SetSetting(Setting::Reason, value);
                m_decisions.ReasonStored(value);
                m_journal.Store(Setting::Reason, value, false);
                break;
            case StepKind::SetDst:
                dakhost::SetSetting(Setting::FlagDst, value);
                break;
            case StepKind::SetOffset:
                dakhost::SetSetting(Setting::TimeOffset, value);
                break;
            case StepKind::SetRegion:
                dakhost::SetSetting(Setting::TimeZone, value);
                break;
            case StepKind::SetFirstStt:
                dakhost::SetSetting(Setting::FirstStt,
                                    static_cast<int>(static_cast<uint32_t>(step.value)));
                break;
            case StepKind::SetClockMode:
                dakhost::SetSetting(Setting::ClockMode, value);
                break;
            case StepKind::SetNetworkSet:
                dakhost::SetSetting(Setting::NetworkSet, step.flag ? 1 : 0);
                break;
            case StepKind::SetPresentation:
                dakhost::SetSetting(Setting::Presentation, value);
                break;
            case StepKind::SetOption24:
                dakhost::SetFactoryOption(
                    24, step.option ? std::optional<int>(static_cast<int>(*step.option))
                                    : std::nullopt);
                m_decisions.Option24(step.option
                                         ? std::optional<int>(static_cast<int>(*step.option))
                                         : std::nullopt);
                break;
            case StepKind::SetPower:
                dakhost::SetMasterPower(step.flag);
                break;
            case StepKind::SetTz:
                setenv("TZ", step.text.c_str(), 1);
                tzset();
                break;
            case StepKind::SetRtc:
                dakhost::SetRtcPresent(true);
                dakhost::SetRtc(Resolve(step.time));
                break;
            case StepKind::SetRtcAbsent:
                dakhost::SetRtcPresent(false);
                break;
            case StepKind::SetRtcRaw: {
                const auto& raw = step.rtcRaw;  // year, month, day, hour, minute, second
                dakhost::SetRtcPresent(true);
                dakhost::SetRtcRaw(
                    rtc_time{raw[5], raw[4], raw[3], raw[2], raw[1], raw[0], 0, 0, 0});
                break;
            }
            case StepKind::SetClock:
                dakhost::SetPlatformClock(static_cast<uint32_t>(Resolve(step.time)));
                break;
            case StepKind::SetTzAgent:
                dakhost::SetTimeZoneAgent(Agent(step.agent), step.offsets);
                break;
            case StepKind::SetUpdateAgent:
                dakhost::SetTimeUpdateAgent(Agent(step.agent));
                break;
            case StepKind::SetEventManager:
                dakhost::SetEventManagerPresent(step.flag);
                break;
            case StepKind::SetFactory:
                dakhost::SelectObjectFactory(step.flag ? dakhost::Region::KR
                                                       : dakhost::Region::None);
                break;
            case StepKind::FailRtcRead:
                dakhost::FailRtcRead(step.flag);
                break;
            case StepKind::FailRtcWrite:
                dakhost::FailRtcWrite(step.flag);
                break;
            case StepKind::FailClockGet:
                dakhost::FailClockGet(value);
                break;
            case StepKind::FailClockSet:
                dakhost::FailClockSet(value);
                break;
            case StepKind::FailSend:
                dakhost::FailSend(step.flag);
                break;
            case StepKind::FailMutex:
                dakhost::FailMutexCreate(step.flag);
                break;
            case StepKind::FailTaskCreate:
                dakhost::FailTaskCreate(step.flag);
                break;
            default:
                ActLibrary(step);
                break;
        }
    }

    void ActLibrary(const Step& step)
    {
        switch (step.kind) {
            case StepKind::Init:
                SetBool(TISystemTimeManager::Instance()->Init());
                break;
            case StepKind::ManagerExit:
                if (TISystemTimeManager::t_systemTimeManager != nullptr) {
                    for (const HandleKey& clock : m_clocks) {
                        m_staleSince.emplace(clock, step.line);
                    }
                }
                TISystemTimeManager::Exit();
                SetVoid();
                break;
            case StepKind::SetTime:
                SetBool(TISystemTimeManager::Instance()->SetSystemTime(
                    static_cast<unsigned long>(Resolve(step.time)),
                    static_cast<ETimeSettingType>(step.settingType), step.flag));
                break;
            case StepKind::GetTime: {
                unsigned long utc = 0;
                if (TISystemTimeManager::Instance()->GetSystemTime(utc)) {
                    m_result.kind = CallResult::Kind::Time;
                    m_result.value = static_cast<int64_t>(utc);
                } else {
                    SetBool(false);
                }
                break;
            }
            case StepKind::NetworkTime:
                SetBool(TISystemTimeManager::Instance()->SetSystemTimeByNetworkTime());
                break;
            case StepKind::ReleaseTime:
                TISystemTimeManager::Instance()->SetSystemTimeByReleaseTime();
                SetVoid();
                break;
            case StepKind::StreamsInit:
                TIStreamClock::Init();
                SetVoid();
                break;
            case StepKind::StreamsExit:
                TIStreamClock::Exit();
                m_clocks.clear();
                m_staleSince.clear();
                SetVoid();
                break;
            default:
                ActStream(step);
                break;
        }
    }

    void ActStream(const Step& step)
    {
        switch (step.kind) {
            case StepKind::StreamSet:
            case StepKind::StreamMode:
            case StepKind::StreamDst:
            case StepKind::StreamDvbOffset:
            case StepKind::StreamReset:
            case StepKind::StreamPlay:
                break;
            default:
                ActTime(step);
                return;
        }
        if (RefuseStale(step)) {
            return;
        }
        TIStreamClock* clock = Stream(step);
        if (clock == nullptr) {
            SetNull();
            return;
        }
        const int mode = static_cast<int>(step.mode);
        switch (step.kind) {
            case StepKind::StreamSet: {
                const int64_t utc = Resolve(step.time);
                SetBool(clock->SetStreamClock(static_cast<unsigned long>(utc), step.scan, mode));
                m_journal.StreamSet(HandleText(step.profileId, step.subId), utc, m_result.boolean);
                break;
            }
            case StepKind::StreamMode:
                clock->SetMode(mode);
                SetVoid();
                break;
            case StepKind::StreamDst:
                clock->SetStreamDST(step.flag, mode);
                SetVoid();
                break;
            case StepKind::StreamDvbOffset:
                SetBool(clock->SetDVBTimeOffset(static_cast<unsigned long>(Resolve(step.time)),
                                                static_cast<int>(step.next),
                                                static_cast<int>(step.local)));
                break;
            case StepKind::StreamPlay:
                Play(*clock, step);
                break;
            default:
                clock->Reset();
                m_staleSince.erase(Key(step));
                SetVoid();
                break;
        }
    }

    // Replays a capture; the result is the number of time tables handed over.
    void Play(TIStreamClock& clock, const Step& step)
    {
#if DAK_SIM_CAPTURE
        capture::PlayOutput output;
        if (!m_options.quiet) {
            output.line = [this](const std::string& line) { m_runner.PrintAt(Now(), "  " + line); };
        }
        output.note = [this](const std::string& note) { m_runner.PrintAt(Now(), "  " + note); };
        const std::string handle = HandleText(step.profileId, step.subId);
        output.table = [this, &handle](const capture::Replayed& replayed) {
            const char* kind = capture::KindName(replayed.table->kind);
            if (replayed.handedOver) {
                m_journal.Table(handle, kind, replayed.utc, replayed.accepted);
            } else {
                m_journal.LostTable(handle, kind);
            }
        };
        std::string error;
        const auto tables = capture::PlayStep(clock, step, m_script.name, output, error);
        if (!tables) {
            Fail(step, "a capture to replay", error);
            m_result.kind = CallResult::Kind::Refused;
            return;
        }
        m_result.kind = CallResult::Kind::Count;
        m_result.value = *tables;
#else
        static_cast<void>(clock);
        Fail(step, "a capture to replay", "this dak-time-sim was built without libdvbpsi");
        m_result.kind = CallResult::Kind::Refused;
#endif
    }

    void ActTime(const Step& step)
    {
        switch (step.kind) {
            case StepKind::Idle:
                dakhost::WaitIdle();
                break;
            case StepKind::Sync:
                dakhost::FireAlarms();
                break;
            case StepKind::Advance:
                dakhost::Advance(static_cast<uint64_t>(step.value));
                break;
            case StepKind::Mark:
                dakhost::ClearLogs();
                m_markLine = step.line;
                break;
            default:
                break;
        }
    }

    // ---- expectations ------------------------------------------------------------

    void Pass(const Step& step)
    {
        ++m_tally.passed;
        const Moment moment = m_journal.Expectation(step, true, "");
        m_runner.PrintAt(moment, "ok " + m_script.name + ":" + std::to_string(step.line));
    }

    void Fail(const Step& step, const std::string& expected, const std::string& got)
    {
        ++m_tally.failed;
        const std::string message = "expected " + expected + ", got " + got;
        const Moment moment = m_journal.Expectation(step, false, message);
        m_runner.PrintAt(
            moment, "FAIL " + m_script.name + ":" + std::to_string(step.line) + ": " + message);
    }

    void Check(const Step& step, bool holds, const std::string& expected, const std::string& got)
    {
        if (holds) {
            Pass(step);
        } else {
            Fail(step, expected, got);
        }
    }

    void CheckTime(const Step& step, const std::string& what, int64_t actual)
    {
        const int64_t expected = Resolve(step.time);
        Check(step, Within(actual, step.time, expected),
              what + " " + ExpectedTimeText(step.time, expected), TimeText(actual));
    }

    void Expect(const Step& step)
    {
        switch (step.kind) {
            case StepKind::ExpectResult:
                ExpectResult(step);
                break;
            case StepKind::ExpectSetting:
                ExpectSetting(step);
                break;
            case StepKind::ExpectAutoClock: {
                ETypeOfAutoClock type = AutoType_max;
                const bool answered = TISystemTimeManager::Instance()->GetAutoClockType(type);
                const std::string got = answered ? AutoTypeName(type) + " (" +
                                                       std::to_string(static_cast<int>(type)) + ")"
                                                 : "false from GetAutoClockType";
                Check(step, answered && type == step.value,
                      "autoclock " + AutoTypeName(step.value) + " (" + std::to_string(step.value) +
                          ")",
                      got);
                break;
            }
            case StepKind::ExpectClock:
                CheckTime(step, "clock", dakhost::PlatformClock());
                break;
            case StepKind::ExpectRtc:
                CheckTime(step, "rtc", dakhost::Rtc());
                break;
            case StepKind::ExpectSignals: {
                const auto count = static_cast<int64_t>(SignalCount());
                Check(step, count == step.value, std::to_string(step.value) + " signals 108",
                      std::to_string(count));
                break;
            }
            case StepKind::ExpectSignal:
                ExpectSignal(step);
                break;
            case StepKind::ExpectSubscribed: {
                const bool subscribed = dakhost::IsSubscribed(step.subscription);
                Check(step, subscribed == step.flag,
                      std::string(step.flag ? "" : "no ") + SubscriptionName(step.subscription) +
                          " subscription",
                      subscribed ? "subscribed" : "not subscribed");
                break;
            }
            case StepKind::ExpectRunning: {
                const bool exists = TISystemTimeManager::t_systemTimeManager != nullptr;
                const bool running = exists && dakhost::TaskCount() > 0;
                Check(step, running == step.flag,
                      step.flag ? "a running manager" : "no running manager",
                      !exists   ? "no manager"
                      : running ? "a running manager"
                                : "a manager whose task is not created");
                break;
            }
            case StepKind::ExpectRegistered: {
                const int calls = dakhost::RegisterCalls();
                Check(step, calls == step.value, std::to_string(step.value) + " register calls",
                      std::to_string(calls));
                break;
            }
            case StepKind::ExpectLog:
            case StepKind::ExpectNoLog:
                ExpectLog(step);
                break;
            default:
                ExpectStream(step);
                break;
        }
    }

    void ExpectResult(const Step& step)
    {
        const ExpectedResult& expected = step.expected;
        bool holds = false;
        std::string wanted;
        switch (expected.kind) {
            case ExpectedResult::Kind::Null:
                wanted = "null";
                holds = m_result.kind == CallResult::Kind::Null;
                break;
            case ExpectedResult::Kind::Bool:
                wanted = expected.boolean ? "true" : "false";
                holds =
                    m_result.kind == CallResult::Kind::Bool && m_result.boolean == expected.boolean;
                break;
            case ExpectedResult::Kind::Number: {
                const int64_t number = Resolve(expected.number);
                const bool plain = !expected.number.now && !expected.number.tolerance;
                wanted = plain && number < 978307200 ? std::to_string(number)
                                                     : ExpectedTimeText(expected.number, number);
                if (m_result.kind == CallResult::Kind::Time ||
                    m_result.kind == CallResult::Kind::Count) {
                    holds = Within(m_result.value, expected.number, number);
                } else if (m_result.kind == CallResult::Kind::Bool && plain) {
                    holds = (number == 0 || number == 1) && (number == 1) == m_result.boolean;
                }
                break;
            }
        }
        Check(step, holds, "result " + wanted, Describe(m_result));
    }

    void ExpectSetting(const Step& step)
    {
        using dakhost::Setting;
        switch (step.setting) {
            case SettingName::Reason: {
                const int stored = dakhost::GetSetting(Setting::Reason);
                Check(step, stored == step.value,
                      "reason " + ReasonName(step.value) + " (" + std::to_string(step.value) + ")",
                      ReasonName(stored) + " (" + std::to_string(stored) + ")");
                break;
            }
            case SettingName::AutoClock: {
                const int stored = dakhost::GetSetting(Setting::AutoClockType);
                Check(step, stored == step.value,
                      "stored autoclock " + AutoTypeName(step.value) + " (" +
                          std::to_string(step.value) + ")",
                      AutoTypeName(stored) + " (" + std::to_string(stored) + ")");
                break;
            }
            case SettingName::Dst: {
                const int stored = dakhost::GetSetting(Setting::FlagDst);
                Check(step, stored == step.value, "stored dst " + std::to_string(step.value),
                      std::to_string(stored));
                break;
            }
            case SettingName::Offset: {
                const int stored = dakhost::GetSetting(Setting::TimeOffset);
                Check(step, stored == step.value, "stored offset " + std::to_string(step.value),
                      std::to_string(stored));
                break;
            }
            case SettingName::FirstStt: {
                const int stored = dakhost::GetSetting(Setting::FirstStt);
                if (step.value < 0) {
                    Check(step, stored == step.value,
                          "stored firststt " + std::to_string(step.value), std::to_string(stored));
                } else {
                    const auto actual = static_cast<int64_t>(static_cast<uint32_t>(stored));
                    const int64_t expected = Resolve(step.time);
                    Check(step, Within(actual, step.time, expected),
                          "stored firststt " + ExpectedTimeText(step.time, expected),
                          TimeText(actual));
                }
                break;
            }
        }
    }

    int SignalCount()
    {
        const std::lock_guard<std::mutex> lock(m_signalLock);
        return m_signalCount;
    }

    void ExpectSignal(const Step& step)
    {
        const auto wanted = static_cast<unsigned>(static_cast<uint16_t>(step.settingType));
        const std::string expected = "signal " + std::to_string(step.value) + " of type " +
                                     SetTypeName(step.settingType) + " (" +
                                     std::to_string(step.settingType) + ")";
        int count = 0;
        std::optional<unsigned> found;
        {
            const std::lock_guard<std::mutex> lock(m_signalLock);
            count = m_signalCount;
            if (count >= step.value) {
                found = m_signals.at(static_cast<size_t>(step.value - 1)).type;
            }
        }
        if (!found) {
            Fail(step, expected, "only " + std::to_string(count) + " signals 108");
            return;
        }
        const unsigned type = *found;
        Check(
            step, type == wanted, expected,
            "type " + SetTypeName(static_cast<int16_t>(type)) + " (" + std::to_string(type) + ")");
    }

    void ExpectLog(const Step& step)
    {
        std::string wanted = step.kind == StepKind::ExpectLog ? "log" : "no log";
        if (step.level) {
            wanted += " level=" + std::to_string(*step.level);
        }
        if (step.via) {
            wanted += std::string(" via=") + dakhost::ViaName(static_cast<dakhost::Via>(*step.via));
        }
        wanted += " \"" + step.text + "\"";
        const std::string window = m_markLine > 0
                                       ? "since the mark at line " + std::to_string(m_markLine)
                                       : "since the file's start";

        const LogWindow::Outcome outcome = m_window.OutcomeOf(m_index);
        if (step.kind == StepKind::ExpectLog) {
            std::string got = "no such line " + window;
            if (!outcome.found && outcome.textOnly) {
                got += " (only " + *outcome.textOnly + ")";
            }
            Check(step, outcome.found.has_value(), wanted, got);
        } else {
            Check(step, !outcome.found, wanted + " " + window, outcome.found.value_or(""));
        }
    }

    void ExpectStream(const Step& step)
    {
        TIStreamClock* clock = Stream(step);
        const std::string handle =
            std::to_string(step.profileId) + "/" + std::to_string(step.subId);
        if (clock == nullptr) {
            Fail(step, "a stream clock " + handle, "null from TIStreamClock::Instance");
            return;
        }
        switch (step.kind) {
            case StepKind::ExpectStreamClock:
            case StepKind::ExpectStreamSystem: {
                const bool system = step.kind == StepKind::ExpectStreamSystem;
                bool isSet = false;
                const unsigned long reading =
                    system ? clock->StreamClockOfSystem(&isSet) : clock->StreamClock(&isSet);
                const auto actual = static_cast<int64_t>(static_cast<uint32_t>(reading));
                const int64_t expected = Resolve(step.time);
                std::string wanted = std::string("stream ") + handle +
                                     (system ? " system " : " clock ") +
                                     ExpectedTimeText(step.time, expected);
                bool holds = Within(actual, step.time, expected);
                if (step.isSet) {
                    wanted += std::string(" set=") + (*step.isSet ? "1" : "0");
                    holds = holds && isSet == *step.isSet;
                }
                Check(step, holds, wanted, TimeText(actual) + " set=" + (isSet ? "1" : "0"));
                break;
            }
            case StepKind::ExpectStreamMode: {
                const int mode = clock->GetMode();
                Check(step, mode == step.mode,
                      "stream " + handle + " mode " + std::to_string(step.mode),
                      std::to_string(mode));
                break;
            }
            case StepKind::ExpectStreamDst: {
                const bool dst = clock->StreamDST();
                Check(step, dst == step.flag,
                      "stream " + handle + " dst " + (step.flag ? "1" : "0"), dst ? "1" : "0");
                break;
            }
            case StepKind::ExpectStreamDvbOffset:
            case StepKind::ExpectStreamNoDvbOffset: {
                unsigned long toc = 0;
                int next = 0;
                int local = 0;
                const bool held = clock->GetDVBTimeOffset(toc, next, local);
                const std::string got = held ? std::to_string(toc) + " " + std::to_string(next) +
                                                   " " + std::to_string(local)
                                             : "none";
                if (step.kind == StepKind::ExpectStreamNoDvbOffset) {
                    Check(step, !held, "stream " + handle + " dvboffset none", got);
                } else {
                    const std::string wanted = std::to_string(step.time.seconds) + " " +
                                               std::to_string(step.next) + " " +
                                               std::to_string(step.local);
                    Check(step,
                          held && static_cast<int64_t>(toc) == step.time.seconds &&
                              next == step.next && local == step.local,
                          "stream " + handle + " dvboffset " + wanted, got);
                }
                break;
            }
            default:
                break;
        }
    }

    void PrintSummary()
    {
        using dakhost::Setting;
        const int reason = dakhost::GetSetting(Setting::Reason);
        const int autoClock = dakhost::GetSetting(Setting::AutoClockType);
        std::vector<SignalSeen> signals;
        int signalCount = 0;
        {
            const std::lock_guard<std::mutex> lock(m_signalLock);
            signals = m_signals;
            signalCount = m_signalCount;
        }
        m_runner.Print("");
        m_runner.Print("-- state at the end of " + m_script.name);
        m_runner.Print("   platform clock   " + TimeText(dakhost::PlatformClock()));
        m_runner.Print("   hardware clock   " + TimeText(dakhost::Rtc()));
        m_runner.Print("   stored reason    " + ReasonName(reason) + " (" + std::to_string(reason) +
                       ")");
        m_runner.Print("   auto clock type  " + AutoTypeName(autoClock) + " (" +
                       std::to_string(autoClock) + ")");
        m_runner.Print("   time offset      " +
                       std::to_string(dakhost::GetSetting(Setting::TimeOffset)) + " min");
        m_runner.Print("   flag DST         " +
                       std::to_string(dakhost::GetSetting(Setting::FlagDst)));
        m_runner.Print(std::string("   subscriptions    networktime ") +
                       (dakhost::IsSubscribed(1) ? "1" : "0") + ", timemode " +
                       (dakhost::IsSubscribed(2) ? "1" : "0") + ", presentation " +
                       (dakhost::IsSubscribed(3) ? "1" : "0"));
        m_runner.Print("   signals sent     " + std::to_string(signalCount));
        for (size_t i = 0; i < signals.size() && i < kSignalsListed; ++i) {
            m_runner.Print("     #" + std::to_string(i + 1) + " " +
                           SetTypeName(static_cast<int16_t>(signals[i].type)) + " at " +
                           MomentText(signals[i].moment));
        }
        if (static_cast<size_t>(signalCount) > kSignalsListed) {
            m_runner.Print("     ... and " +
                           std::to_string(static_cast<size_t>(signalCount) - kSignalsListed) +
                           " more");
        }
    }

    Runner& m_runner;
    const Script& m_script;
    const RunOptions& m_options;
    Journal& m_journal;
    const bool m_colour;
    LogWindow m_window;
    Decisions m_decisions;
    size_t m_index = 0;  // of the step running
    std::atomic<unsigned> m_linesSinceClear{0};

    std::mutex m_signalLock;  // guards the signals: the task sends them
    int m_signalCount = 0;
    size_t m_signalsKept = 0;  // the highest K an `expect signal K` asks for
    std::vector<SignalSeen> m_signals;

    Tally m_tally;
    CallResult m_result;
    int m_markLine = 0;
    std::set<HandleKey> m_clocks;           // stream clocks made in this registry
    std::map<HandleKey, int> m_staleSince;  // clocks holding an exited manager
};

// Back to a process that has just loaded the library.
void FreshState()
{
    TIStreamClock::Exit();
    TISystemTimeManager::Exit();
    dakhost::Reset();
    dakhost::UseVirtualTime(true);
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
    FreshState();
    if (!m_options.quiet) {
        Print("=== " + script.name);
    }
    m_journal.BeginFile(script.name);
    FileRun run(*this, script, m_options, m_journal, m_colour);
    dakhost::SetLogSink([&run](const dakhost::LogLine& line) { run.Logged(line); });
    dakhost::SetObserver(&run);
    dakhost::CaptureStdout(true);

    Tally tally;
    try {
        tally = run.Run();
    } catch (const std::exception& error) {
        ++tally.failed;
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
