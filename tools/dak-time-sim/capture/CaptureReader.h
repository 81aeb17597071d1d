// Reading an MPEG transport stream capture (188-byte packets) for the time
// tables a set's table parser would see: TDT and TOT on PID 0x14, STT on
// PID 0x1FFB, paced by the first PID that carries a PCR. Damage is noted
// and skipped; only input that holds no transport stream at all is refused.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>

#include "Capture.h"

namespace daksim::capture {

struct ReadError {
    std::string message;
};

std::variant<Capture, ReadError> ReadCapture(const uint8_t* data, size_t size);
std::variant<Capture, ReadError> ReadCaptureFile(const std::string& path);

}  // namespace daksim::capture
