#include "Crc32.h"

#include <array>

namespace dakinput {

namespace {

constexpr uint32_t kPolynomial = 0x04C11DB7U;

constexpr std::array<uint32_t, 256> MakeTable()
{
    std::array<uint32_t, 256> table{};
    for (uint32_t byte = 0; byte < 256U; ++byte) {
        uint32_t crc = byte << 24U;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x80000000U) != 0 ? (crc << 1U) ^ kPolynomial : crc << 1U;
        }
        table.at(byte) = crc;
    }
    return table;
}

constexpr std::array<uint32_t, 256> kTable = MakeTable();

}  // namespace

uint32_t Crc32(const uint8_t* data, size_t size)
{
    uint32_t crc = 0xFFFFFFFFU;
    for (size_t i = 0; i < size; ++i) {
        crc = (crc << 8U) ^ kTable.at(((crc >> 24U) ^ data[i]) & 0xFFU);
    }
    return crc;
}

}  // namespace dakinput
