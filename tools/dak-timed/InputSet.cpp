#include "InputSet.h"

#include "TIStreamClock.h"

namespace dakd {

void InputSet::Start(const std::vector<InputConfig>& inputs, const dakinput::InputOptions& options)
{
    for (const InputConfig& config : inputs) {
        std::string error;
        auto input = dakinput::OpenInput(config.address, options, error);
        TIStreamClock* clock = TIStreamClock::Instance(config.handle);
        if (!input || clock == nullptr) {
            m_log(config.address + ": not started: " +
                  (input ? "no stream clock for handle " + HandleText(config.handle) : error));
            continue;
        }
        auto running = std::make_unique<Running>();
        running->config = config;
        running->input = std::move(input);
        const std::string prefix = config.address + " (" + HandleText(config.handle) + "): ";
        running->feed = std::make_unique<dakinput::ClockFeed>(
            *clock, config.feed, [this, prefix](const std::string& line) { m_log(prefix + line); });
        Running& started = *running;
        running->thread =
            std::thread([&started] { started.input->Run(*started.feed, started.stop); });
        m_running.push_back(std::move(running));
    }
}

void InputSet::Stop()
{
    for (auto& running : m_running) {
        running->stop.Raise();
    }
    for (auto& running : m_running) {
        running->thread.join();
    }
    m_running.clear();
}

std::vector<InputStatus> InputSet::Status() const
{
    std::vector<InputStatus> status;
    for (const auto& running : m_running) {
        status.push_back(
            {running->config.address, running->config.handle, running->feed->Status()});
    }
    return status;
}

}  // namespace dakd
