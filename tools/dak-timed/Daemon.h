// The daemon's life: the platform started from the configuration, the
// library's manager and stream clocks, the inputs; then asleep in poll on
// its signals and its status socket (and the watchdog's period under
// systemd) until SIGTERM, which stops everything through the manager's exit.
// SIGHUP reads the configuration again: a wrong one is logged and the old
// one kept.
#pragma once

#include <string>

#include "Config.h"

namespace dakd {

struct RunOptions {
    std::string configPath;
    bool dryRun = false;  // forced by --dry-run, whatever the file says
};

// The exit status: 0 after SIGTERM, 1 when the platform cannot start.
int RunDaemon(const Config& config, const RunOptions& options);

}  // namespace dakd
