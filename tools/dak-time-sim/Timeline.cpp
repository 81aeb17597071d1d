#include "Timeline.h"

#include <utility>

#include "timeline/Picture.h"

namespace daksim {

Timeline::Band* Timeline::Current()
{
    return m_bands.empty() ? nullptr : &m_bands.back();
}

void Timeline::BeginFile(const std::string& name, const Moment& start)
{
    Band band;
    band.name = name;
    band.startClock = start.clock;
    m_bands.push_back(std::move(band));
}

void Timeline::EndFile(const Moment& end)
{
    if (Band* band = Current()) {
        band->endMs = end.elapsedMs;
    }
}

size_t Timeline::StepNow(const Band& band)
{
    return band.stepStarts.empty() ? 0 : band.stepStarts.size() - 1;
}

void Timeline::StepBegins(const Moment& moment)
{
    if (Band* band = Current()) {
        band->stepStarts.push_back(moment.elapsedMs);
    }
}

void Timeline::ClockSetByLibrary(const Moment& moment, int64_t utc)
{
    Band* band = Current();
    if (band != nullptr && !band->reference) {
        band->reference = Difference(*band, moment, utc);
    }
}

int64_t Timeline::Difference(const Band& band, const Moment& moment, int64_t utc) const
{
    const auto reference =
        static_cast<int64_t>(band.startClock) + static_cast<int64_t>(moment.elapsedMs / 1000U);
    return utc - reference;
}

void Timeline::Clocks(const Moment& moment, int64_t rtc)
{
    Band* band = Current();
    if (band == nullptr) {
        return;
    }
    // The clocks count milliseconds but read in seconds: a clock set at a
    // moment inside a second reads a second apart from the reference now
    // and then, which is not a change.
    const size_t step = StepNow(*band);
    band->platform.Add(moment.elapsedMs, step, Difference(*band, moment, moment.clock), 1);
    band->rtc.Add(moment.elapsedMs, step, Difference(*band, moment, rtc), 1);
}

void Timeline::Stream(const Moment& moment, const std::string& handle, int64_t utc)
{
    if (Band* band = Current()) {
        band->streams[handle].Add(moment.elapsedMs, StepNow(*band), Difference(*band, moment, utc),
                                  0);
    }
}

void Timeline::Table(const Moment& moment, const std::string& handle, TableMark mark)
{
    if (Band* band = Current()) {
        timeline::AddTick(band->tables[handle].at(static_cast<size_t>(mark)), moment.elapsedMs);
    }
}

void Timeline::Setting(const Moment& moment, int64_t type, bool accepted)
{
    Band* band = Current();
    if (band == nullptr) {
        return;
    }
    if (band->markers.size() >= timeline::kMaxMarkers) {
        ++band->markersDropped;
        return;
    }
    band->markers.push_back({moment.elapsedMs, StepNow(*band), type, accepted});
}

void Timeline::SyncFired(const Moment& moment)
{
    if (Band* band = Current()) {
        timeline::AddTick(band->syncs, moment.elapsedMs);
    }
}

void Timeline::Reason(const Moment& moment, int value)
{
    if (Band* band = Current()) {
        band->reason.Add(moment.elapsedMs, StepNow(*band), value, 0);
    }
}

void Timeline::AutoClock(const Moment& moment, int value)
{
    if (Band* band = Current()) {
        band->autoClock.Add(moment.elapsedMs, StepNow(*band), value, 0);
    }
}

std::string Timeline::Svg() const
{
    return timeline::Picture(m_bands);
}

}  // namespace daksim
