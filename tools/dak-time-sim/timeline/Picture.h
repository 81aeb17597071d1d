// The timeline as one self-contained SVG picture.
#pragma once

#include <string>
#include <vector>

#include "timeline/Bands.h"

namespace daksim::timeline {

// The picture of `bands`, a band per file in their order.
std::string Picture(const std::vector<Band>& bands);

}  // namespace daksim::timeline
