#include "SectionAssembler.h"

#include <algorithm>

#include "Quirks.h"

namespace dakinput {

namespace {

constexpr uint8_t kStuffing = 0xFF;
constexpr size_t kHeaderSize = 3;

}  // namespace

SectionAssembler::SectionAssembler(uint16_t pid, size_t maxSection, SectionEvents& events)
    : m_pid(pid), m_maxSection(maxSection), m_events(events)
{
    m_section.reserve(maxSection);
}

std::optional<uint8_t> SectionAssembler::PendingTable() const
{
    if (!m_pending || m_section.empty()) {
        return std::nullopt;
    }
    return m_section[0];
}

void SectionAssembler::Drop(uint64_t offset, const std::string& text)
{
    m_events.Damage(m_pid, offset, text, PendingTable());
    m_pending = false;
}

void SectionAssembler::Packet(const uint8_t* packet, size_t payload, uint64_t offset,
                              bool discontinuity)
{
    const int counter = packet[3] & 0x0F;
    const bool unitStart = (packet[1] & 0x40U) != 0;
    if (m_lastCounter >= 0 && !discontinuity) {
        if (counter == m_lastCounter) {
            // ISO/IEC 13818-1 lets a packet be sent twice; the copy adds nothing.
            m_events.QuirkMet(m_pid, offset, kQuirkDuplicate);
            return;
        }
        if (counter != ((m_lastCounter + 1) & 0x0F)) {
            const std::string lost = "discontinuity (continuity counter " +
                                     std::to_string(counter) + " after " +
                                     std::to_string(m_lastCounter) + ")";
            if (m_pending) {
                Drop(offset, lost + ": a packet lost inside the section begun at byte " +
                                 std::to_string(m_start) + ", table skipped");
            } else {
                m_events.Damage(m_pid, offset, lost + ": packets lost", std::nullopt);
            }
        }
    }
    m_lastCounter = counter;
    const uint8_t* from = packet + payload;
    const uint8_t* const end = packet + 188;
    m_startedInPacket = 0;
    if (!unitStart) {
        if (m_pending) {
            Take(from, end, offset);
        }
        return;
    }
    const size_t pointer = *from++;
    if (pointer > static_cast<size_t>(end - from)) {
        if (m_pending) {
            Drop(offset,
                 "pointer field past the packet, packet skipped and the section begun "
                 "at byte " +
                     std::to_string(m_start) + " lost");
        } else {
            m_events.Damage(m_pid, offset, "pointer field past the packet, packet skipped",
                            std::nullopt);
        }
        return;
    }
    if (m_pending) {
        Take(from, from + pointer, offset);
        if (m_pending) {
            const uint64_t start = m_start;
            Drop(start, "section cut off by the next one, table skipped");
        }
    }
    Take(from + pointer, end, offset);
}

void SectionAssembler::Take(const uint8_t* from, const uint8_t* to, uint64_t offset)
{
    while (from < to) {
        if (!m_pending) {
            if (*from == kStuffing) {
                return;  // stuffing to the end of the packet
            }
            if (m_startedInPacket++ > 0) {
                m_events.QuirkMet(m_pid, offset, kQuirkSharedPacket);
            }
            m_pending = true;
            m_section.clear();
            m_need = 0;
            m_start = offset;
        }
        if (m_need == 0) {
            const size_t header =
                std::min(kHeaderSize - m_section.size(), static_cast<size_t>(to - from));
            m_section.insert(m_section.end(), from, from + header);
            from += header;
            if (m_section.size() < kHeaderSize) {
                return;
            }
            m_need =
                kHeaderSize + ((static_cast<size_t>(m_section[1] & 0x0FU) << 8U) | m_section[2]);
            if (m_need > m_maxSection) {
                Drop(m_start, "section of " + std::to_string(m_need) + " bytes, more than " +
                                  std::to_string(m_maxSection) + ", table skipped");
                return;  // the rest of the packet belongs to it
            }
        }
        const size_t part = std::min(m_need - m_section.size(), static_cast<size_t>(to - from));
        m_section.insert(m_section.end(), from, from + part);
        from += part;
        if (m_section.size() == m_need) {
            m_pending = false;
            m_events.Section(m_pid, m_section.data(), m_section.size(), m_start);
        }
    }
}

void SectionAssembler::Lost(uint64_t offset, const std::string& why)
{
    if (m_pending) {
        Drop(offset,
             why + ", and the section begun at byte " + std::to_string(m_start) + " with it");
    } else {
        m_events.Damage(m_pid, offset, why, std::nullopt);
    }
    // Its counter cannot be trusted: the next packet starts afresh.
    m_lastCounter = -1;
}

void SectionAssembler::Restart(uint64_t offset, const std::string& why)
{
    if (m_pending) {
        Drop(offset, why + ": the section begun at byte " + std::to_string(m_start) + " lost");
    }
    m_lastCounter = -1;
}

void SectionAssembler::End()
{
    if (m_pending) {
        Drop(m_start, "section cut off by the end of the capture, table skipped");
    }
}

}  // namespace dakinput
