// The daemon's inputs, each on a thread of its own, each feeding the stream
// clock of its service handle; stopped and joined together (SIGTERM, or a
// configuration read again).
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ClockFeed.h"
#include "Config.h"

namespace dakd {

struct InputStatus {
    std::string address;
    DAKHandle handle;
    dakinput::FeedStatus feed;
};

class InputSet {
public:
    using Log = std::function<void(const std::string& line)>;
    explicit InputSet(Log log) : m_log(std::move(log)) {}
    ~InputSet() { Stop(); }
    InputSet(const InputSet&) = delete;
    InputSet& operator=(const InputSet&) = delete;

    // Starts one thread per input; the stream clocks must be initialised.
    void Start(const std::vector<InputConfig>& inputs, const dakinput::InputOptions& options);
    void Stop();
    std::vector<InputStatus> Status() const;

private:
    struct Running {
        InputConfig config;
        std::unique_ptr<dakinput::Input> input;
        std::unique_ptr<dakinput::ClockFeed> feed;
        dakinput::StopSignal stop;
        std::thread thread;
    };
    Log m_log;
    std::vector<std::unique_ptr<Running>> m_running;
};

}  // namespace dakd
