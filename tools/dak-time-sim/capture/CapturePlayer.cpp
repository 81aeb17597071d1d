#include "CapturePlayer.h"

#include <algorithm>
#include <cctype>

#include "DakHostControl.h"
#include "DvbTime.h"
#include "SttSection.h"
#include "TIStreamClock.h"
#include "TimeText.h"

namespace daksim::capture {

namespace {

// GPS time starts at 1980-01-06T00:00:00Z.
constexpr int64_t kGpsEpoch = 315964800;
// Time tables repeat at least every 30 seconds.
constexpr int64_t kMaxTableGap = 60;

std::optional<int64_t> DvbUtc(uint64_t field, int32_t wireMinutes)
{
    const auto utc = MjdBcdToUtc(field);
    if (!utc) {
        return std::nullopt;
    }
    return *utc - int64_t{wireMinutes} * 60;
}

bool SameCountry(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::toupper(static_cast<unsigned char>(x)) ==
                      std::toupper(static_cast<unsigned char>(y));
           });
}

std::string Wanted(const PlayOptions& options)
{
    std::string text = options.country.empty() ? "" : " for " + options.country;
    if (options.region) {
        text += " region " + std::to_string(*options.region);
    }
    return text;
}

// The TOT's offset record for the wanted country and region, into `replayed`.
void OffsetRecord(const TimeTable& table, const PlayOptions& options, Replayed& replayed)
{
    const auto entry =
        std::find_if(table.offsets.begin(), table.offsets.end(), [&](const OffsetEntry& candidate) {
            return (options.country.empty() || SameCountry(candidate.country, options.country)) &&
                   (!options.region || candidate.region == *options.region);
        });
    if (entry == table.offsets.end()) {
        replayed.remark = "no local time offset entry" + Wanted(options);
        return;
    }
    const auto change = DvbUtc(entry->timeOfChange, options.wireMinutes);
    const auto local = BcdHhmmToMinutes(entry->localOffset);
    const auto next = BcdHhmmToMinutes(entry->nextOffset);
    if (!change || !local || !next) {
        replayed.remark = "offset entry " + entry->country + " is not valid BCD, not used";
        return;
    }
    if (!FitsSetTime(*change)) {
        replayed.remark = "offset entry " + entry->country + ": time of change " +
                          IsoFromUtc(*change) + " does not fit the set's 32-bit time, not used";
        return;
    }
    // The polarity bit gives the sign of both offsets.
    const int32_t sign = entry->negative ? -1 : 1;
    replayed.hasOffset = true;
    replayed.timeOfChange = static_cast<uint32_t>(*change);
    replayed.localOffset = sign * *local;
    replayed.nextOffset = sign * *next;
}

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
    Replayed replayed;
    replayed.table = &table;
    const auto utc = TableUtc(table, m_options.wireMinutes);
    if (!utc || !FitsSetTime(*utc)) {
        replayed.elapsedMs = m_movedMs;
        replayed.remark =
            !utc ? "time is not valid MJD/BCD, table skipped"
                 : IsoFromUtc(*utc) + " does not fit the set's 32-bit time, not handed over";
        Report(replayed);
        return;
    }
    if (table.paced) {
        MoveTo(table.pcrMs);
    } else {
        const int64_t step = m_previousUtc ? *utc - *m_previousUtc : 0;
        if (step > 0 && step <= kMaxTableGap) {
            m_pacedMs += static_cast<uint64_t>(step) * 1000U;
        }
        // A small step back waits for the clock to catch up; a jump
        // either way starts counting afresh.
        if (!m_previousUtc || step > 0 || step < -kMaxTableGap) {
            m_previousUtc = *utc;
        }
        MoveTo(m_pacedMs);
    }
    replayed.elapsedMs = m_movedMs;
    replayed.handedOver = true;
    replayed.utc = static_cast<uint32_t>(*utc);
    if (table.kind == TimeTable::Kind::Stt) {
        replayed.hasDst = true;
        replayed.dst = DsStatus(table.daylightSavings);
        m_clock.SetStreamDST(replayed.dst, m_options.mode);
    }
    replayed.accepted = m_clock.SetStreamClock(static_cast<unsigned long>(replayed.utc),
                                               m_options.scan, m_options.mode);
    if (table.kind == TimeTable::Kind::Tot) {
        OffsetRecord(table, m_options, replayed);
        if (replayed.hasOffset) {
            m_clock.SetDVBTimeOffset(static_cast<unsigned long>(replayed.timeOfChange),
                                     replayed.nextOffset, replayed.localOffset);
        }
    }
    dakhost::WaitIdle();
    ++m_handedOver;
    Report(replayed);
}

int Player::Finish(bool hasPcr, uint64_t endMs)
{
    if (hasPcr) {
        MoveTo(endMs);
    }
    return m_handedOver;
}

}  // namespace

std::optional<int64_t> TableUtc(const TimeTable& table, int32_t wireMinutes)
{
    if (table.kind == TimeTable::Kind::Stt) {
        return int64_t{table.systemTime} - int64_t{table.gpsUtcOffset} + kGpsEpoch;
    }
    return DvbUtc(table.dvbTime, wireMinutes);
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
