// One listener telling several: the outputs an explain run asked for.
#pragma once

#include <vector>

#include "Events.h"

namespace daksim::explain {

class Fanout : public Listener {
public:
    void Add(Listener* listener) { m_listeners.push_back(listener); }

    void BeginFile(const std::string& name, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->BeginFile(name, at);
        }
    }
    void BeginBoot(const std::string& name, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->BeginBoot(name, at);
        }
    }
    void EndFile(const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->EndFile(at);
        }
    }
    void Log(const dakhost::LogLine& line, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->Log(line, at);
        }
    }
    void StartupRead(const Startup& startup, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->StartupRead(startup, at);
        }
    }
    void Setting(const SettingEvent& event, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->Setting(event, at);
        }
    }
    void Sync(const Decisions::Sync& sync, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->Sync(sync, at);
        }
    }
    void RtcRead(bool ok, std::optional<int64_t> utc, const std::string& how, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->RtcRead(ok, utc, how, at);
        }
    }
    void RtcWrite(bool ok, std::optional<int64_t> utc, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->RtcWrite(ok, utc, at);
        }
    }
    void ClockRead(std::optional<int64_t> utc, int ret, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->ClockRead(utc, ret, at);
        }
    }
    void ClockSet(int result, int64_t utc, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->ClockSet(result, utc, at);
        }
    }
    void Store(const std::string& key, int64_t value, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->Store(key, value, at);
        }
    }
    void Table(const TableEvent& table, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->Table(table, at);
        }
    }
    void Signal(int number, int64_t type, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->Signal(number, type, at);
        }
    }
    void Network(std::optional<int64_t> utc, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->Network(utc, at);
        }
    }
    void Subscription(const std::string& which, bool on, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->Subscription(which, on, at);
        }
    }
    void ManagerExit(const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->ManagerExit(at);
        }
    }
    void Undecided(const std::string& what, const At& at) override
    {
        for (Listener* l : m_listeners) {
            l->Undecided(what, at);
        }
    }

private:
    std::vector<Listener*> m_listeners;
};

}  // namespace daksim::explain
