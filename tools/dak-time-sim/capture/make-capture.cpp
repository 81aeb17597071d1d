// Writes the one-minute capture of scenarios/broadcast-clock-2000.scn: a
// DVB multiplex whose encoder came up with its clock at 2000-01-01 and
// takes the right time 25 seconds in, on the night the German offset goes
// from +60 to +120 minutes.
//
//   make-capture OUT.ts
//
// PCR on PID 0x100 every 500 ms; a TDT every 5 s; a TOT at 2 s and 32 s.

#include <cstdio>

#include "CaptureWriter.h"
#include "DvbTime.h"

namespace {

using namespace daksim::capture;

constexpr uint16_t kPcrPid = 0x100;
constexpr uint32_t kClockAt2000 = 946684800;         // 2000-01-01T00:00:00Z
constexpr uint32_t kOffsetChange = 1774746000;       // 2026-03-29T01:00:00Z
constexpr uint32_t kRightTime = kOffsetChange - 60;  // at the capture's start
constexpr uint64_t kRightFromMs = 25000;
constexpr uint64_t kLengthMs = 60000;

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: make-capture OUT.ts\n", stderr);
        return 2;
    }
    CaptureWriter capture;
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
    if (!capture.Save(argv[1])) {
        std::perror(argv[1]);
        return 1;
    }
    return 0;
}
