// The whole timeline: a header with the legend, then a band per file.
#include "timeline/Picture.h"

#include <array>
#include <utility>

#include "Vocabulary.h"
#include "timeline/BandPicture.h"
#include "timeline/Svg.h"

namespace daksim::timeline {

std::string Picture(const std::vector<Band>& bands)
{
    const int height =
        kHeaderHeight + static_cast<int>(bands.size()) * (kBandHeight + kBandGap) + 10;
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
    for (const Band& band : bands) {
        DrawBand(svg, band, top);
        top += kBandHeight + kBandGap;
    }
    svg += "</svg>\n";
    return svg;
}

}  // namespace daksim::timeline
