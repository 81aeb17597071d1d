#include "CapturePlayer.h"

#include "DakHostControl.h"
#include "DvbTime.h"
#include "TIStreamClock.h"

namespace daksim::capture {

namespace {

// Time tables repeat at least every 30 seconds.
constexpr int64_t kMaxTableGap = 60;

class Player : public CaptureSink {
public:
    Player(TIStreamClock& clock, const PlayOptions& options, const PlayReport& report)
        : m_clock(clock), m_options(options), m_report(report)
    {
    }

    void Table(const TimeTable& table) override;
    void Note(const struct Note& note) override;
    int Finish(bool hasPcr, uint64_t endMs);

private:
    void MoveTo(uint64_t ms);
    void Pace(const TimeTable& table, int64_t utc);
    void Report(const Replayed& replayed) const
    {
        if (m_report.table) {
            m_report.table(replayed);
        }
    }

    TIStreamClock& m_clock;
    const PlayOptions& m_options;
    const PlayReport& m_report;
    uint64_t m_movedMs = 0;  // virtual time moved since the replay began
    // Before any PCR the tables' own times pace the replay, never
    // backwards; a step longer than tables are ever apart is a jump of the
    // broadcaster's clock, not time passing, and moves nothing.
    std::optional<int64_t> m_previousUtc;
    uint64_t m_pacedMs = 0;
    int m_handedOver = 0;
};

void Player::MoveTo(uint64_t ms)
{
    if (ms > m_movedMs) {
        dakhost::Advance(ms - m_movedMs);
        m_movedMs = ms;
    }
}

void Player::Note(const struct Note& note)
{
    if (m_report.note) {
        m_report.note(note);
    }
    if (note.lost) {
        TimeTable table;
        table.kind = *note.lost;
        table.packetOffset = note.packetOffset;
        Replayed replayed;
        replayed.table = &table;
        replayed.lost = true;
        replayed.elapsedMs = m_movedMs;
        replayed.remark = note.text;
        Report(replayed);
    }
}

void Player::Table(const TimeTable& table)
{
    const auto utc = dakinput::TableUtc(table, m_options.wireMinutes);
    if (utc && dakinput::FitsSetTime(*utc)) {
        Pace(table, *utc);
    }
    Replayed replayed;
    static_cast<dakinput::Handed&>(replayed) = dakinput::FeedTable(m_clock, table, m_options);
    replayed.table = &table;
    replayed.elapsedMs = m_movedMs;
    if (replayed.handedOver) {
        dakhost::WaitIdle();
        ++m_handedOver;
    }
    Report(replayed);
}

void Player::Pace(const TimeTable& table, int64_t utc)
{
    if (table.paced) {
        MoveTo(table.pcrMs);
        return;
    }
    const int64_t step = m_previousUtc ? utc - *m_previousUtc : 0;
    if (step > 0 && step <= kMaxTableGap) {
        m_pacedMs += static_cast<uint64_t>(step) * 1000U;
    }
    // A small step back waits for the clock to catch up; a jump
    // either way starts counting afresh.
    if (!m_previousUtc || step > 0 || step < -kMaxTableGap) {
        m_previousUtc = utc;
    }
    MoveTo(m_pacedMs);
}

int Player::Finish(bool hasPcr, uint64_t endMs)
{
    if (hasPcr) {
        MoveTo(endMs);
    }
    return m_handedOver;
}

}  // namespace

int Play(TIStreamClock& clock, const Capture& capture, const PlayOptions& options,
         const PlayReport& report)
{
    Player player(clock, options, report);
    auto note = capture.notes.begin();
    for (const TimeTable& table : capture.tables) {
        for (; note != capture.notes.end() && note->packetOffset <= table.packetOffset; ++note) {
            player.Note(*note);
        }
        player.Table(table);
    }
    for (; note != capture.notes.end(); ++note) {
        player.Note(*note);
    }
    return player.Finish(capture.hasPcr, capture.endMs);
}

std::variant<int, ReadError> PlayFile(TIStreamClock& clock, const std::string& path,
                                      const PlayOptions& options, const PlayReport& report)
{
    Player player(clock, options, report);
    const auto read = ReadCaptureFile(path, player);
    if (const auto* error = std::get_if<ReadError>(&read)) {
        return *error;
    }
    const auto& end = std::get<CaptureEnd>(read);
    return player.Finish(end.hasPcr, end.endMs);
}

}  // namespace daksim::capture
