#include "TableFeed.h"

#include <algorithm>
#include <cctype>

#include "DvbTime.h"
#include "SttSection.h"
#include "TIStreamClock.h"

namespace dakinput {

namespace {

// GPS time starts at 1980-01-06T00:00:00Z.
constexpr int64_t kGpsEpoch = 315964800;

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

std::string Wanted(const FeedOptions& options)
{
    std::string text = options.country.empty() ? "" : " for " + options.country;
    if (options.region) {
        text += " region " + std::to_string(*options.region);
    }
    return text;
}

// The TOT's offset record for the wanted country and region, into `handed`.
void OffsetRecord(const TimeTable& table, const FeedOptions& options, Handed& handed)
{
    const auto entry =
        std::find_if(table.offsets.begin(), table.offsets.end(), [&](const OffsetEntry& candidate) {
            return (options.country.empty() || SameCountry(candidate.country, options.country)) &&
                   (!options.region || candidate.region == *options.region);
        });
    if (entry == table.offsets.end()) {
        handed.remark = "no local time offset entry" + Wanted(options);
        return;
    }
    const auto change = DvbUtc(entry->timeOfChange, options.wireMinutes);
    const auto local = BcdHhmmToMinutes(entry->localOffset);
    const auto next = BcdHhmmToMinutes(entry->nextOffset);
    if (!change || !local || !next) {
        handed.remark = "offset entry " + entry->country + " is not valid BCD, not used";
        return;
    }
    if (!FitsSetTime(*change)) {
        handed.remark = "offset entry " + entry->country + ": time of change " + UtcText(*change) +
                        " does not fit the set's 32-bit time, not used";
        return;
    }
    // The polarity bit gives the sign of both offsets.
    const int32_t sign = entry->negative ? -1 : 1;
    handed.hasOffset = true;
    handed.timeOfChange = static_cast<uint32_t>(*change);
    handed.localOffset = sign * *local;
    handed.nextOffset = sign * *next;
}

}  // namespace

std::optional<int64_t> TableUtc(const TimeTable& table, int32_t wireMinutes)
{
    if (table.kind == TimeTable::Kind::Stt) {
        return int64_t{table.systemTime} - int64_t{table.gpsUtcOffset} + kGpsEpoch;
    }
    return DvbUtc(table.dvbTime, wireMinutes);
}

Handed FeedTable(TIStreamClock& clock, const TimeTable& table, const FeedOptions& options)
{
    Handed handed;
    const auto utc = TableUtc(table, options.wireMinutes);
    if (!utc || !FitsSetTime(*utc)) {
        handed.remark =
            !utc ? "time is not valid MJD/BCD, table skipped"
                 : UtcText(*utc) + " does not fit the set's 32-bit time, not handed over";
        return handed;
    }
    handed.handedOver = true;
    handed.utc = static_cast<uint32_t>(*utc);
    if (table.kind == TimeTable::Kind::Stt) {
        handed.hasDst = true;
        handed.dst = DsStatus(table.daylightSavings);
        clock.SetStreamDST(handed.dst, options.mode);
    }
    handed.accepted =
        clock.SetStreamClock(static_cast<unsigned long>(handed.utc), options.scan, options.mode);
    if (table.kind == TimeTable::Kind::Tot) {
        OffsetRecord(table, options, handed);
        if (handed.hasOffset) {
            clock.SetDVBTimeOffset(static_cast<unsigned long>(handed.timeOfChange),
                                   handed.nextOffset, handed.localOffset);
        }
    }
    return handed;
}

}  // namespace dakinput
