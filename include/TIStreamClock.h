// Stream clocks: one per service context, fed by broadcast time tables.
#pragma once

#include <map>

#include "DAKHandle.h"
#include "DakTimeExport.h"

class TCMutex;

class DAK_TIME_API TIStreamClock {
public:
    virtual ~TIStreamClock();

    // Stream UTC now (0 on a base clock error); *pIsSet tells whether an
    // accepted stream time has arrived. pIsSet may be null.
    virtual unsigned long StreamClock(bool* pIsSet) = 0;
    // The same over the last stream time accepted as system time source.
    virtual unsigned long StreamClockOfSystem(bool* pIsSet) = 0;
    // A broadcast time table; false when rejected or not accepted.
    virtual bool SetStreamClock(unsigned long utc, bool isScan, int clockMode) = 0;
    virtual void SetMode(int mode) = 0;
    virtual int GetMode() = 0;
    virtual void SetStreamDST(bool bOnOfft, int mode) = 0;
    virtual bool StreamDST() = 0;
    virtual bool SetDVBTimeOffset(unsigned long timeOfchange, int nextTimeOffset,
                                  int localOffset) = 0;
    // False when no record is held; the outputs are then untouched.
    virtual bool GetDVBTimeOffset(unsigned long& timeOfchange, int& nextTimeOffset,
                                  int& localOffset) = 0;
    virtual void Reset() = 0;

    // Creates the registry; harmless when it exists.
    static void Init();
    // The stream clock of `handle`, created on first use; null before Init().
    static TIStreamClock* Instance(const DAKHandle& handle);
    // Destroys every stream clock (smallest handle first) and the registry.
    static void Exit();

private:
    static TCMutex* t_pStreamClockMutex;
    static std::map<DAKHandle, TIStreamClock*>* t_streamClockMap;
};
