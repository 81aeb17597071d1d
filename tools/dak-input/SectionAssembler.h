// The sections of one PID put together from its packets, as a receiver's
// section filter does: continuity counters (a lost packet drops the section
// it was in, a duplicate packet is dropped), the pointer field, several
// sections in a packet, stuffing after a section, sections running over
// packets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace dakinput {

class SectionEvents {
public:
    virtual ~SectionEvents() = default;
    // A whole section, header to its last byte; `offset` is the packet it began in.
    virtual void Section(uint16_t pid, const uint8_t* section, size_t size, uint64_t offset) = 0;
    // Damage at `offset`; `tableId` the table of a section it lost, when known.
    virtual void Damage(uint16_t pid, uint64_t offset, const std::string& text,
                        std::optional<uint8_t> tableId) = 0;
    // A quirk (Quirks.h) met at `offset`.
    virtual void QuirkMet(uint16_t pid, uint64_t offset, unsigned quirk) = 0;
};

class SectionAssembler {
public:
    SectionAssembler(uint16_t pid, size_t maxSection, SectionEvents& events);

    // A packet of the PID that carries a payload from `payload` on.
    // `discontinuity`: its adaptation field's discontinuity_indicator.
    void Packet(const uint8_t* packet, size_t payload, uint64_t offset, bool discontinuity);
    // The packet was damaged and not read: what it carried is lost.
    void Lost(uint64_t offset, const std::string& why);
    // The stream starts afresh (it stopped, or another source took over):
    // a section begun is lost, the continuity counter is not compared.
    void Restart(uint64_t offset, const std::string& why);
    // The end of the capture.
    void End();

private:
    void Take(const uint8_t* from, const uint8_t* to, uint64_t offset);
    void Drop(uint64_t offset, const std::string& text);
    std::optional<uint8_t> PendingTable() const;

    const uint16_t m_pid;
    const size_t m_maxSection;
    SectionEvents& m_events;
    std::vector<uint8_t> m_section;
    bool m_pending = false;
    size_t m_need = 0;  // the section's whole size, once its header is in
    uint64_t m_start = 0;
    int m_lastCounter = -1;
    unsigned m_startedInPacket = 0;
};

}  // namespace dakinput
