// A live broadcast input: it reads its stream until told to stop, handing
// each time table and each note (damage skipped, a stream that stopped, a
// device that failed) to its sink on the calling thread. Its own failures
// are notes: it tries again and keeps running. It blocks in poll with
// timeouts; it never polls in a loop.
#pragma once

#include <memory>
#include <string>

#include "CaptureReader.h"
#include "StopSignal.h"

namespace dakinput {

class Input {
public:
    virtual ~Input() = default;
    // Returns when `stop` is raised, or at the end of a file.
    virtual void Run(CaptureSink& sink, StopSignal& stop) = 0;
    // The address it was opened with.
    virtual const std::string& Address() const = 0;
};

struct InputOptions {
    int stallMs = 5000;            // UDP: silence after which the group is joined again
    unsigned filterTimeoutS = 60;  // demux: a table must come within this
};

// An input from its address:
//   udp://[source@]group:port[?interface=NAME]
//   dvb://ADAPTER.DEMUX or /dev/dvb/adapterN/demuxM
//   file://PATH[?speed=X] or a path to a capture (paced by its PCR at X
//   times real time; X 0: as fast as it reads)
// Nothing, with `error` set, when the address says none of these.
std::unique_ptr<Input> OpenInput(const std::string& address, const InputOptions& options,
                                 std::string& error);

}  // namespace dakinput
