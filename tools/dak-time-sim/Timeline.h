// The timeline: a run drawn as one self-contained SVG picture over virtual
// time, a band per file. Each band shows the platform clock, the hardware
// clock and each stream clock as their difference from a reference line, so
// that a jump or a drift stands out: the reference is the time the library
// first gave the platform clock (the clock at the file's start when it never
// does), running on with virtual time. Under them: a marker per setting by
// type (accepted filled, refused hollow), a tick per sync, a marker per
// replayed table (accepted filled, refused hollow, damaged a cross), and
// strips for the stored reason and the auto clock type.
//
// Steps that take no virtual time (most of a file) would all fall on one
// spot of a plain time axis: half of the width is shared out among the
// steps, half by virtual time, so every step gets room and time still runs
// left to right.
//
// What a band keeps grows with what changes, not with virtual time: a value
// is kept when it differs from the last one, and syncs at a steady period
// are kept as one run, so a quiet year costs what a quiet minute does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Moment.h"
#include "timeline/Bands.h"

namespace daksim {

class Timeline {
public:
    void BeginFile(const std::string& name, const Moment& start);
    void EndFile(const Moment& end);
    // A step of the file starts.
    void StepBegins(const Moment& moment);
    // The library set the platform clock (the first time fixes the reference).
    void ClockSetByLibrary(const Moment& moment, int64_t utc);

    // The clocks' readings at a moment (called with every recorded event).
    void Clocks(const Moment& moment, int64_t rtc);
    // A stream clock was given a time (by a step or a table).
    void Stream(const Moment& moment, const std::string& handle, int64_t utc);
    // A replayed table: accepted (filled), refused (hollow), or damaged and
    // never handed over (a cross).
    using TableMark = timeline::TableMark;
    void Table(const Moment& moment, const std::string& handle, TableMark mark);
    void Setting(const Moment& moment, int64_t type, bool accepted);
    void SyncFired(const Moment& moment);
    void Reason(const Moment& moment, int value);
    void AutoClock(const Moment& moment, int value);

    // The picture of every file so far.
    std::string Svg() const;

private:
    using Band = timeline::Band;

    Band* Current();
    static size_t StepNow(const Band& band);
    int64_t Difference(const Band& band, const Moment& moment, int64_t utc) const;

    std::vector<Band> m_bands;
};

}  // namespace daksim
