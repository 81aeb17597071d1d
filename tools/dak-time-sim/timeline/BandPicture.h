// Drawing one band of the timeline into an SVG text.
#pragma once

#include <string>

#include "timeline/Bands.h"

namespace daksim::timeline {

// The band, its top edge at `top`.
void DrawBand(std::string& svg, const Band& band, int top);

}  // namespace daksim::timeline
