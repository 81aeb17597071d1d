#include "Timeline.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <set>
#include <utility>

#include "TimeText.h"
#include "Vocabulary.h"

namespace daksim {

namespace {

// Past these, a band keeps no more points of a series or markers (it says
// how many it left out): a run that changes its clock a million times is not
// read from a picture.
constexpr size_t kMaxPoints = 20000;
constexpr size_t kMaxMarkers = 20000;

// Geometry, in SVG user units.
constexpr int kWidth = 1200;
constexpr int kLeft = 170;
constexpr int kRight = 30;
constexpr int kPlotWidth = kWidth - kLeft - kRight;
constexpr int kHeaderHeight = 96;
constexpr int kTitleHeight = 26;
constexpr int kPlotHeight = 220;
constexpr int kRowHeight = 20;
constexpr int kRows = 5;  // settings, syncs, tables, reason, auto clock
constexpr int kAxisHeight = 44;
constexpr int kBandGap = 16;
constexpr int kBandHeight = kTitleHeight + kPlotHeight + kRows * kRowHeight + kAxisHeight;

constexpr const char* kPlatformColour = "#1f77b4";
constexpr const char* kRtcColour = "#d62728";
constexpr std::array<const char*, 5> kStreamColours = {"#2ca02c", "#9467bd", "#8c564b", "#e377c2",
                                                       "#17becf"};

const char* SetTypeColour(int64_t type)
{
    switch (type) {
        case 0:
            return "#ff7f0e";  // manual
        case 1:
            return "#2ca02c";  // stream
        case 2:
            return "#1f77b4";  // net
        case 4:
            return "#bcbd22";  // netfail
        case 5:
            return "#d62728";  // sync
        case 6:
            return "#9467bd";  // init
        case 7:
            return "#8c564b";  // factory reset
        default:
            return "#555555";
    }
}

const char* ReasonColour(int64_t reason)
{
    switch (reason) {
        case 0:
            return "#dddddd";  // init
        case 1:
            return "#ffbb78";  // micom
        case 2:
            return "#aec7e8";  // net
        case 3:
            return "#98df8a";  // stream
        default:
            return "#f7b6d2";
    }
}

const char* AutoTypeColour(int64_t type)
{
    switch (type) {
        case 0:
            return "#98df8a";  // stream
        case 1:
            return "#aec7e8";  // net
        case 2:
            return "#dddddd";  // max
        default:
            return "#f7b6d2";
    }
}

std::string Escape(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&#39;";
                break;
            default:
                // Control characters are not allowed in XML 1.0.
                if (static_cast<unsigned char>(c) >= 0x20 || c == '\t') {
                    out += c;
                }
                break;
        }
    }
    return out;
}

std::string Number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

// The vertical scale: a logarithm on both sides of zero, so that a second
// and twenty years both read.
double Compress(int64_t seconds)
{
    const double magnitude = std::log10(1.0 + std::fabs(static_cast<double>(seconds)));
    return seconds < 0 ? -magnitude : magnitude;
}

// Where a moment is drawn: each step has a span of the width, half of it a
// share of the steps, half its share of virtual time.
class Scale {
public:
    Scale(std::vector<uint64_t> stepStarts, uint64_t endMs)
        : m_starts(std::move(stepStarts)), m_endMs(endMs)
    {
        if (m_starts.empty()) {
            m_starts.push_back(0);
        }
        const auto steps = static_cast<double>(m_starts.size());
        const double timeShare = m_endMs > 0 ? 0.5 : 0.0;
        double x = kLeft;
        for (size_t i = 0; i < m_starts.size(); ++i) {
            const uint64_t end = i + 1 < m_starts.size() ? m_starts[i + 1] : m_endMs;
            const auto duration = static_cast<double>(end - std::min(end, m_starts[i]));
            const double width =
                kPlotWidth *
                ((1.0 - timeShare) / steps +
                 (m_endMs > 0 ? timeShare * duration / static_cast<double>(m_endMs) : 0.0));
            m_x.push_back(x);
            m_width.push_back(width);
            x += width;
        }
    }

