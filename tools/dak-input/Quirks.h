// Broadcaster quirks the reader takes as a receiver takes them. Each is
// noted once per PID; a table carries the bits met on its PID since the
// table before.
#pragma once

#include <array>
#include <string>

namespace dakinput {

enum Quirk : unsigned {
    kQuirkTrailingBytes = 1U << 0U,    // TDT: bytes after the time (an appended CRC)
    kQuirkReservedBits = 1U << 1U,     // reserved bits of a TDT/TOT header not set
    kQuirkDuplicate = 1U << 2U,        // a packet sent twice with one continuity counter
    kQuirkSharedPacket = 1U << 3U,     // several sections in one packet
    kQuirkAdaptationField = 1U << 4U,  // a section in a packet with an adaptation field
};

constexpr unsigned kQuirkCount = 5;

struct QuirkText {
    const char* name;  // for the listing
    const char* note;  // for the note, once per PID
};

inline const QuirkText& QuirkOf(unsigned index)
{
    static const std::array<QuirkText, kQuirkCount> texts = {{
        {"bytes-after-time", "a TDT with bytes after its time (taken, the bytes ignored)"},
        {"reserved-bits", "a TDT/TOT with reserved bits not set (taken)"},
        {"duplicate-packet",
         "a packet sent twice with the same continuity counter (the copy dropped)"},
        {"shared-packet", "several sections in one packet (each taken)"},
        {"adaptation-field", "a section in a packet with an adaptation field (taken)"},
    }};
    return texts.at(index);
}

// "bytes-after-time,duplicate-packet"; empty for none.
inline std::string QuirkNames(unsigned quirks)
{
    std::string names;
    for (unsigned i = 0; i < kQuirkCount; ++i) {
        if ((quirks & (1U << i)) != 0) {
            names += (names.empty() ? "" : ",") + std::string(QuirkOf(i).name);
        }
    }
    return names;
}

}  // namespace dakinput
