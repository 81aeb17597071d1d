// The timeline's drawing tools: the picture's geometry and palette, SVG
// elements as text, and the scale that places a moment and a clock
// difference on a band.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace daksim::timeline {

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

const char* SetTypeColour(int64_t type);
const char* ReasonColour(int64_t reason);
const char* AutoTypeColour(int64_t type);

// Text with XML's special characters escaped and control characters left out.
std::string Escape(const std::string& text);
// A coordinate with one decimal.
std::string Number(double value);

// The vertical scale: a logarithm on both sides of zero, so that a second
// and twenty years both read.
double Compress(int64_t seconds);

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
extern const std::array<DifferenceTick, 10> kDifferenceTicks;

// A step of the time axis: at most about seven labels.
uint64_t AxisStep(uint64_t endMs);

void Line(std::string& svg, double x1, double y1, double x2, double y2, const std::string& style);
void Text(std::string& svg, double x, double y, const std::string& text,
          const std::string& style = "");
void Rect(std::string& svg, double x, double y, double width, double height,
          const std::string& style);
// A series as a step line: each value holds until the next.
void StepLine(std::string& svg, const Scale& scale,
              const std::vector<std::pair<double, int64_t>>& points, const std::string& style);

}  // namespace daksim::timeline
