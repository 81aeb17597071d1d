/**
 * @file TIStreamClock.h
 * @brief Stream clocks: one per service context, fed by broadcast time tables.
 */
#pragma once

#include <map>

#include "DAKHandle.h"
#include "DakTimeExport.h"

class TCMutex;

/**
 * @brief The broadcast time of one service context.
 *
 * The table parser hands each broadcast time table of a service context to that context's
 * stream clock with SetStreamClock(). The clock keeps the difference between the table's
 * time and the monotonic clock, so it can be read between tables without touching the wall
 * clock, and a change of the system time does not move it. A table that is accepted may
 * also ask the system time manager to set the system time from the stream. Besides the
 * time, the clock holds the stream's daylight-saving flag and its time offset record.
 *
 * @par Units
 * Times are UTC seconds since 1970-01-01T00:00:00Z in an `unsigned long`, which is 32 bits
 * wide on the set: readings wrap modulo 2^32, and a caller on a 64-bit host passes times
 * below 2^32 too. A stream time is valid from 978307200 (2001-01-01T00:00:00Z) to
 * 4102444799 (2099-12-31T23:59:59Z) inclusive. The offset from the monotonic clock is kept
 * in whole seconds.
 *
 * @par Registry
 * The clocks live in a process-wide registry: Init() creates it, Instance() returns the
 * clock of a handle (creating it on first use), Exit() destroys every clock and the
 * registry. There is no way to remove a single clock.
 *
 * @par Threads
 * Init() runs once at start-up before any other thread uses the registry, and Exit() once at
 * shutdown after every user has stopped. Instance() and every operation of a clock may be
 * called from any thread: each clock has a recursive mutex of its own, and the registry one
 * for itself. A clock only reads from the system time manager or queues a request for it,
 * and the manager never calls a stream clock, so no lock is held while the system time
 * changes.
 *
 * @par Ownership and shutdown
 * The registry owns every clock; callers hold borrowed pointers, valid until Exit(). A clock
 * keeps the system time manager's pointer (creating the manager when none exists), so
 * TIStreamClock::Exit() must run before TISystemTimeManager::Exit().
 *
 * @par Before the manager is started
 * A clock works without a started manager: it keeps and reads the stream time as usual,
 * and the request it makes to set the system time is refused by the manager (logged).
 */
class DAK_TIME_API TIStreamClock {
public:
    /// Destroys the clock; reached only through Exit().
    virtual ~TIStreamClock();

    /**
     * @brief The stream time now.
     *
     * The last valid table's time (whatever its clock mode, and whether or not it was
     * accepted for the system time), moved on by the monotonic clock since it arrived.
     * Before any table, or after Reset(), the monotonic clock's seconds themselves.
     *
     * @param[out] pIsSet when not null, receives whether a table accepted for the system
     *             time has arrived since the clock was made or last Reset(); it is written
     *             even when the reading fails.
     * @return UTC seconds since 1970, modulo 2^32; 0 when the monotonic clock could not be
     *         read (logged).
     */
    virtual unsigned long StreamClock(bool* pIsSet) = 0;

    /**
     * @brief The same reading over the last table that was accepted for the system time.
     *
     * @param[out] pIsSet as for StreamClock(); may be null.
     * @return UTC seconds since 1970, modulo 2^32; 0 when the monotonic clock could not be
     *         read (logged).
     */
    virtual unsigned long StreamClockOfSystem(bool* pIsSet) = 0;

    /**
     * @brief Hands over the time of a broadcast time table.
     *
     * A table in the valid range moves StreamClock(). It is then accepted for the system time
     * when the platform's time-update agent allows this service context (or no such agent is
     * registered) and @p clockMode equals the clock's mode (SetMode()). An accepted table
     * moves StreamClockOfSystem(), is stored as the first stream time when none is stored
     * and @p isScan is false, and, when the TV's clock mode is automatic and the product has
     * a clock, asks the system time manager to set the system time (as @ref SetType_stream,
     * with StreamDST()) if it differs from the table by more than 5 seconds or the stream is
     * not yet the clock's automatic source.
     *
     * @param utc       the table's time, UTC seconds since 1970; valid from 978307200
     *                  (2001-01-01) to 4102444799 (2099-12-31T23:59:59Z) inclusive.
     * @param isScan    true while a channel scan is in progress: the time is then not stored
     *                  as the first stream time.
     * @param clockMode the clock mode the table belongs to.
     * @return true when the table was accepted, whether or not the system time was then set.
     *         false when the time is out of range or the monotonic clock could not be read
     *         (nothing changes), or when the table was not accepted for the system time
     *         (only StreamClock() moved).
     */
    virtual bool SetStreamClock(unsigned long utc, bool isScan, int clockMode) = 0;

