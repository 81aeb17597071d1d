// The virtual moment of something that happened in a run: the virtual time
// elapsed since the file started and the platform clock then.
#pragma once

#include <cstdint>
#include <string>

namespace daksim {

struct Moment {
    uint64_t elapsedMs = 0;  // virtual time since the file started
    uint32_t clock = 0;      // the platform clock, UTC seconds
};

// The host platform's moment now.
Moment Now();

// "+3d 04:05:06.789": virtual time elapsed.
std::string ElapsedText(uint64_t elapsedMs);

// "2024-03-05T06:30:00Z +0d 00:00:30.000": the prefix of a printed line.
std::string MomentText(const Moment& moment);

}  // namespace daksim
