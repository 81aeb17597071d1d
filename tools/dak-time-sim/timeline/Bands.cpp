#include "timeline/Bands.h"

namespace daksim::timeline {

void Series::Add(uint64_t t, size_t step, int64_t value, int64_t slack)
{
    if (!points.empty()) {
        const int64_t last = points.back().value;
        if (value >= last - slack && value <= last + slack) {
            return;
        }
    }
    if (points.size() >= kMaxPoints) {
        ++dropped;
        return;
    }
    points.push_back({t, step, value});
}

void AddTick(std::vector<Ticks>& runs, uint64_t t)
{
    if (!runs.empty()) {
        Ticks& last = runs.back();
        const uint64_t lastTick = last.first + last.period * (last.count - 1);
        if (t == lastTick) {
            return;
        }
        if (last.count == 1) {
            last.period = t - last.first;
            last.count = 2;
            return;
        }
        if (t - lastTick == last.period) {
            ++last.count;
            return;
        }
    }
    if (runs.size() < kMaxMarkers) {
        runs.push_back({t, 0, 1});
    }
}

}  // namespace daksim::timeline
