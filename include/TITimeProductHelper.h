/**
 * @file TITimeProductHelper.h
 * @brief Capabilities of the product the time service runs on.
 */
#pragma once

#include "DakTimeExport.h"

/**
 * @brief Answers two questions about the product: may broadcast time become system time,
 * and does the hardware clock survive a power cut.
 *
 * The platform's object factory hands out a new helper from `GetTimeProductHelper()`, which
 * this library defines for each regional factory (KR, USA, DVB, BRZ, JPN); ownership passes
 * to the caller, who deletes it through this interface. Every region's helper answers true to
 * IsClockAvailable() and false to ExistBackupBattery(). The helper holds no state: any
 * thread may ask it.
 */
class DAK_TIME_API TITimeProductHelper {
public:
    /// Destroys the helper; deleting through this interface is allowed.
    virtual ~TITimeProductHelper();
    /// @return true when the product has a clock that broadcast time may set.
    virtual bool IsClockAvailable() = 0;
    /// @return true when the hardware clock keeps running while the set has no power.
    virtual bool ExistBackupBattery() = 0;
};
