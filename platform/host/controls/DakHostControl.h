// Controls of the host platform, for tests and the scenario simulator: set
// every value the platform reports, inject faults, drive virtual time, wait
// for tasks to go idle, and read back what the library did.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "PlatformExport.h"

struct rtc_time;
class IVConfCallbackSubscriber;
class TCObjectFactory;

namespace dakhost {

// ---- whole platform -------------------------------------------------------

// Back to the initial state: settings all 0, main power on, option 24
// unreadable, object factory (KR), event manager and registry present, no
// agent, hardware clock present at 2024-01-01T00:00:00Z, platform clock the
// same, process clock the machine's, no faults, TZ=UTC0, virtual time at 0
// (and with it the monotonic clock's advance), logs and records cleared, the
// register count reset to the libraries loaded now. Whether virtual time is
// on and the scheduling mode are kept.
DAK_PLATFORM_API void Reset();

// ---- settings store --------------------------------------------------------

enum class Setting {
    Reason,         // time-setting reason
    FlagDst,        // daylight-saving flag
    TimeOffset,     // minutes east of UTC
    ClockMode,      // 0 automatic
    TimeZone,       // region identifier
    NetworkSet,     // network time state, 0/1
    AutoClockType,  // written by the library only
    FirstStt,       // first stream time
    Presentation,   // presentation time
};

// Writes a value as the platform would. ClockMode, NetworkSet and
// Presentation call their subscribers back (parameters 2, 1, 3) on every
// write, changed or not, on the calling thread.
DAK_PLATFORM_API void SetSetting(Setting setting, int value);
DAK_PLATFORM_API int GetSetting(Setting setting);

// Every write the library made through TCVConfProvider, in order.
struct SettingWrite {
    Setting setting;
    int value;
};
DAK_PLATFORM_API std::vector<SettingWrite> SettingWrites();

// Settings-change subscriptions.
DAK_PLATFORM_API bool IsSubscribed(int param);  // anyone holds param
struct SubscriptionCall {
    int param;
    bool subscribe;  // false: UnSubscribe
    const IVConfCallbackSubscriber* subscriber;
};
DAK_PLATFORM_API std::vector<SubscriptionCall> SubscriptionCalls();

// ---- providers -------------------------------------------------------------

DAK_PLATFORM_API void SetFactoryOption(int option,
                                       std::optional<int> value);  // nullopt: unreadable
DAK_PLATFORM_API void SetMasterPower(bool on);

enum class Region { None, KR, USA, DVB, BRZ, JPN };
// Which regional object factory TCObjectFactory::GetInstance() returns
// (None: it returns null).
DAK_PLATFORM_API void SelectObjectFactory(Region region);
// Installed once by the regional factories' host glue.
DAK_PLATFORM_API void InstallObjectFactory(Region region, TCObjectFactory* factory);

enum class AgentMode { None, Answer, Refuse, Other };
// Time-zone offset agent (type 31): Answer with the given region->minutes
// map (other regions refused), Refuse all, None (not registered) or Other
// (a registered agent of another interface).
DAK_PLATFORM_API void SetTimeZoneAgent(AgentMode mode, const std::map<int, int>& offsets = {});
// Time-update agent (type 38): Answer = allow, Refuse = deny.
DAK_PLATFORM_API void SetTimeUpdateAgent(AgentMode mode);
// Read holds taken on the agent registry lock that are still held.
DAK_PLATFORM_API int AgentReadHolds();

DAK_PLATFORM_API void SetEventManagerPresent(bool present);
struct SignalRecord {
    int signalId;
    uint8_t param[16];
    int flags;
};
DAK_PLATFORM_API std::vector<SignalRecord> Signals();

// ---- clocks ----------------------------------------------------------------

// The platform clock (BPTime_*) kept in memory; the host clock is never set.
// Both clocks count milliseconds, so that short advances add up; setting a
// clock drops its sub-second part.
DAK_PLATFORM_API void SetPlatformClock(uint32_t utc);
DAK_PLATFORM_API uint32_t PlatformClock();
DAK_PLATFORM_API void FailClockGet(int code);  // 0: works again
DAK_PLATFORM_API void FailClockSet(int code);

// The fake "/dev/rtc0", reached through the library's operating-system seam
// (platform/os/DakOs.h: open, ioctl, close). Time in UTC seconds
// (64-bit so that a reading past 2106 can be represented).
DAK_PLATFORM_API void SetRtc(int64_t utc);
// The clock's registers, handed back verbatim by RTC_RD_TIME (any values, so
// that a dead or corrupted chip can be played). They stand still, Advance()
// leaving them alone, until SetRtc() or a write by the library. Rtc() then
// reads them as a proleptic calendar time (fields running over).
DAK_PLATFORM_API void SetRtcRaw(const rtc_time& registers);
DAK_PLATFORM_API int64_t Rtc();
DAK_PLATFORM_API void SetRtcPresent(bool present);
DAK_PLATFORM_API void FailRtcRead(bool fail);
DAK_PLATFORM_API void FailRtcWrite(bool fail);
DAK_PLATFORM_API int RtcWrites();  // successful RTC_SET_TIME requests
// Off: "/dev/rtc0" reaches the real device of the machine (for a VM test).
DAK_PLATFORM_API void SetRtcFake(bool enabled);

// The monotonic clock the library reads (CLOCK_MONOTONIC through the seam),
// in milliseconds. In virtual time it starts at 100 s and moves only with
// Advance(); otherwise it is the machine's monotonic clock plus what
// Advance() added. Setting the platform clock does not move it.
DAK_PLATFORM_API uint64_t MonotonicMs();
// Reading the monotonic clock fails with this errno (0: works again).
DAK_PLATFORM_API void FailMonotonic(int code);
// The process clock that network time reads (gettimeofday and time through
// the seam): the machine's own time by default (nullopt), or a virtual time
// in milliseconds since 1970 that Advance() moves with the other clocks.
DAK_PLATFORM_API void SetProcessClock(std::optional<int64_t> utcMs);
DAK_PLATFORM_API std::optional<int64_t> ProcessClock();
// Reading the process clock fails with this errno (0: works again).
DAK_PLATFORM_API void FailProcessClock(int code);

// The set's time zone, which the library reads through the seam (tzset,
// timezone, localtime_r, mktime): a POSIX TZ rule or a zone name, as TZ
// takes it ("UTC0" after Reset()).
DAK_PLATFORM_API void SetTimeZone(const std::string& zone);
DAK_PLATFORM_API std::string TimeZone();

// ---- framework faults ------------------------------------------------------

DAK_PLATFORM_API void FailSend(bool fail);         // TCTask::Send refuses
DAK_PLATFORM_API void FailMutexCreate(bool fail);  // TCMutex::Create fails
DAK_PLATFORM_API void FailTaskCreate(bool fail);   // TCTask::Create fails

// ---- time ------------------------------------------------------------------

// Virtual time: alarms measure their periods on a virtual elapsed time that
// only Advance() moves. Off (the default of a plain process), alarms run on
// the monotonic clock.
DAK_PLATFORM_API void UseVirtualTime(bool on);
// Moves the platform clock, the hardware clock, the monotonic clock and a
// virtual process clock forward by `ms`; every
// alarm period that ends inside it, or exactly at its end, fires at its
// moment (the clocks stand there), each followed by WaitIdle(). Firings go in
// time order, alarms due together in creation order, each posted from the
// calling thread on the alarm's behalf. The clocks move by the elapsed time,
// so a clock set meanwhile moves on from its new value. Without virtual time
// only the clocks move. Not to be called from a task's handler.
DAK_PLATFORM_API void Advance(uint64_t ms);
// Every created alarm fires once now (its period is not moved), then WaitIdle().
DAK_PLATFORM_API void FireAlarms();
// Until every task has handled every queued event, including events that
// handling posted: one count of queued events and running handlers over all
// tasks must reach zero. On a task's own thread it returns at once.
DAK_PLATFORM_API void WaitIdle();
// Whether the calling thread is taking a task's turn: running its handler
// on the task's own thread or, under the fixed scheduling rule, on the
// thread that waits for idle.
DAK_PLATFORM_API bool InTaskTurn();
// How often, since the process started, the framework was told of more
// handled work than was queued: a fault of the framework's bookkeeping
// (WaitIdle() may then return early), also printed to standard error. Not
// cleared by Reset(); tests compare it before and after.
DAK_PLATFORM_API int PendingFaults();
// Number of created alarms and of running tasks.
DAK_PLATFORM_API int AlarmCount();
DAK_PLATFORM_API int TaskCount();

// ---- scheduling --------------------------------------------------------------

// Real scheduling (the default): every task and alarm has a thread of its
// own and the workstation decides which runs. Tests and benchmarks that want
// real concurrency keep it.
//
// Deterministic scheduling, for a simulation that must repeat itself: one
// simulated thread runs at a time, the calling thread (the controller) being
// the first. Virtual time should be on: alarms then have no thread and post
// from the controller when Advance() or FireAlarms() makes them due.
// - Without a seed (the fixed rule), tasks have no thread of their own: the
//   controller runs on, and the queued events are handled on its thread
//   whenever it waits for idle (WaitIdle, Advance after each firing,
//   FireAlarms, LetTasksRun, destroying a task): one event at a time, of the
//   task made first that has one, each task's in queue order.
// - With a seed, tasks have threads again, but they pass one baton: at each
//   point where a thread posts or may block (queue wait and post, semaphore
//   take, mutex lock, read and write lock, alarm delivery, settings callback
//   delivery, LetTasksRun) a generator seeded by `seed` chooses among the
//   threads that can run. The same seed gives the same choices.
// Refused (false) while a task or an alarm exists; switching drops nothing.
DAK_PLATFORM_API bool UseDeterministicScheduling(std::optional<uint32_t> seed);
DAK_PLATFORM_API bool UseRealScheduling();
// The end of the controller's turn: with the fixed rule every task handles
// what is queued (WaitIdle()); with a seed one more choice of who runs;
// with real scheduling nothing.
DAK_PLATFORM_API void LetTasksRun();
// Choices the seeded scheduler has made since it was switched on.
DAK_PLATFORM_API uint64_t SchedulingChoices();

// ---- logs ------------------------------------------------------------------

enum class Via { Print, PrintF, Profiling, Trace, Assert, Stdout };
struct LogLine {
    std::string function;
    int line;
    int module;
    int level;
    Via via;
    std::string text;
};
DAK_PLATFORM_API const char* ViaName(Via via);

// Lines above `level` are neither formatted nor recorded (default 5).
DAK_PLATFORM_API void SetLogLevel(int level);
// Captured lines since the last ClearLogs(), oldest first. The recorder is a
// ring of 4 MiB: when it is full the oldest lines make room, so it holds some
// 40 000 lines of the library's length (about 100 bytes each).
DAK_PLATFORM_API std::vector<LogLine> Logs();
DAK_PLATFORM_API void ClearLogs();
// Called for each line as it is logged (null: none). Lines go to standard
// error as well unless SetLogToStderr(false).
DAK_PLATFORM_API void SetLogSink(std::function<void(const LogLine&)> sink);
DAK_PLATFORM_API void SetLogToStderr(bool on);

// Standard output capture: while on, what the process writes to file
// descriptor 1 is collected; CollectStdout() turns each complete line into a
// LogLine via Stdout. OriginalStdout() is the descriptor of the real output.
DAK_PLATFORM_API void CaptureStdout(bool on);
DAK_PLATFORM_API void CollectStdout();
DAK_PLATFORM_API int OriginalStdout();

// ---- observer ----------------------------------------------------------------

// What the platform sees the library do, told as it happens on the thread
// that did it, with no platform lock held (an observer may read the
// controls). For a tool that records a run; at most one at a time, kept over
// Reset(). Every call is a no-op by default.
class DAK_PLATFORM_API Observer {
public:
    Observer() = default;
    virtual ~Observer();
    Observer(const Observer&) = delete;
    Observer& operator=(const Observer&) = delete;
    Observer(Observer&&) = delete;
    Observer& operator=(Observer&&) = delete;

