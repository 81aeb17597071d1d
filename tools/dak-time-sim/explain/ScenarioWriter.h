// A scenario that re-creates a log's inputs: the starting state start-up
// shows (main power, stored reason, the hardware clock or its fault), each
// setting asked for with its type and time, the stream tables, each sync
// with the clocks it compared, network time and the faults the log shows
// (a hardware clock or platform clock that cannot be read or written). Each
// decision the log shows becomes an expectation, so that the scenario,
// replayed, makes the same decisions again. Steps are written as the log is
// read; what is kept is the little state the next step depends on.
#pragma once

#include <optional>
#include <string>

#include "Events.h"
#include "HeldStartup.h"
#include "ScenarioFile.h"
#include "ScenarioPlatform.h"

namespace daksim::explain {

class ScenarioWriter : public Listener {
public:
    bool Open(const std::string& path);
    // False when something could not be written.
    bool Close();

    void BeginFile(const std::string& name, const At& at) override;
    void BeginBoot(const std::string& name, const At& at) override;
    void StartupRead(const Startup& startup, const At& at) override;
    void Setting(const SettingEvent& event, const At& at) override;
    void Sync(const Decisions::Sync& sync, const At& at) override;
    void RtcRead(bool ok, std::optional<int64_t> utc, const std::string& how,
                 const At& at) override;
    void RtcWrite(bool ok, std::optional<int64_t> utc, const At& at) override;
    void ClockRead(std::optional<int64_t> utc, int ret, const At& at) override;
    void Store(const std::string& key, int64_t value, const At& at) override;
    void Table(const TableEvent& table, const At& at) override;
    void Network(std::optional<int64_t> utc, const At& at) override;
    void ManagerExit(const At& at) override;
    void Log(const dakhost::LogLine& line, const At& at) override;

private:
    void Step(const std::string& text);
    // The manager and the stream clocks, when up, deleted.
    void Stop();
    void From(const At& at, const std::string& what);
    // How the hardware clock read last: "set rtc ..." or "fail rtcread 1".
    std::string RtcFault() const;
    void Expect(const SettingEvent& event);

    ScenarioFile m_out;
    bool m_managerUp = false;
    bool m_streamsUp = false;
    ScenarioPlatform m_platform{m_out};
    // The last hardware-clock read: ok, its time, how it failed.
    bool m_rtcOk = true;
    std::optional<int64_t> m_rtcTime;
    std::string m_rtcHow;
    int m_clockGetFailure = 0;
    bool m_rtcWriteFailed = false;
    size_t m_stepsAtTable = 0;   // steps written when the last table was handed over
    size_t m_tablesDriving = 0;  // tables that asked for a setting not yet seen
    // The network time state as the scenario wrote it, and whether the log
    // showed its change called back (the network time that follows is the
    // callback's, not a client's call).
    std::optional<int> m_networkSet;
    HeldStartup m_startup{m_out};
    bool m_networkCalledBack = false;
};

}  // namespace daksim::explain