    // During step `step`, at virtual time t.
    double X(uint64_t t, size_t step) const
    {
        step = std::min(step, m_starts.size() - 1);
        const uint64_t start = m_starts[step];
        const uint64_t end = step + 1 < m_starts.size() ? m_starts[step + 1] : m_endMs;
        if (end <= start) {
            return m_x[step] + m_width[step] / 2;
        }
        const double within = static_cast<double>(std::min(t, end) - std::min(t, start)) /
                              static_cast<double>(end - start);
        return m_x[step] + m_width[step] * within;
    }
    // At virtual time t, in the step that reached it.
    double X(uint64_t t) const
    {
        const auto after = std::lower_bound(m_starts.begin() + 1, m_starts.end(), t);
        return X(t, static_cast<size_t>(after - m_starts.begin()) - 1);
    }
    double Right() const { return kLeft + kPlotWidth; }

    double Y(int64_t difference) const
    {
        const double middle = plotTop + kPlotHeight / 2.0;
        return middle - Compress(difference) / limit * (kPlotHeight / 2.0 - 6);
    }

    double limit = 1;  // compressed difference at the plot's top
    int plotTop = 0;

private:
    std::vector<uint64_t> m_starts;
    uint64_t m_endMs;
    std::vector<double> m_x;
    std::vector<double> m_width;
};

struct DifferenceTick {
    int64_t seconds;
    const char* label;
};
constexpr std::array<DifferenceTick, 10> kDifferenceTicks = {{
    {1, "1 s"},
    {10, "10 s"},
    {60, "1 min"},
    {600, "10 min"},
    {3600, "1 h"},
    {86400, "1 day"},
    {2592000, "30 days"},
    {31557600, "1 year"},
    {315576000, "10 years"},
    {3155760000, "100 years"},
}};

// A step of the time axis: at most about seven labels.
uint64_t AxisStep(uint64_t endMs)
{
    static constexpr std::array<uint64_t, 20> kSteps = {
        1000,      5000,       10000,      30000,       60000,       300000,      600000,
        1800000,   3600000,    7200000,    21600000,    43200000,    86400000,    172800000,
        604800000, 2592000000, 7776000000, 15552000000, 31536000000, 315360000000};
    for (const uint64_t step : kSteps) {
        if (endMs / step <= 7) {
            return step;
        }
    }
    return kSteps.back();
}

void Line(std::string& svg, double x1, double y1, double x2, double y2, const std::string& style)
{
    svg += "<line x1='" + Number(x1) + "' y1='" + Number(y1) + "' x2='" + Number(x2) + "' y2='" +
           Number(y2) + "' " + style + "/>\n";
}

void Text(std::string& svg, double x, double y, const std::string& text,
          const std::string& style = "")
{
    svg += "<text x='" + Number(x) + "' y='" + Number(y) + "'" +
           (style.empty() ? "" : " " + style) + ">" + Escape(text) + "</text>\n";
}

void Rect(std::string& svg, double x, double y, double width, double height,
          const std::string& style)
{
    svg += "<rect x='" + Number(x) + "' y='" + Number(y) + "' width='" +
           Number(std::max(width, 0.5)) + "' height='" + Number(height) + "' " + style + "/>\n";
}

// A series as a step line: each value holds until the next.
void StepLine(std::string& svg, const Scale& scale,
              const std::vector<std::pair<double, int64_t>>& points, const std::string& style)
{
    if (points.empty()) {
        return;
    }
    std::string path;
    for (size_t i = 0; i < points.size(); ++i) {
        const double x = points[i].first;
        const double y = scale.Y(points[i].second);
        path += (i == 0 ? "M" : " H") + Number(x) + (i == 0 ? " " + Number(y) : " V" + Number(y));
    }
    path += " H" + Number(scale.Right());
    svg += "<path d='" + path + "' fill='none' " + style + "/>\n";
}

}  // namespace

void Timeline::Series::Add(uint64_t t, size_t step, int64_t value, int64_t slack)
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

void Timeline::AddTick(std::vector<Ticks>& runs, uint64_t t)
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

