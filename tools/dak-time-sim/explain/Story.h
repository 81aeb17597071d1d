// The rebuilt story printed, one line a decision, each led by its log line,
// the platform clock then (as the log tells it, "unknown" where it does not)
// and the time elapsed since the part of the log began: start-ups, settings,
// syncs that did something, stream tables that were refused or drove the
// clock, hardware-clock failures, network time, signals, and what the log
// could not tell. The same line again and again in a row is printed once,
// then counted ("x30, lines 40-98").
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "Events.h"

namespace daksim::explain {

class Story : public Listener {
public:
    explicit Story(FILE* out) : m_out(out) {}

    void BeginFile(const std::string& name, const At& at) override;
    void EndFile(const At& at) override;
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
    void Subscription(const std::string& which, bool on, const At& at) override;
    void ManagerExit(const At& at) override;
    void Undecided(const std::string& what, const At& at) override;

private:
    void Say(const At& at, const std::string& text);
    // Ends a run of the same line.
    void Flush();

    FILE* m_out;
    std::string m_last;  // the last line said, without its line and moment
    uint64_t m_repeats = 0;
    uint64_t m_firstLine = 0;
    uint64_t m_lastLine = 0;
};

}  // namespace daksim::explain
