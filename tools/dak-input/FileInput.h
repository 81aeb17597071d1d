// File input: a capture played as if it were arriving, each table handed
// over when the capture's PCR says it came, `speed` times faster than real
// time (0: as fast as the file reads). Tables before the first PCR, or in a
// capture without one, go at once. For tests and demonstrations.
#pragma once

#include "Input.h"

namespace dakinput {

class FileInput : public Input {
public:
    FileInput(std::string address, std::string path, double speed);
    void Run(CaptureSink& sink, StopSignal& stop) override;
    const std::string& Address() const override { return m_address; }

private:
    const std::string m_address;
    const std::string m_path;
    const double m_speed;
};

}  // namespace dakinput
