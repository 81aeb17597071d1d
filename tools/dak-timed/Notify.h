// The service manager's notifications (systemd's sd_notify): READY=1 once
// started, WATCHDOG=1 each half watchdog period, RELOADING=1 and STOPPING=1.
// Nothing outside systemd, or in a build without libsystemd.
#pragma once

#include <string>

namespace dakd {

void Notify(const std::string& state);

// Half the watchdog period the service manager asks for, in milliseconds;
// 0 when it asks for none.
int WatchdogPeriodMs();

}  // namespace dakd
