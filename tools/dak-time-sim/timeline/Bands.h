// What the timeline keeps of a run, a band per file: the clocks' differences
// from the reference line, the settings, the syncs, the tables, the stored
// reason and the auto clock type. A series keeps a value only when it
// differs from the last, and ticks at a steady period are kept as one run,
// so a band grows with what changes, not with virtual time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace daksim::timeline {

// Past these, a band keeps no more points of a series or markers (it says
// how many it left out): a run that changes its clock a million times is not
// read from a picture.
constexpr size_t kMaxPoints = 20000;
constexpr size_t kMaxMarkers = 20000;

// A replayed table: the stream clock accepted it (filled), refused it
// (hollow), or it was damaged and never handed over (a cross).
enum class TableMark { Accepted, Refused, Lost };

struct Point {
    uint64_t t;
    size_t step;  // during which step
    int64_t value;
};

struct Series {
    std::vector<Point> points;
    size_t dropped = 0;
    // Kept when `value` is more than `slack` from the last one kept.
    void Add(uint64_t t, size_t step, int64_t value, int64_t slack);
};

struct Marker {
    uint64_t t;
    size_t step;
    int64_t type;
    bool accepted;
};

struct Ticks {  // count ticks at first, first + period, ...
    uint64_t first;
    uint64_t period;
    uint64_t count;
};

// A tick at `t`, joined to the last run when it keeps its period.
void AddTick(std::vector<Ticks>& runs, uint64_t t);

struct Band {
    std::string name;
    uint32_t startClock = 0;
    uint64_t endMs = 0;
    std::vector<uint64_t> stepStarts;  // one a step: bounded by the file, not by time
    std::optional<int64_t> reference;  // the reference's difference from startClock
    Series platform;
    Series rtc;
    std::map<std::string, Series> streams;
    std::map<std::string, std::array<std::vector<Ticks>, 3>> tables;  // by TableMark
    std::vector<Marker> markers;
    size_t markersDropped = 0;
    std::vector<Ticks> syncs;
    Series reason;
    Series autoClock;
};

}  // namespace daksim::timeline
