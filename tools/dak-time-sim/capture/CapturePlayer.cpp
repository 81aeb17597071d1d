#include "CapturePlayer.h"

#include <algorithm>
#include <cctype>

#include "DakHostControl.h"
#include "DvbTime.h"
#include "SttSection.h"
#include "TIStreamClock.h"

namespace daksim::capture {

namespace {

// GPS time starts at 1980-01-06T00:00:00Z.
constexpr uint32_t kGpsEpoch = 315964800;
// ISDB sends Japan Standard Time, UTC+9, in the DVB time fields.
constexpr uint32_t kJstOffset = 9 * 3600;
// Time tables repeat at least every 30 seconds.
constexpr int32_t kMaxTableGap = 60;

std::optional<uint32_t> DvbUtc(uint64_t field, bool jst)
{
    const auto utc = MjdBcdToUtc(field);
    if (!utc) {
        return std::nullopt;
    }
    return jst ? *utc - kJstOffset : *utc;
}

bool SameCountry(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::toupper(static_cast<unsigned char>(x)) ==
                      std::toupper(static_cast<unsigned char>(y));
           });
}

// The TOT's offset record for the wanted country, into `replayed`.
void OffsetRecord(const TimeTable& table, const PlayOptions& options, Replayed& replayed)
{
    const auto entry =
        std::find_if(table.offsets.begin(), table.offsets.end(), [&](const OffsetEntry& candidate) {
            return options.country.empty() || SameCountry(candidate.country, options.country);
        });
    if (entry == table.offsets.end()) {
        replayed.remark = options.country.empty()
                              ? "no local time offset entry"
                              : "no local time offset entry for " + options.country;
        return;
    }
    const auto change = DvbUtc(entry->timeOfChange, options.jst);
    const auto local = BcdHhmmToMinutes(entry->localOffset);
    const auto next = BcdHhmmToMinutes(entry->nextOffset);
    if (!change || !local || !next) {
        replayed.remark = "offset entry " + entry->country + " is not valid BCD, not used";
        return;
    }
    // The polarity bit gives the sign of both offsets.
    const int32_t sign = entry->negative ? -1 : 1;
    replayed.hasOffset = true;
    replayed.timeOfChange = *change;
    replayed.localOffset = sign * *local;
    replayed.nextOffset = sign * *next;
}

}  // namespace

std::optional<uint32_t> TableUtc(const TimeTable& table, bool jst)
{
    if (table.kind == TimeTable::Kind::Stt) {
        return table.systemTime - table.gpsUtcOffset + kGpsEpoch;
    }
    return DvbUtc(table.dvbTime, jst);
}

int Play(TIStreamClock& clock, const Capture& capture, const PlayOptions& options,
         const PlayReport& report)
{
    uint64_t movedMs = 0;  // virtual time moved since the replay began
    const auto moveTo = [&movedMs](uint64_t ms) {
        if (ms > movedMs) {
            dakhost::Advance(ms - movedMs);
            movedMs = ms;
        }
    };
    // Without a PCR the tables' own times pace the replay, never backwards;
    // a step longer than tables are ever apart is a jump of the
    // broadcaster's clock, not time passing, and moves nothing.
    std::optional<uint32_t> previousUtc;
    uint64_t pacedMs = 0;
    auto note = capture.notes.begin();
    int handedOver = 0;
    for (const TimeTable& table : capture.tables) {
        for (; note != capture.notes.end() && note->packetOffset <= table.packetOffset; ++note) {
            if (report.note) {
                report.note(*note);
            }
        }
        Replayed replayed;
        replayed.table = &table;
        const auto utc = TableUtc(table, options.jst);
        if (!utc) {
            replayed.elapsedMs = movedMs;
            replayed.remark = "time is not valid MJD/BCD, table skipped";
            if (report.table) {
                report.table(replayed);
            }
            continue;
        }
        if (capture.hasPcr) {
            moveTo(table.pcrMs);
        } else {
            const auto step = previousUtc ? static_cast<int32_t>(*utc - *previousUtc) : 0;
            if (step > 0 && step <= kMaxTableGap) {
                pacedMs += static_cast<uint64_t>(step) * 1000U;
            }
            // A small step back waits for the clock to catch up; a jump
            // either way starts counting afresh.
            if (!previousUtc || step > 0 || step < -kMaxTableGap) {
                previousUtc = *utc;
            }
            moveTo(pacedMs);
        }
        replayed.elapsedMs = movedMs;
        replayed.handedOver = true;
        replayed.utc = *utc;
        if (table.kind == TimeTable::Kind::Stt) {
            replayed.hasDst = true;
            replayed.dst = DsStatus(table.daylightSavings);
            clock.SetStreamDST(replayed.dst, options.mode);
        }
        replayed.accepted =
            clock.SetStreamClock(static_cast<unsigned long>(*utc), options.scan, options.mode);
        if (table.kind == TimeTable::Kind::Tot) {
            OffsetRecord(table, options, replayed);
            if (replayed.hasOffset) {
                clock.SetDVBTimeOffset(static_cast<unsigned long>(replayed.timeOfChange),
                                       replayed.nextOffset, replayed.localOffset);
            }
        }
        dakhost::WaitIdle();
        ++handedOver;
        if (report.table) {
            report.table(replayed);
        }
    }
    for (; note != capture.notes.end(); ++note) {
        if (report.note) {
            report.note(*note);
        }
    }
    if (capture.hasPcr) {
        moveTo(capture.endMs);
    }
    return handedOver;
}

}  // namespace daksim::capture
