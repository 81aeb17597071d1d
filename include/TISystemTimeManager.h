/**
 * @file TISystemTimeManager.h
 * @brief The system time manager: the process-wide owner of the UTC system clock.
 */
#pragma once

#include "DakTimeExport.h"
#include "TimeSettingTypes.h"

/**
 * @brief The system time manager: decides which source may set the set's UTC system clock,
 * and sets it.
 *
 * One manager exists per process. It is created by Instance(), started by Init() and
 * destroyed by Exit(). Once started it runs a task of its own ("TCSystemTimeManger"). That
 * task is the only thread that changes the platform clock, the hardware clock "/dev/rtc0",
 * the stored reason and the auto clock type: the public operations check a request on the
 * caller's thread and queue it for the task, which handles its requests one at a time in
 * the order they were queued. Every 30 seconds the task compares the platform clock with
 * the hardware clock and corrects the difference.
 *
 * @par Units
 * Times are UTC seconds since 1970-01-01T00:00:00Z in an `unsigned long`, which is 32 bits
 * wide on the set: a time read back is always below 2^32, and a caller on a 64-bit host
 * passes times below 2^32 too. A time the manager accepts for the clock lies from
 * 978307200 (2001-01-01T00:00:00Z) inclusive to 4102444800 (2100-01-01T00:00:00Z)
 * exclusive. Time offsets in the settings store are minutes east of UTC.
 *
 * @par Results
 * `false` means the request was refused or could not be carried out; the reason is in the
 * log. Nothing throws except an allocation failure, and nothing aborts on bad input.
 *
 * @par Threads
 * Instance() must be called first on one thread, at platform start-up, before any other use.
 * Init() is called once, after Instance() and before the other operations, and never
 * together with itself or Exit(). The other operations may then be called from any thread,
 * the manager's own task included; none of them waits for the task. Exit() must not overlap
 * any other use of the manager.
 *
 * @par Ownership and shutdown
 * The manager is a singleton owned by the library; callers hold a borrowed pointer, which
 * Exit() invalidates. Each stream clock keeps the manager's pointer, so TIStreamClock::Exit()
 * must run before TISystemTimeManager::Exit().
 *
 * @par Example
 * @code
 * TISystemTimeManager* manager = TISystemTimeManager::Instance();  // at start-up
 * manager->Init();
 * ...
 * manager->SetSystemTime(utc, SetType_manual, false);  // a user's setting, any thread
 * ...
 * TIStreamClock::Exit();         // stream clocks first: they hold the manager's pointer
 * TISystemTimeManager::Exit();
 * @endcode
 */
class DAK_TIME_API TISystemTimeManager {
public:
    /// Destroys the manager; reached only through Exit().
    virtual ~TISystemTimeManager();

    /**
     * @brief Starts the manager.
     *
     * Creates the manager's task, reads the hardware clock and, when the stored reason
     * allows it, queues the hardware clock's time as the system time (a time at or after
     * 2100-01-01 is replaced by 2001-01-01; one before 2001 is refused; a hardware clock
     * that cannot be read is not replayed). With the main power on and no backup battery
     * the stored reason is reset to @ref Reason_init and the stored daylight-saving flag to
     * 0 first, and nothing is replayed. Then it arms the 30-second sync with the hardware
     * clock and subscribes to the settings changes that matter from the start. The clock
     * itself is set later, on the manager's task.
     *
     * Call it once, after Instance() and before the other operations; never together with
     * Exit().
     *
     * @return true when start-up ran to its end, whether or not the clock was set;
     *         false when the manager was already started (nothing is changed) or its
     *         mutex could not be created (nothing is replayed, armed or subscribed). A task
     *         that could not be created is not reported here: SetSystemTime() then refuses
     *         every request as "isn't Created".
     * @throw std::bad_alloc when an allocation fails; what the call had made is undone
     *        first, so the manager is as constructed and Init() may be called again.
     */
    virtual bool Init() = 0;

