#include "ClockFeed.h"

#include <utility>

#include "DvbTime.h"
#include "StopSignal.h"

namespace dakinput {

ClockFeed::ClockFeed(TIStreamClock& clock, FeedOptions options, Log log)
    : m_clock(clock), m_options(std::move(options)), m_log(std::move(log))
{
}

std::string HandedText(TimeTable::Kind kind, const Handed& handed)
{
    std::string text = KindName(kind);
    if (!handed.handedOver) {
        return text + ": " + handed.remark;
    }
    text += " " + UtcText(handed.utc) + " " + std::to_string(handed.utc) +
            (handed.accepted ? " accepted" : " refused by the stream clock");
    if (handed.hasDst) {
        text += std::string(", daylight saving ") + (handed.dst ? "on" : "off");
    }
    if (handed.hasOffset) {
        text += ", offset " + std::to_string(handed.localOffset) + " min, " +
                std::to_string(handed.nextOffset) + " min from " + UtcText(handed.timeOfChange);
    }
    if (!handed.remark.empty()) {
        text += "; " + handed.remark;
    }
    return text;
}

void ClockFeed::Table(const TimeTable& table)
{
    const Handed handed = FeedTable(m_clock, table, m_options);
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        if (handed.handedOver) {
            ++m_status.tables;
            m_status.lastKind = table.kind;
            m_status.last = handed;
            m_status.lastAtMs = MonotonicMs();
        } else {
            ++m_status.refused;
        }
    }
    if (m_log) {
        m_log(HandedText(table.kind, handed));
    }
}

void ClockFeed::Note(const struct Note& note)
{
    {
        const std::lock_guard<std::mutex> hold(m_lock);
        ++m_status.notes;
        m_status.lastNote = note.text;
    }
    if (m_log) {
        m_log(note.text);
    }
}

FeedStatus ClockFeed::Status() const
{
    const std::lock_guard<std::mutex> hold(m_lock);
    return m_status;
}

}  // namespace dakinput