    // A write through TCVConfProvider.
    virtual void SettingWritten(Setting /*setting*/, int /*value*/) {}
    // An RTC_RD_TIME / RTC_SET_TIME request on the hardware clock: whether it
    // succeeded, and the time it read or was asked to write (none when it
    // failed to read, or the registers are not a calendar time).
    virtual void RtcRead(bool /*ok*/, std::optional<int64_t> /*utc*/) {}
    virtual void RtcWritten(bool /*ok*/, std::optional<int64_t> /*utc*/) {}
    // BPTime_set_current_time and what it returned (0: the clock was set).
    virtual void ClockSet(int /*result*/, uint32_t /*utc*/) {}
    // TIEventManager::SendSignal.
    virtual void SignalSent(const SignalRecord& /*signal*/) {}
    // Advance() has moved virtual time to an alarm period's end and is about
    // to post the alarm's event.
    virtual void AlarmDue(uint64_t /*virtualMs*/, unsigned short /*eventId*/) {}
};
// Null: none.
DAK_PLATFORM_API void SetObserver(Observer* observer);

// The virtual elapsed time that Advance() moves, in milliseconds since Reset().
DAK_PLATFORM_API uint64_t VirtualElapsedMs();

// ---- library registration ----------------------------------------------------

DAK_PLATFORM_API int RegisterCalls();
DAK_PLATFORM_API int DeregisterCalls();
DAK_PLATFORM_API int* LastRegisteredPointer();
// The value behind the pointer at the moment of the last register call.
DAK_PLATFORM_API int LastRegisteredValue();

}  // namespace dakhost