    /**
     * @brief Requests a new system time.
     *
     * Checks the request on the caller's thread and queues it for the manager's task, which
     * records the reason the setting leaves behind, sets the platform clock and (except for
     * @ref SetType_sync and @ref SetType_init) the hardware clock, makes the clock follow
     * the new source, and sends signal 108 to the rest of the middleware.
     *
     * A manual setting while the clock mode is automatic is refused when the clock's time
     * came from the broadcast stream or the network; no other setting type is asked about.
     *
     * Any thread, the manager's own task included; it never waits for the task.
     *
     * @param utc  the new time, UTC seconds since 1970; from 978307200 (2001-01-01)
     *             inclusive to 4102444800 (2100-01-01) exclusive.
     * @param type who or what sets the time (see ETimeSettingType).
     * @param dst  the daylight-saving state that goes with the time.
     * @return true when the request was queued. This says nothing about whether the clock
     *         was then set: a platform clock that refuses the time is reported in the log
     *         by the task. false when the manager is not started, the time is out of range,
     *         a manual setting is refused, or the request could not be queued; nothing
     *         changes then.
     */
    virtual bool SetSystemTime(unsigned long utc, ETimeSettingType type, bool dst) = 0;

    /**
     * @brief Reads the platform clock.
     *
     * Any thread; works before Init() too.
     *
     * @param[out] utc the time read, UTC seconds since 1970; untouched on failure.
     * @return true when the clock was read; false when the platform clock could not be read.
     */
    virtual bool GetSystemTime(unsigned long& utc) = 0;

    /**
     * @brief Adopts the network time.
     *
     * When the clock mode is automatic, the clock does not follow the broadcast stream and
     * the stored reason allows a network setting, takes the time the platform set from the
     * network, stores the process time zone's standard offset (minutes east of UTC) and its
     * daylight-saving state, and queues the time as a @ref SetType_net setting. The manager
     * calls it itself when the network time state or the clock mode changes, so a refused
     * attempt is retried by the next such change.
     *
     * Any thread; it never waits for the task.
     *
     * @return true when the network time was allowed and handed on, even when the network
     *         time turned out not to be set (logged). false when the manager is not
     *         started, the clock mode is manual, the clock follows the broadcast stream,
     *         or the stored reason refuses a network setting.
     */
    virtual bool SetSystemTimeByNetworkTime() = 0;

    /**
     * @brief Tells which automatic source the clock follows.
     *
     * Any thread; works before Init() too (the answer is then @ref AutoType_max). The value
     * is changed by the manager's task as settings are applied; a reader sees it before or
     * after a change, never a mixture.
     *
     * @param[out] type the current automatic source.
     * @return always true.
     */
    virtual bool GetAutoClockType(ETypeOfAutoClock& type) = 0;

    /**
     * @brief Reports the stored time offset after a factory reset.
     *
     * Logs the time offset held in the settings store; it sets no time and changes nothing.
     * Any thread; works before Init() too.
     */
    virtual void SetSystemTimeByReleaseTime() = 0;

    /**
     * @brief The manager, created on first use.
     *
     * A new manager writes @ref AutoType_max as the stored auto clock type and is not
     * started: call Init(). Until then SetSystemTime() and SetSystemTimeByNetworkTime()
     * return false. The first call must happen before any concurrent use.
     *
     * @return the process's manager, borrowed: valid until Exit(). An allocation failure
     *         throws and leaves no manager.
     */
    static TISystemTimeManager* Instance();

    /**
     * @brief Stops and destroys the manager.
     *
     * Stops the sync, withdraws the settings subscriptions, stops the task and writes
     * @ref AutoType_max as the stored auto clock type. A later Instance() builds a fresh
     * manager that must be started again. Does nothing when no manager exists.
     *
     * Call it after TIStreamClock::Exit() and when no other thread uses the manager.
     */
    static void Exit();

    /// The manager made by Instance(); null before the first Instance() and after Exit().
    static TISystemTimeManager* t_systemTimeManager;
};
