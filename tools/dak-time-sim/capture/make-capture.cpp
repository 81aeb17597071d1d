// Writes captures for scenarios, seeds and benchmarks.
//
//   make-capture [--unit 188|192|204] OUT.ts
//     the one-minute capture of scenarios/broadcast-clock-2000.scn: a DVB
//     multiplex whose encoder came up with its clock at 2000-01-01 and
//     takes the right time 25 seconds in, on the night the German offset
//     goes from +60 to +120 minutes. PCR on PID 0x100 every 500 ms; a TDT
//     every 5 s; a TOT at 2 s and 32 s.
//
//   make-capture --start TIME [--seconds N] [--megabytes M] [--unit U] OUT.ts
//     a DVB stream from TIME (YYYY-MM-DDTHH:MM:SSZ, any year 1948 to 2127,
//     or UTC seconds): PCR every 100 ms, a TDT every 5 s, a TOT every 30 s
//     (DEU +60). N seconds long (default 60); with --megabytes, padded with
//     other traffic to about 30 Mbit/s until the file holds M MB, the time
//     tables sparse among it (written as it goes, for captures of any size).

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "CaptureWriter.h"
#include "DvbTime.h"
#include "TimeText.h"
#include "Vocabulary.h"

namespace {

using namespace daksim::capture;

constexpr uint16_t kPcrPid = 0x100;
constexpr uint16_t kTrafficPid = 0x200;
constexpr uint32_t kClockAt2000 = 946684800;         // 2000-01-01T00:00:00Z
constexpr uint32_t kOffsetChange = 1774746000;       // 2026-03-29T01:00:00Z
constexpr uint32_t kRightTime = kOffsetChange - 60;  // at the capture's start
constexpr uint64_t kRightFromMs = 25000;
constexpr uint64_t kLengthMs = 60000;
// 30 Mbit/s of 188-byte packets, per 100 ms.
constexpr uint64_t kPacketsPer100Ms = 30000000 / 8 / 188 / 10;

int Usage()
{
    std::fputs(
        "usage: make-capture [--unit 188|192|204] OUT.ts\n"
        "       make-capture --start TIME [--seconds N] [--megabytes M] [--unit U] OUT.ts\n",
        stderr);
    return 2;
}

void BroadcastClock2000(CaptureWriter& capture)
{
    for (uint64_t ms = 0; ms <= kLengthMs; ms += 500) {
        capture.Pcr(kPcrPid, ms);
        const auto second = static_cast<uint32_t>(ms / 1000U);
        const uint32_t now = (ms < kRightFromMs ? kClockAt2000 : kRightTime) + second;
        if (ms % 5000U == 0 && ms < kLengthMs) {
            capture.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(now)));
        }
        if (ms == 2000 || ms == 32000) {
            const uint32_t change = ms < kRightFromMs ? kClockAt2000 + 7347600 : kOffsetChange;
            capture.Section(kDvbTimePid,
                            TotSection(UtcToMjdBcd(now), {Offset("DEU", 60, change, 120),
                                                          Offset("FRA", 60, change, 120)}));
        }
    }
}

// The stream from `start`; written to `file` as it goes.
bool StreamFrom(CaptureWriter& capture, int64_t start, uint64_t seconds, uint64_t megabytes,
                std::FILE* file)
{
    uint64_t written = 0;
    for (uint64_t ms = 0;; ms += 100) {
        if (megabytes > 0 ? written >= megabytes * 1000000U : ms > seconds * 1000U) {
            break;
        }
        capture.Pcr(kPcrPid, ms);
        const int64_t now = start + static_cast<int64_t>(ms / 1000U);
        if (ms % 5000U == 0) {
            capture.Section(kDvbTimePid, TdtSection(UtcToMjdBcd(now)));
        }
        if (ms % 30000U == 0) {
            capture.Section(kDvbTimePid,
                            TotSection(UtcToMjdBcd(now), {Offset("DEU", 60, now + 86400, 120)}));
        }
        for (uint64_t i = 0; megabytes > 0 && i < kPacketsPer100Ms; ++i) {
            capture.Filler(kTrafficPid);
        }
        written += capture.Data().size();
        if (!capture.Flush(file)) {
            return false;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    size_t unit = kPacketSize;
    std::optional<int64_t> start;
    uint64_t seconds = 60;
    uint64_t megabytes = 0;
    const char* out = nullptr;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--unit" && hasValue) {
            const auto value = daksim::ParseInteger(argv[++i]);
            if (!value || (*value != 188 && *value != 192 && *value != 204)) {
                return Usage();
            }
            unit = static_cast<size_t>(*value);
        } else if (arg == "--start" && hasValue) {
            const std::string text = argv[++i];
            start = daksim::UtcFromIso(text);
            if (!start) {
                start = daksim::ParseInteger(text);
            }
            if (!start) {
                return Usage();
            }
        } else if ((arg == "--seconds" || arg == "--megabytes") && hasValue) {
            const auto value = daksim::ParseInteger(argv[++i]);
            if (!value || *value < 0) {
                return Usage();
            }
            (arg == "--seconds" ? seconds : megabytes) = static_cast<uint64_t>(*value);
        } else if (out == nullptr && arg.rfind("--", 0) != 0) {
            out = argv[i];
        } else {
            return Usage();
        }
    }
    if (out == nullptr || (!start && megabytes > 0)) {
        return Usage();
    }
    CaptureWriter capture(unit);
    if (!start) {
        BroadcastClock2000(capture);
        if (!capture.Save(out)) {
            std::perror(out);
            return 1;
        }
        return 0;
    }
    std::FILE* file = std::fopen(out, "wb");
    const bool ok = file != nullptr && StreamFrom(capture, *start, seconds, megabytes, file);
    if (file == nullptr || !ok || std::fclose(file) != 0) {
        std::perror(out);
        return 1;
    }
    return 0;
}
