#include "ScenarioWriter.h"

#include "LibraryMessages.h"
#include "LogFields.h"
#include "SystemTimeManager/TimeRules.h"
#include "Vocabulary.h"

namespace daksim::explain {

using Words = ScenarioFile;

namespace {

constexpr int64_t kFirstValidUtc = 978307200;

}  // namespace

bool ScenarioWriter::Open(const std::string& path)
{
    return m_out.Open(path);
}

bool ScenarioWriter::Close()
{
    m_startup.Release(false);
    return m_out.Close();
}

void ScenarioWriter::Step(const std::string& text)
{
    if (m_startup.Holding()) {
        m_startup.Hold(text);
    } else {
        m_out.Step(text);
    }
}

void ScenarioWriter::From(const At& at, const std::string& what)
{
    m_out.From(at.line, what);
}

std::string ScenarioWriter::RtcFault() const
{
    if (m_rtcHow == "absent") {
        return "set rtc absent";
    }
    if (m_rtcHow.rfind("raw ", 0) == 0) {
        return "set rtc " + m_rtcHow;
    }
    return "fail rtcread 1";
}

void ScenarioWriter::Stop()
{
    if (m_managerUp) {
        Step("manager exit");
        m_managerUp = false;
    }
    if (m_streamsUp) {
        Step("streams exit");
        m_streamsUp = false;
    }
}

void ScenarioWriter::BeginFile(const std::string& name, const At& /*at*/)
{
    m_startup.Release(false);
    m_out.Heading(name);
    Stop();
    m_platform.Fresh();
}

void ScenarioWriter::BeginBoot(const std::string& name, const At& at)
{
    // A power cut: the task and the stream clocks are gone; the settings
    // store and the hardware clock keep what they held.
    m_startup.Release(false);
    m_out.Heading(name);
    From(at, "the set starts again");
    Stop();
    m_platform.PowerCut();
}

void ScenarioWriter::StartupRead(const Startup& startup, const At& at)
{
    m_startup.Release(false);
    From(at, "start-up");
    // Held until the log shows whether its replay ran.
    m_startup.Begin(startup, at.line);
    if (m_managerUp) {
        Step("manager exit");
    }
    if (startup.mainPower) {
        Step(std::string("set power ") + (*startup.mainPower ? "on" : "off"));
    }
    if (startup.reason) {
        // Main power on without a battery forgets the reason before this is
        // logged: the reason the log shows is the one that counts.
        Step("set reason " + Words::ReasonWord(*startup.reason));
        m_platform.ReasonHeld(*startup.reason);
    }
    if (startup.rtcFailed) {
        Step(RtcFault());
    } else if (startup.rtc) {
        Step("fail rtcread 0");
        Step("set rtc " + Words::TimeWord(*startup.rtc));
    }
    Step("init");
    Step("idle");
    if (startup.rtcFailed && RtcFault() == "fail rtcread 1") {
        Step("fail rtcread 0");
    }
    m_managerUp = true;
}

void ScenarioWriter::Expect(const SettingEvent& event)
{
    const Decisions::Setting& setting = event.setting;
    if (setting.accepted && setting.utc >= 0) {
        Step("expect clock " + Words::TimeWord(setting.utc));
    }
    if (event.reasonsKnown) {
        Step("expect setting reason " + ReasonName(setting.reasonAfter));
        // The library wrote it in the replay too.
        m_platform.ReasonHeld(setting.reasonAfter);
    } else if (setting.accepted && setting.type >= 0 && m_platform.ReasonHeldNow()) {
        // A log that does not tell the reasons: the replay stores the one
        // the setting leaves, as the set did.
        m_platform.ReasonHeld(
            dak::ReasonLeftBy(static_cast<ETimeSettingType>(setting.type),
                              static_cast<ESystemTimeReason>(*m_platform.ReasonHeldNow())));
    }
}

void ScenarioWriter::Setting(const SettingEvent& event, const At& at)
{
    const Decisions::Setting& setting = event.setting;
    // Start-up's replay refused for want of the manager's task: not made.
    const bool noTask = event.origin == Origin::Init && setting.why == "manager not initialised";
    m_startup.Release(event.origin == Origin::Init, noTask);
    if (event.origin == Origin::Table) {
        // The log may show it applied after later steps (tables handed over
        // one after the other): the clock then shows the last one's time.
        SettingEvent checked = event;
        if (m_out.Steps() != m_stepsAtTable || m_tablesDriving != 1) {
            checked.setting.utc = -1;
        }
        m_tablesDriving = m_tablesDriving > 0 ? m_tablesDriving - 1 : 0;
        Expect(checked);
        return;
    }
    if (event.origin != Origin::Call) {
        Expect(event);
        return;
    }
    if (setting.type < 0 && !setting.accepted) {
        From(at, "a setting of a type the log does not show: not re-created");
        return;
    }
    // A type outside the table prints as SetType_unknown: written as its
    // number (-1 where the log does not say which: any acts the same).
    const std::string type = SetTypeName(setting.type) == SetTypeName(3)
                                 ? std::to_string(setting.type)
                                 : SetTypeName(setting.type);
    if (setting.type < 0) {
        From(at, "a type outside the table, logged as SetType_unknown: -1 (a guess)");
    }
    From(at, type + (setting.accepted ? " accepted" : " refused: " + setting.why));
    if (Has(setting.why, "clock is manual")) {
        m_platform.ClockMode(1);
    }
    if (setting.why == "clock is manual" || setting.why == "the stream is the automatic source" ||
        setting.why == "no network time") {
        if (setting.why == "no network time") {
            Step("set networkset 0");
            m_networkSet = 0;
        }
        Step("networktime");
        Step("idle");
        return;
    }
    if (event.reasonsKnown) {
        m_platform.ReasonSeen(setting.reasonBefore);
    }
    m_platform.KeepReason();
    if (setting.why == "manual time while the clock is automatic") {
        m_platform.ClockMode(0);
    } else if (setting.accepted &&
               dak::AppliedSettingType(static_cast<ETimeSettingType>(setting.type)) ==
                   SetType_manual &&
               m_platform.ReasonHeldNow() &&
               !dak::IsUpdatePermitted(static_cast<ESystemTimeReason>(*m_platform.ReasonHeldNow()),
                                       SetType_manual)) {
        // Taken although the stored reason forbids it: the clock was manual.
        m_platform.ClockMode(1);
    } else {
        m_platform.KeepClockMode();
    }
    const int ret = static_cast<int>(NumberAfter(setting.why, "ret=").value_or(0));
    if (ret != 0) {
        Step("fail clockset " + std::to_string(ret));
    }
    if (m_rtcWriteFailed) {
        Step("fail rtcwrite 1");
    }
    // A refusal that does not say the time was asked for the clock's own.
    const int64_t utc = setting.utc >= 0 ? setting.utc : kFirstValidUtc;
    Step("settime " + Words::TimeWord(utc) + " " + type);
    const bool atCall = !setting.accepted && ret == 0;
    if (atCall) {
        Step("expect result false");
    }
    Step("idle");
    if (ret != 0) {
        Step("fail clockset 0");
    }
    if (m_rtcWriteFailed) {
        Step("fail rtcwrite 0");
        m_rtcWriteFailed = false;
    }
    Expect(event);
}

void ScenarioWriter::Sync(const Decisions::Sync& sync, const At& at)
{
    m_startup.Release(false);
    From(at, "sync: " + sync.decision);
    m_platform.KeepReason();
    m_platform.KeepClockMode();
    const bool rtcFollows = sync.decision == "hardware clock set from the platform clock";
    if (rtcFollows || (sync.rtc && sync.decision != "in step")) {
        m_platform.RtcFollows(rtcFollows);
    }
    if (sync.system) {
        Step("set clock " + Words::TimeWord(*sync.system));
    }
    if (sync.rtc) {
        Step("set rtc " + Words::TimeWord(*sync.rtc));
    }
    const bool clockFails = sync.decision == "platform clock unreadable";
    const bool rtcFails = sync.decision == "hardware clock unreadable";
    if (clockFails) {
        Step("fail clockget " + std::to_string(m_clockGetFailure != 0 ? m_clockGetFailure : 1));
    }
    if (rtcFails) {
        Step(RtcFault());
    }
    Step("mark");
    Step("sync");
    if (clockFails) {
        Step("fail clockget 0");
        Step("expect nolog \"" + std::string(StartOf(Id(dak::msg::kSyncClocks))) + "\"");
    }
    if (rtcFails) {
        if (RtcFault() == "fail rtcread 1") {
            Step("fail rtcread 0");
        }
        Step("expect nolog \"" + std::string(StartOf(Id(dak::msg::kSyncClocks))) + "\"");
    }
    if (sync.system && sync.rtc) {
        const int64_t difference = *sync.system - *sync.rtc;
        Step("expect log \"" +
             LibraryText(dak::msg::kSyncClocks, static_cast<unsigned long>(*sync.system),
                         static_cast<unsigned long>(*sync.rtc),
                         static_cast<unsigned long>(difference < 0 ? -difference : difference)) +
             "\"");
    }
}

void ScenarioWriter::RtcRead(bool ok, std::optional<int64_t> utc, const std::string& how,
                             const At& /*at*/)
{
    m_rtcOk = ok && utc.has_value();
    m_rtcTime = utc;
    m_rtcHow = how;
}

void ScenarioWriter::RtcWrite(bool ok, std::optional<int64_t> /*utc*/, const At& /*at*/)
{
    if (!ok) {
        m_rtcWriteFailed = true;
    }
}

void ScenarioWriter::ClockRead(std::optional<int64_t> utc, int ret, const At& /*at*/)
{
    m_clockGetFailure = utc ? 0 : ret;
}

void ScenarioWriter::Store(const std::string& key, int64_t value, const At& /*at*/)
{
    if (key == "reason") {
        m_platform.ReasonSeen(value);
    } else if (key == "clockmode") {
        m_platform.ClockModeSeen(value);
    }
}

void ScenarioWriter::Table(const TableEvent& table, const At& at)
{
    m_startup.Release(false);
    const std::string handle = table.handle.empty() ? "1/0" : table.handle;
    From(at, "stream table " + Words::TimeWord(table.utc) + (table.result ? "" : " refused"));
    if (!m_streamsUp) {
        Step("streams init");
        m_streamsUp = true;
    }
    m_platform.KeepReason();
    if (table.why == "the clock is manual") {
        const int64_t seen = m_platform.ClockModeSeenNow().value_or(0);
        m_platform.ClockMode(seen != 0 ? seen : 1);
    } else if (table.askedSet) {
        m_platform.ClockMode(0);
    } else {
        m_platform.KeepClockMode();
    }
    if (table.systemBefore) {
        Step("set clock " + Words::TimeWord(*table.systemBefore));
    }
    m_platform.AgentDenies(table.agentDenied);
    // The stream clock's own mode: the table's, unless the log says otherwise.
    m_platform.StreamMode(handle, table.clockMode.value_or(table.mode));
    const bool noBaseClock = table.why == "no base clock";  // the monotonic clock failed
    if (noBaseClock) {
        Step("fail monotonic 1");
    }
    Step("stream " + handle + " set " + Words::TimeWord(table.utc) +
         " scan=" + (table.scan ? "1" : "0") + " mode=" + std::to_string(table.mode));
    if (table.resultKnown) {
        Step(std::string("expect result ") + (table.result ? "true" : "false"));
    }
    Step("idle");
    if (noBaseClock) {
        Step("fail monotonic 0");
    }
    m_stepsAtTable = m_out.Steps();
    m_tablesDriving += table.askedSet ? 1U : 0U;
}

void ScenarioWriter::Network(std::optional<int64_t> utc, const At& at)
{
    if (!utc) {
        return;  // told with the refused setting
    }
    m_startup.Release(false);
    From(at, "network time " + Words::TimeWord(*utc));
    m_platform.KeepReason();
    m_platform.KeepClockMode();
    // Network time reads the process clock: set to what the set read.
    Step("set processclock " + Words::TimeWord(*utc));
    if (m_networkCalledBack) {
        Step("set networkset 1");  // its callback takes the network time
    } else {
        if (m_networkSet != 1) {
            // The state the call needs, written without a callback that
            // would take the network time a second time.
            Step("fail send 1");
            Step("set networkset 1");
            Step("fail send 0");
        }
        Step("networktime");
    }
    m_networkSet = 1;
    m_networkCalledBack = false;
    Step("idle");
}

void ScenarioWriter::Log(const dakhost::LogLine& line, const At& /*at*/)
{
    m_startup.Log(line);
    if (line.function == "OnVConfCallback" && Has(line.text, "received type:1")) {
        m_networkCalledBack = true;
    }
}

void ScenarioWriter::ManagerExit(const At& at)
{
    m_startup.Release(false);
    From(at, "the manager is deleted");
    Step("manager exit");
    m_managerUp = false;
}

}  // namespace daksim::explain
