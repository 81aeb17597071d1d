// The CRC_32 of MPEG-2 sections (ISO 13818-1 annex A: polynomial
// 0x04C11DB7, initial value 0xFFFFFFFF, no reflection, no final inversion).
// Checked here, whatever the section's syntax indicator says: a TOT has the
// indicator 0 and a CRC_32 all the same, so a demux that checks CRCs by the
// indicator lets a damaged TOT through.
#pragma once

#include <cstddef>
#include <cstdint>

namespace dakinput {

uint32_t Crc32(const uint8_t* data, size_t size);

// Whether the section, its CRC_32 in its last four bytes, is whole: the CRC
// over everything, CRC_32 included, comes out 0.
inline bool SectionCrcMatches(const uint8_t* section, size_t size)
{
    return size >= 4 + 3 && Crc32(section, size) == 0;
}

}  // namespace dakinput
