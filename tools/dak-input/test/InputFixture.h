// What the input tests share: a sink that collects what an input hands
// over and lets a test wait for it (never for a fixed time), an input run
// on its own thread, and captures written for the purpose.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "CaptureReader.h"
#include "CaptureWriter.h"
#include "Input.h"

namespace dakinput::test {

using daksim::capture::Bytes;

class Collect : public CaptureSink {
public:
    explicit Collect(CaptureSink* next = nullptr) : m_next(next) {}

    void Table(const TimeTable& table) override
    {
        if (m_next != nullptr) {
            m_next->Table(table);
        }
        const std::lock_guard<std::mutex> hold(m_lock);
        m_tables.push_back(table);
        m_changed.notify_all();
    }
    void Note(const struct Note& note) override
    {
        if (m_next != nullptr) {
            m_next->Note(note);
        }
        const std::lock_guard<std::mutex> hold(m_lock);
        m_notes.push_back(note.text);
        m_changed.notify_all();
    }

    // Waits until `done` holds of what came; false when it has not after a
    // bound far beyond any run's need (a hung input fails, it does not hang).
    bool WaitFor(const std::function<bool(const std::vector<TimeTable>&,
                                          const std::vector<std::string>&)>& done)
    {
        std::unique_lock<std::mutex> hold(m_lock);
        return m_changed.wait_for(hold, std::chrono::seconds(20),
                                  [&] { return done(m_tables, m_notes); });
    }
    bool WaitTables(size_t count)
    {
        return WaitFor([count](const auto& tables, const auto&) { return tables.size() >= count; });
    }
    bool WaitNote(const std::string& text)
    {
        return WaitFor([&text](const auto&, const auto& notes) {
            return std::any_of(notes.begin(), notes.end(), [&text](const std::string& note) {
                return note.find(text) != std::string::npos;
            });
        });
    }
    // Something the predicates look at changed outside the sink.
    void Poke()
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        m_changed.notify_all();
    }
    std::vector<TimeTable> Tables()
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        return m_tables;
    }
    std::string Notes()
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        std::string all;
        for (const auto& note : m_notes) {
            all += note + "\n";
        }
        return all;
    }

private:
    CaptureSink* m_next;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<TimeTable> m_tables;
    std::vector<std::string> m_notes;
};

// An input running on a thread of its own until the object goes.
class Running {
public:
    Running(Input& input, CaptureSink& sink) : m_thread([&] { input.Run(sink, m_stop); }) {}
    ~Running()
    {
        m_stop.Raise();
        m_thread.join();
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

private:
    StopSignal m_stop;
    std::thread m_thread;
};

}  // namespace dakinput::test
