// The TV product: a clock is available, there is no backup battery.
#pragma once

#include "TITimeProductHelper.h"

class TCTimeProductHelperTV : public TITimeProductHelper {
public:
    ~TCTimeProductHelperTV() override = default;
    bool IsClockAvailable() override { return true; }
    bool ExistBackupBattery() override { return false; }
};
