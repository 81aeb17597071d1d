// One band of the timeline: a file's clocks over virtual time, and under
// them the rows of its settings, syncs, tables, stored reason and auto clock
// type.
#include "timeline/BandPicture.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "TimeText.h"
#include "Vocabulary.h"
#include "timeline/Svg.h"

namespace daksim::timeline {

namespace {

// The band's scale: the plot reaches the largest difference of its clocks,
// at least a minute.
Scale ScaleOf(const Band& band, int top)
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
    return scale;
}

// The title, the difference axis and the time axis.
void Axes(std::string& svg, const Band& band, const Scale& scale)
{
    const int top = scale.plotTop - kTitleHeight;
    const int64_t shift = band.reference.value_or(0);
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
}

std::vector<std::pair<double, int64_t>> Points(const Scale& scale, const Series& series,
                                               int64_t shift)
{
    std::vector<std::pair<double, int64_t>> out;
    out.reserve(series.points.size());
    for (const Point& point : series.points) {
        out.emplace_back(scale.X(point.t, point.step), point.value - shift);
    }
    return out;
}

// The platform, hardware and stream clocks as step lines, each stream
// clock's times as dots and its name at its end.
void Clocks(std::string& svg, const Band& band, const Scale& scale)
{
    const int64_t shift = band.reference.value_or(0);
    auto points = [&scale, shift](const Series& series) { return Points(scale, series, shift); };
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
}

// Settings by type: filled accepted, hollow refused.
void Settings(std::string& svg, const Band& band, const Scale& scale, double settingsMiddle)
{
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
}

// Runs of ticks in a row: a line each, or one shaded span when too dense.
void DrawTicks(std::string& svg, const Scale& scale, const std::vector<Ticks>& runs, double y,
               const char* colour)
{
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
}

// Tables in their stream's colour, as settings are drawn: filled accepted,
// hollow refused; a cross for one damaged and never handed over.
void Tables(std::string& svg, const Band& band, const Scale& scale, double tablesMiddle)
{
    size_t streamIndex = 0;
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
}

// A strip of a stored value: a span of its colour per value, named where it
// has room.
void Strip(std::string& svg, const Scale& scale, const Series& series, double y,
           const char* (*colour)(int64_t), std::string (*name)(int64_t))
{
    for (size_t i = 0; i < series.points.size(); ++i) {
        const Point& point = series.points[i];
        const double x = scale.X(point.t, point.step);
        const double to = i + 1 < series.points.size()
                              ? scale.X(series.points[i + 1].t, series.points[i + 1].step)
                              : scale.Right();
        const double width = to - x;
        svg += "<rect x='" + Number(x) + "' y='" + Number(y + 2) + "' width='" +
               Number(std::max(width, 0.5)) + "' height='" + Number(kRowHeight - 4) + "' fill='" +
               colour(series.points[i].value) + "'><title>" + Escape(name(series.points[i].value)) +
               "</title></rect>\n";
        if (width > 60) {
            Text(svg, x + 3, y + 14, name(series.points[i].value), "font-size='10'");
        }
    }
}

}  // namespace

void DrawBand(std::string& svg, const Band& band, int top)
{
    const Scale scale = ScaleOf(band, top);
    Axes(svg, band, scale);
    Clocks(svg, band, scale);

    // The rows under the plot.
    const double plotBottom = scale.plotTop + kPlotHeight;
    const std::array<const char*, kRows> names = {"settings", "syncs", "tables", "stored reason",
                                                  "auto clock type"};
    for (int row = 0; row < kRows; ++row) {
        const double y = plotBottom + row * kRowHeight;
        Text(svg, kLeft - 6, y + 14, names.at(static_cast<size_t>(row)),
             "text-anchor='end' font-size='11'");
        Rect(svg, kLeft, y + 2, kPlotWidth, kRowHeight - 4, "fill='#f4f4f4'");
    }
    Settings(svg, band, scale, plotBottom + kRowHeight / 2.0);
    DrawTicks(svg, scale, band.syncs, plotBottom + kRowHeight, "#d62728");
    Tables(svg, band, scale, plotBottom + 2.5 * kRowHeight);
    Strip(svg, scale, band.reason, plotBottom + 3 * kRowHeight, ReasonColour, ReasonName);
    Strip(svg, scale, band.autoClock, plotBottom + 4 * kRowHeight, AutoTypeColour, AutoTypeName);
}

}  // namespace daksim::timeline
