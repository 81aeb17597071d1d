// dak-timed: keeps a Linux box's clock with libdak-time, from broadcast time
// tables (DVB demux, UDP, captures) and the box's own network time and
// hardware clock. `dak-timed status` asks the running daemon what it does.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "Config.h"
#include "Daemon.h"
#include "StatusSocket.h"
#include "StatusText.h"

namespace {

constexpr int kExitConfig = 2;
constexpr int kExitNotRunning = 3;

int Status(const dakd::Config& config)
{
    if (const auto text = dakd::QueryStatus(dakd::StatusSocketPath(config))) {
        std::fputs(text->c_str(), stdout);
        return 0;
    }
    // Not running: what the files say, from this process.
    std::fputs(dakd::StatusText(daklinux::Read(config.platform), {}, 0).c_str(), stdout);
    return kExitNotRunning;
}

// Leaves the terminal: the parent returns, the child goes on in a session
// of its own. Standard error stays where it was, for the log.
bool Detach()
{
    const pid_t child = fork();
    if (child < 0) {
        std::perror("dak-timed: fork");
        return false;
    }
    if (child > 0) {
        _exit(0);
    }
    setsid();
    return chdir("/") == 0;
}

int Main(int argc, char** argv)
{
    CLI::App app{"dak-timed: keeps this box's clock from broadcast time tables with libdak-time",
                 "dak-timed"};
    std::string configPath = dakd::kDefaultConfigPath;
    bool foreground = false;
    bool dryRun = false;
    bool check = false;
    app.add_option("-c,--config", configPath, "the configuration file")->capture_default_str();
    app.add_flag("-f,--foreground", foreground, "stay in the foreground (under systemd too)");
    app.add_flag("-n,--dry-run", dryRun,
                 "keep a clock of the daemon's own and a file for the hardware clock: nothing "
                 "of the machine changes");
    app.add_flag("--check", check, "read the configuration, say what is wrong, and exit");
    app.set_version_flag("--version", std::string("dak-timed ") + DAK_TIMED_VERSION);
    CLI::App* status = app.add_subcommand(
        "status",
        "what the running daemon does: the source the clock follows and why, each "
        "input's last table, the hardware clock, the offset and daylight saving");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int code = app.exit(error);
        return code == 0 ? 0 : kExitConfig;
    }

    std::string error;
    const auto config = dakd::ReadConfigFile(configPath, error);
    if (!config) {
        std::fprintf(stderr, "dak-timed: %s\n", error.c_str());
        return kExitConfig;
    }
    if (status->parsed()) {
        return Status(*config);
    }
    if (check) {
        std::printf("%s: %zu inputs, no error\n", configPath.c_str(), config->inputs.size());
        return 0;
    }
    if (!foreground && !Detach()) {
        return 1;
    }
    return dakd::RunDaemon(*config, {configPath, dryRun});
}

}  // namespace

int main(int argc, char** argv)
{
    // Nothing is thrown but an allocation failure; said, not aborted on.
    try {
        return Main(argc, argv);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "dak-timed: %s\n", failure.what());
    } catch (...) {
        std::fputs("dak-timed: an unknown failure\n", stderr);
    }
    return 1;
}
