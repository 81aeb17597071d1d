// The stream clock of one service context. It keeps the broadcast time as an
// offset over the monotonic base clock, so a reading advances between two
// time tables and never follows a change of the wall clock. A second offset
// tracks only the tables that were accepted as the source of the system time.
#pragma once

#include <atomic>
#include <cstdint>

#include <boost/shared_ptr.hpp>

#include "DAKHandle.h"
#include "TCMutex.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"
#include "TITimeProductHelper.h"

class TCStreamClock : public TIStreamClock {
public:
    explicit TCStreamClock(const DAKHandle& handle);
    ~TCStreamClock() override;
    TCStreamClock(const TCStreamClock&) = delete;
    TCStreamClock& operator=(const TCStreamClock&) = delete;
    TCStreamClock(TCStreamClock&&) = delete;
    TCStreamClock& operator=(TCStreamClock&&) = delete;

    unsigned long StreamClock(bool* pIsSet) override;
    unsigned long StreamClockOfSystem(bool* pIsSet) override;
    bool SetStreamClock(unsigned long utc, bool isScan, int clockMode) override;
    void SetMode(int mode) override;
    int GetMode() override;
    void SetStreamDST(bool bOnOfft, int mode) override;
    bool StreamDST() override;
    bool SetDVBTimeOffset(unsigned long timeOfchange, int nextTimeOffset, int localOffset) override;
    bool GetDVBTimeOffset(unsigned long& timeOfchange, int& nextTimeOffset,
                          int& localOffset) override;
    void Reset() override;

private:
    // Back to the values of a fresh clock; the caller holds m_mutex (or is
    // the constructor).
    void m_Initialize();
    // Whole seconds of CLOCK_MONOTONIC; *pBase is untouched on failure.
    bool m_GetBaseClock(unsigned long* pBase);

    TCMutex m_mutex;
    DAKHandle m_handle;
    // Both offsets are UTC minus base clock modulo 2^32, in effect a signed
    // 32-bit difference, exactly as on the 32-bit target.
    uint32_t m_streamOffset = 0;
    uint32_t m_systemOffset = 0;
    int32_t m_clockMode = 0;
    // Read without the mutex for one log line only; every other access is
    // under m_mutex, so relaxed ordering is enough.
    std::atomic<bool> m_dst{false};
    bool m_streamTimeSet = false;
    static constexpr unsigned long kNoTimeOffsetRecord = 0xFFFFFFFFUL;
    unsigned long m_timeOfchange = kNoTimeOffsetRecord;
    int32_t m_nextTimeOffset = -1;
    int32_t m_localOffset = -1;
    TISystemTimeManager* m_pSystemTimeManager = nullptr;      // borrowed singleton
    boost::shared_ptr<TITimeProductHelper> m_pProductHelper;  // empty without a factory
};