void Timeline::Table(const Moment& moment, const std::string& handle, TableMark mark)
{
    if (Band* band = Current()) {
        AddTick(band->tables[handle].at(static_cast<size_t>(mark)), moment.elapsedMs);
    }
}

void Timeline::Setting(const Moment& moment, int64_t type, bool accepted)
{
    Band* band = Current();
    if (band == nullptr) {
        return;
    }
    if (band->markers.size() >= kMaxMarkers) {
        ++band->markersDropped;
        return;
    }
    band->markers.push_back({moment.elapsedMs, StepNow(*band), type, accepted});
}

void Timeline::SyncFired(const Moment& moment)
{
    if (Band* band = Current()) {
        AddTick(band->syncs, moment.elapsedMs);
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

void Timeline::DrawBand(std::string& svg, const Band& band, int top) const
{
    Scale scale(band.stepStarts, band.endMs);
    scale.plotTop = top + kTitleHeight;
    const int64_t shift = band.reference.value_or(0);
    double largest = Compress(60);
    auto widen = [&largest, shift](const Series& series) {
        for (const Point& point : series.points) {
            largest = std::max(largest, std::fabs(Compress(point.value - shift)));
        }
    };
    widen(band.platform);
    widen(band.rtc);
    for (const auto& stream : band.streams) {
        widen(stream.second);
    }
    scale.limit = largest * 1.05;

    Text(svg, 10, top + 18, band.name, "font-weight='bold' font-size='15'");
    Text(svg, kLeft + kPlotWidth, top + 18,
         std::string("difference from the reference line: ") +
             (band.reference ? "the time the library first gave the platform clock"
                             : "the platform clock at the start") +
             ", running on with virtual time (half the width goes to steps, half to time)",
         "text-anchor='end' font-size='10' fill='#555'");

    // The difference axis.
    const double plotBottom = scale.plotTop + kPlotHeight;
    Rect(svg, kLeft, scale.plotTop, kPlotWidth, kPlotHeight,
         "fill='#fbfbfb' stroke='#999' stroke-width='0.5'");
    Line(svg, kLeft, scale.Y(0), kLeft + kPlotWidth, scale.Y(0), "stroke='#444' stroke-width='1'");
    Text(svg, kLeft - 6, scale.Y(0) + 4, "0", "text-anchor='end' font-size='11'");
    double lastLabel = scale.Y(0);
    for (const DifferenceTick& tick : kDifferenceTicks) {
        if (Compress(tick.seconds) > scale.limit) {
            break;
        }
        // Labels closer than a line of text to the last are left out.
        if (lastLabel - scale.Y(tick.seconds) < 13) {
            continue;
        }
        lastLabel = scale.Y(tick.seconds);
        for (const int sign : {1, -1}) {
            const double y = scale.Y(sign * tick.seconds);
            Line(svg, kLeft, y, kLeft + kPlotWidth, y, "stroke='#e4e4e4' stroke-width='0.5'");
            Text(svg, kLeft - 6, y + 4, std::string(sign > 0 ? "+" : "\u2212") + tick.label,
                 "text-anchor='end' font-size='11'");
        }
    }

    // The time axis: grid lines and labels in UTC of the reference line.
    const uint64_t step = AxisStep(band.endMs);
    lastLabel = -1000;
    for (uint64_t t = 0; t <= band.endMs; t += step) {
        const double x = scale.X(t);
        Line(svg, x, scale.plotTop, x, plotBottom + kRows * kRowHeight,
             "stroke='#e4e4e4' stroke-width='0.5'");
        if (x - lastLabel < 90) {
            continue;
        }
        lastLabel = x;
        const std::string iso = IsoFromUtc(static_cast<int64_t>(band.startClock) + shift +
                                           static_cast<int64_t>(t / 1000U));
        const double labelTop = plotBottom + kRows * kRowHeight;
        Text(svg, x, labelTop + 15, iso.substr(11, 8) + " UTC",
             "text-anchor='middle' font-size='11'");
        Text(svg, x, labelTop + 29, iso.substr(0, 10),
             "text-anchor='middle' font-size='10' fill='#555'");
    }

    // The clocks.
    auto points = [&scale, shift](const Series& series) {
        std::vector<std::pair<double, int64_t>> out;
        out.reserve(series.points.size());
        for (const Point& point : series.points) {
            out.emplace_back(scale.X(point.t, point.step), point.value - shift);
        }
        return out;
    };
    // The hardware clock over the platform clock: where they agree, both show.
    StepLine(svg, scale, points(band.platform),
             std::string("stroke='") + kPlatformColour + "' stroke-width='3.5'");
    StepLine(svg, scale, points(band.rtc),
             std::string("stroke='") + kRtcColour + "' stroke-width='1.5' stroke-dasharray='6 4'");
    size_t streamIndex = 0;
    std::vector<double> labelled;
    for (const auto& stream : band.streams) {
        const char* colour = kStreamColours.at(streamIndex++ % kStreamColours.size());
        StepLine(svg, scale, points(stream.second),
                 std::string("stroke='") + colour + "' stroke-width='1.5' stroke-dasharray='2 2'");
        for (const Point& point : stream.second.points) {
            svg += "<circle cx='" + Number(scale.X(point.t, point.step)) + "' cy='" +
                   Number(scale.Y(point.value - shift)) + "' r='2.5' fill='" + colour + "'/>\n";
        }
        if (!stream.second.points.empty()) {
            // Clocks that end together get their names one under the other.
            double y = scale.Y(stream.second.points.back().value - shift) - 4;
            while (std::any_of(labelled.begin(), labelled.end(),
                               [y](double taken) { return std::fabs(taken - y) < 11; })) {
                y += 11;
            }
            labelled.push_back(y);
            Text(svg, kLeft + kPlotWidth - 4, y, "stream " + stream.first,
                 std::string("text-anchor='end' font-size='10' fill='") + colour + "'");
        }
    }

    // The rows under the plot.
    const std::array<const char*, kRows> names = {"settings", "syncs", "tables", "stored reason",
                                                  "auto clock type"};
    for (int row = 0; row < kRows; ++row) {
        const double y = plotBottom + row * kRowHeight;
        Text(svg, kLeft - 6, y + 14, names.at(static_cast<size_t>(row)),
             "text-anchor='end' font-size='11'");
        Rect(svg, kLeft, y + 2, kPlotWidth, kRowHeight - 4, "fill='#f4f4f4'");
    }
    // Settings: filled accepted, hollow refused.
    const double settingsMiddle = plotBottom + kRowHeight / 2.0;
    for (const Marker& marker : band.markers) {
        const std::string colour = SetTypeColour(marker.type);
        std::string paint = marker.accepted ? "fill='" : "fill='white' stroke-width='2' stroke='";
        paint += colour;
        paint += marker.accepted ? "' stroke='" + colour + "'" : std::string("'");
        svg += "<circle cx='" + Number(scale.X(marker.t, marker.step)) + "' cy='" +
               Number(settingsMiddle) + "' r='5' " + paint + "><title>" +
               Escape(SetTypeName(marker.type)) + (marker.accepted ? " accepted" : " refused") +
               "</title></circle>\n";
    }
    if (band.markersDropped > 0) {
        Text(svg, kLeft + kPlotWidth, settingsMiddle + 4,
             "+" + std::to_string(band.markersDropped) + " not drawn",
             "text-anchor='end' font-size='10'");
    }
    auto drawTicks = [&svg, &scale](const std::vector<Ticks>& runs, double y, const char* colour) {
        for (const Ticks& run : runs) {
            const double first = scale.X(run.first);
            const double last = scale.X(run.first + run.period * (run.count - 1));
            if (run.count > 1 && (last - first) / static_cast<double>(run.count - 1) < 3) {
                // Too dense to tell apart: one shaded span.
                Rect(svg, first, y + 4, last - first, kRowHeight - 8,
                     std::string("fill='") + colour + "' fill-opacity='0.45'");
                continue;
            }
            for (uint64_t i = 0; i < run.count; ++i) {
                const double x = scale.X(run.first + run.period * i);
                Line(svg, x, y + 4, x, y + kRowHeight - 4,
                     std::string("stroke='") + colour + "' stroke-width='1'");
            }
        }
    };
    drawTicks(band.syncs, plotBottom + kRowHeight, "#d62728");
    // Tables in their stream's colour, as settings are drawn: filled
    // accepted, hollow refused; a cross for one damaged and never handed over.
    streamIndex = 0;
    const double tablesMiddle = plotBottom + 2.5 * kRowHeight;
    for (const auto& tables : band.tables) {
        const std::string colour = kStreamColours.at(streamIndex++ % kStreamColours.size());
        for (size_t mark = 0; mark < tables.second.size(); ++mark) {
            for (const Ticks& run : tables.second.at(mark)) {
                const double first = scale.X(run.first);
                const double last = scale.X(run.first + run.period * (run.count - 1));
                if (run.count > 1 && (last - first) / static_cast<double>(run.count - 1) < 3) {
                    Rect(svg, first, tablesMiddle - 3, last - first, 6,
                         "fill='" + colour + "' fill-opacity='" + (mark == 0 ? "0.6" : "0.25") +
                             "'");
                    continue;
                }
                for (uint64_t i = 0; i < run.count; ++i) {
                    const double x = scale.X(run.first + run.period * i);
                    if (mark == static_cast<size_t>(TableMark::Lost)) {
                        Line(svg, x - 3, tablesMiddle - 3, x + 3, tablesMiddle + 3,
                             "stroke='#000' stroke-width='1.5'");
                        Line(svg, x - 3, tablesMiddle + 3, x + 3, tablesMiddle - 3,
                             "stroke='#000' stroke-width='1.5'");
                        continue;
                    }
                    const bool accepted = mark == static_cast<size_t>(TableMark::Accepted);
                    svg += "<circle cx='" + Number(x) + "' cy='" + Number(tablesMiddle) +
                           "' r='3.5' " +
                           (accepted ? "fill='" + colour + "'"
                                     : "fill='white' stroke-width='1.5' stroke='" + colour + "'") +
                           "><title>table " + (accepted ? "accepted" : "refused") +
                           "</title></circle>\n";
                }
            }
        }
    }
    // Strips of the stored reason and the auto clock type.
    auto strip = [&svg, &scale](const Series& series, double y, const char* (*colour)(int64_t),
                                std::string (*name)(int64_t)) {
        for (size_t i = 0; i < series.points.size(); ++i) {
            const Point& point = series.points[i];
            const double x = scale.X(point.t, point.step);
            const double to = i + 1 < series.points.size()
                                  ? scale.X(series.points[i + 1].t, series.points[i + 1].step)
                                  : scale.Right();
            const double width = to - x;
            svg += "<rect x='" + Number(x) + "' y='" + Number(y + 2) + "' width='" +
                   Number(std::max(width, 0.5)) + "' height='" + Number(kRowHeight - 4) +
                   "' fill='" + colour(series.points[i].value) + "'><title>" +
                   Escape(name(series.points[i].value)) + "</title></rect>\n";
            if (width > 60) {
                Text(svg, x + 3, y + 14, name(series.points[i].value), "font-size='10'");
            }
        }
    };
    strip(band.reason, plotBottom + 3 * kRowHeight, ReasonColour, ReasonName);
    strip(band.autoClock, plotBottom + 4 * kRowHeight, AutoTypeColour, AutoTypeName);
}

std::string Timeline::Svg() const
{
    const int height =
        kHeaderHeight + static_cast<int>(m_bands.size()) * (kBandHeight + kBandGap) + 10;
    std::string svg =
        "<?xml version='1.0' encoding='UTF-8'?>\n"
        "<svg xmlns='http://www.w3.org/2000/svg' width='" +
        std::to_string(kWidth) + "' height='" + std::to_string(height) + "' viewBox='0 0 " +
        std::to_string(kWidth) + " " + std::to_string(height) +
        "' font-family='DejaVu Sans, Verdana, sans-serif'>\n"
        "<title>dak-time-sim timeline</title>\n";
    Rect(svg, 0, 0, kWidth, height, "fill='white'");
    Text(svg, 10, 22, "dak-time-sim timeline: the clocks over virtual time",
         "font-weight='bold' font-size='16'");

    // The legend.
    double x = 10;
    const double y = 48;
    auto key = [&svg, &x, y](const std::string& swatch, const std::string& label) {
        svg += swatch;
        Text(svg, x + 26, y + 4, label, "font-size='11'");
        x += 34 + 6.5 * static_cast<double>(label.size());
    };
    key("<line x1='" + Number(x) + "' y1='" + Number(y) + "' x2='" + Number(x + 20) + "' y2='" +
            Number(y) + "' stroke='" + kPlatformColour + "' stroke-width='2'/>\n",
        "platform clock");
    key("<line x1='" + Number(x) + "' y1='" + Number(y) + "' x2='" + Number(x + 20) + "' y2='" +
            Number(y) + "' stroke='" + kRtcColour + "' stroke-width='2' stroke-dasharray='6 3'/>\n",
        "hardware clock");
    key("<line x1='" + Number(x) + "' y1='" + Number(y) + "' x2='" + Number(x + 20) + "' y2='" +
            Number(y) + "' stroke='" + kStreamColours[0] +
            "' stroke-width='1.5' stroke-dasharray='2 2'/>\n",
        "stream clock (dot: a time handed over)");
    key("<line x1='" + Number(x + 10) + "' y1='" + Number(y - 7) + "' x2='" + Number(x + 10) +
            "' y2='" + Number(y + 7) + "' stroke='#d62728'/>\n",
        "sync");
    key("<circle cx='" + Number(x + 4) + "' cy='" + Number(y) +
            "' r='4' fill='#555'/><circle cx='" + Number(x + 15) + "' cy='" + Number(y) +
            "' r='4' fill='white' stroke='#555' stroke-width='1.5'/>\n",
        "setting accepted / refused");
    key("<circle cx='" + Number(x + 1) + "' cy='" + Number(y) + "' r='3.5' fill='" +
            kStreamColours[0] + "'/><circle cx='" + Number(x + 10) + "' cy='" + Number(y) +
            "' r='3.5' fill='white' stroke-width='1.5' stroke='" + kStreamColours[0] +
            "'/><path d='M" + Number(x + 15) + " " + Number(y - 3) +
            " l6 6 m0 -6 l-6 6' stroke='#000' "
            "stroke-width='1.5'/>\n",
        "table accepted / refused / damaged");
    x = 10;
    const double typesY = 74;
    Text(svg, x, typesY + 4, "setting types:", "font-size='11'");
    x += 90;
    for (const int64_t type : {0, 1, 2, 4, 5, 6, 7}) {
        svg += "<circle cx='" + Number(x + 6) + "' cy='" + Number(typesY) + "' r='5' fill='" +
               SetTypeColour(type) + "'/>\n";
        const std::string name = SetTypeName(type).substr(8);  // after "SetType_"
        Text(svg, x + 14, typesY + 4, name, "font-size='11'");
        x += 26 + 6.5 * static_cast<double>(name.size());
    }
    x += 20;
    Text(svg, x, typesY + 4, "reason / auto clock:", "font-size='11'");
    x += 120;
    for (const auto& [colour, label] :
         std::array<std::pair<const char*, const char*>, 4>{{{ReasonColour(0), "init / max"},
                                                             {ReasonColour(1), "micom"},
                                                             {ReasonColour(2), "net"},
                                                             {ReasonColour(3), "stream"}}}) {
        Rect(svg, x, typesY - 6, 14, 12, std::string("fill='") + colour + "'");
        Text(svg, x + 18, typesY + 4, label, "font-size='11'");
        x += 30 + 6.5 * static_cast<double>(std::string(label).size());
    }

    int top = kHeaderHeight;
    for (const Band& band : m_bands) {
        DrawBand(svg, band, top);
        top += kBandHeight + kBandGap;
    }
    svg += "</svg>\n";
    return svg;
}

}  // namespace daksim
