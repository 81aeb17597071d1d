#include "Daemon.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>

#include "InputSet.h"
#include "Notify.h"
#include "StatusSocket.h"
#include "StatusText.h"
#include "StopSignal.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace dakd {

namespace {

void Log(const std::string& line)
{
    std::fprintf(stderr, "dak-timed: %s\n", line.c_str());
}

// The platform's options of a configuration, dry run forced when asked.
daklinux::Options PlatformOptions(const Config& config, const RunOptions& run)
{
    daklinux::Options options = config.platform;
    options.dryRun = options.dryRun || run.dryRun;
    if (options.dryRun && options.rtcDevice == daklinux::Options{}.rtcDevice) {
        options.rtcDevice.clear();  // the fake hardware clock beside the settings
    }
    return options;
}

class Daemon {
public:
    Daemon(const Config& config, const RunOptions& run)
        : m_config(config), m_run(run), m_options(PlatformOptions(config, run)), m_inputs(Log)
    {
    }
    int Run();

private:
    void Reload();
    void AnswerStatus();

    Config m_config;
    const RunOptions m_run;
    daklinux::Options m_options;
    InputSet m_inputs;
    std::unique_ptr<StatusSocket> m_status;
};

void Daemon::Reload()
{
    std::string error;
    const auto config = ReadConfigFile(m_run.configPath, error);
    if (!config) {
        Log("configuration not taken, the one before kept: " + error);
        return;
    }
    Notify("RELOADING=1");
    const daklinux::Options options = PlatformOptions(*config, m_run);
    if (options.region != m_options.region || options.settingsPath != m_options.settingsPath ||
        options.rtcDevice != m_options.rtcDevice || config->runtimeDir != m_config.runtimeDir) {
        Log("region, settings, rtc and runtime take effect at the next start");
    }
    if (!daklinux::Apply(options, &error)) {
        Log("platform settings not taken: " + error);
    }
    m_inputs.Stop();
    m_config = *config;
    m_inputs.Start(m_config.inputs, m_config.inputOptions);
    Log("configuration read again: " + std::to_string(m_config.inputs.size()) + " inputs");
    Notify("READY=1");
}

void Daemon::AnswerStatus()
{
    m_status->Answer(
        StatusText(daklinux::Read(m_options), m_inputs.Status(), dakinput::MonotonicMs()));
}

int Daemon::Run()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    // Blocked before any thread starts: every thread inherits the mask, and
    // the signals come to the signal descriptor only.
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const int signalFd = signalfd(-1, &signals, SFD_CLOEXEC);

    std::string error;
    if (!daklinux::Start(m_options, &error)) {
        Log("cannot start: " + error);
        return 1;
    }
    TISystemTimeManager::Instance()->Init();
    TIStreamClock::Init();
    m_inputs.Start(m_config.inputs, m_config.inputOptions);
    mkdir(m_config.runtimeDir.c_str(), 0755);
    m_status = std::make_unique<StatusSocket>(StatusSocketPath(m_config), error);
    if (m_status->Fd() < 0) {
        Log(error + "; dak-timed status will not reach this daemon");
    }
    Log(std::string("started") + (m_options.dryRun ? " in dry run" : "") + ", " +
        std::to_string(m_config.inputs.size()) + " inputs");
    Notify("READY=1");

    const int watchdogMs = WatchdogPeriodMs();
    for (bool running = true; running;) {
        pollfd watched[2] = {{signalFd, POLLIN, 0}, {m_status->Fd(), POLLIN, 0}};
        const int ready = poll(watched, 2, watchdogMs > 0 ? watchdogMs : -1);
        if (ready == 0) {
            Notify("WATCHDOG=1");
            continue;
        }
        if (ready < 0) {
            continue;  // EINTR: nothing blocked is lost
        }
        if ((watched[1].revents & POLLIN) != 0) {
            AnswerStatus();
        }
        signalfd_siginfo info{};
        if ((watched[0].revents & POLLIN) != 0 &&
            read(signalFd, &info, sizeof info) == sizeof info) {
            if (info.ssi_signo == SIGHUP) {
                Reload();
            } else {
                Log(std::string("stopping on ") + strsignal(static_cast<int>(info.ssi_signo)));
                running = false;
            }
        }
    }
    Notify("STOPPING=1");
    m_inputs.Stop();
    m_status.reset();
    TIStreamClock::Exit();
    TISystemTimeManager::Exit();
    daklinux::Stop();
    close(signalFd);
    Log("stopped");
    return 0;
}

}  // namespace

int RunDaemon(const Config& config, const RunOptions& options)
{
    Daemon daemon(config, options);
    return daemon.Run();
}

}  // namespace dakd
