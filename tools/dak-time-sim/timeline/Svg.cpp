#include "timeline/Svg.h"

#include <cmath>
#include <cstdio>

namespace daksim::timeline {

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

double Compress(int64_t seconds)
{
    const double magnitude = std::log10(1.0 + std::fabs(static_cast<double>(seconds)));
    return seconds < 0 ? -magnitude : magnitude;
}

const std::array<DifferenceTick, 10> kDifferenceTicks = {{
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

void Text(std::string& svg, double x, double y, const std::string& text, const std::string& style)
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

}  // namespace daksim::timeline
