#include "CapturePlayer.h"

#include "DakHostControl.h"
#include "DvbTime.h"
#include "TIStreamClock.h"
#include "UdpInput.h"

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
    int HandedOver() const { return m_handedOver; }

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

// A live stream's tables to the player, the stream stopped at the limit.
class LivePlayer : public CaptureSink {
public:
    LivePlayer(Player& player, StopSignal& stop, std::optional<uint32_t> tables)
        : m_player(player), m_stop(stop), m_tables(tables)
    {
    }
    void Table(const TimeTable& table) override
    {
        m_player.Table(table);
        if (m_tables && m_player.HandedOver() >= static_cast<int>(*m_tables)) {
            m_stop.Raise();
        }
    }
    void Note(const struct Note& note) override { m_player.Note(note); }

private:
    Player& m_player;
    StopSignal& m_stop;
    const std::optional<uint32_t> m_tables;
};

}  // namespace

std::variant<int, ReadError> PlayLive(TIStreamClock& clock, const std::string& url,
                                      const PlayOptions& options, const PlayReport& report,
                                      const LiveLimit& limit)
{
    std::string error;
    const auto address = ParseUdpUrl(url, error);
    if (!address) {
        return ReadError{error};
    }
    StopSignal stop;
    if (limit.seconds) {
        stop.StopAfter(uint64_t{*limit.seconds} * 1000U);
    }
    Player player(clock, options, report);
    LivePlayer live(player, stop, limit.tables);
    UdpInput input(url, *address, InputOptions{}.stallMs);
    input.Run(live, stop);
    return player.Finish(false, 0);
}

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
