// The rebuilt story printed, one line a decision, each led by its log line
// and moment: start-ups, settings, syncs that did something, stream tables
// that were refused or drove the clock, hardware-clock failures, network
// time, signals, and what the log could not tell.
#pragma once

#include <cstdio>

#include "Events.h"

namespace daksim::explain {

class Story : public Listener {
public:
    explicit Story(FILE* out) : m_out(out) {}

    void BeginFile(const std::string& name, const At& at) override;
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

    FILE* m_out;
};

}  // namespace daksim::explain