    /**
     * @brief Sets the clock mode this clock accepts.
     *
     * Tables and daylight-saving states delivered with another mode do not reach the system
     * time.
     *
     * @param mode a tag chosen by the caller, any value; 0 after construction and Reset().
     */
    virtual void SetMode(int mode) = 0;

    /// @return the clock mode set by SetMode(); 0 after construction and Reset().
    virtual int GetMode() = 0;

    /**
     * @brief Offers the stream's daylight-saving state.
     *
     * Taken only when the TV's clock mode is automatic and @p mode equals the clock's mode;
     * otherwise ignored. When it changes the flag and the stream is the clock's automatic
     * source, the flag is also written to the settings store at once. In every case the
     * flag travels with the next stream time that sets the system time.
     *
     * @param bOnOfft true while daylight saving is in effect.
     * @param mode    the clock mode the state belongs to.
     */
    virtual void SetStreamDST(bool bOnOfft, int mode) = 0;

    /// @return the stream's daylight-saving flag; false after construction and Reset().
    virtual bool StreamDST() = 0;

    /**
     * @brief Stores the broadcast time offset record.
     *
     * The record is kept as given and handed back by GetDVBTimeOffset(); the clock does not
     * interpret it. A time of change of 0xFFFFFFFF reads back as no record.
     *
     * @param timeOfchange  when the offset changes, UTC seconds since 1970.
     * @param nextTimeOffset the offset from the time of change on, in the caller's unit
     *                      (minutes for a broadcast time offset table).
     * @param localOffset   the offset in force now, in the same unit.
     * @return always true.
     */
    virtual bool SetDVBTimeOffset(unsigned long timeOfchange, int nextTimeOffset,
                                  int localOffset) = 0;

    /**
     * @brief Reads the broadcast time offset record.
     *
     * @param[out] timeOfchange   the stored time of change.
     * @param[out] nextTimeOffset the stored next offset.
     * @param[out] localOffset    the stored local offset.
     * @return false when no record is held (after construction or Reset()); the outputs
     *         are then untouched.
     */
    virtual bool GetDVBTimeOffset(unsigned long& timeOfchange, int& nextTimeOffset,
                                  int& localOffset) = 0;

    /**
     * @brief Returns the clock to its initial state.
     *
     * Forgets the stream times, the daylight-saving flag and the offset record, sets the
     * mode to 0 and takes the system time manager's pointer again. The handle stays.
     */
    virtual void Reset() = 0;

    /**
     * @brief Creates the registry.
     *
     * Harmless when it exists: the clocks already made are kept. Call it at start-up, before
     * any other thread uses the registry.
     */
    static void Init();

    /**
     * @brief The stream clock of a service context, created on first use.
     *
     * Any thread; two threads asking for the same new handle get the same clock. Creating a
     * clock creates the system time manager when none exists (it is not started).
     *
     * @param handle the service context.
     * @return the clock, borrowed: valid until Exit(). Null, with an assertion report, before
     *         Init() or after Exit().
     */
    static TIStreamClock* Instance(const DAKHandle& handle);

    /**
     * @brief Destroys every stream clock (smallest handle first) and the registry.
     *
     * Does nothing when there is no registry. Call it at shutdown, after the last use of any
     * clock and before TISystemTimeManager::Exit(). A later Init() starts an empty registry.
     */
    static void Exit();

private:
    static TCMutex* t_pStreamClockMutex;
    static std::map<DAKHandle, TIStreamClock*>* t_streamClockMap;
};
