// Times as the steps write them and as the verdicts print them.
#pragma once

#include <cstdint>
#include <string>

#include "Scenario.h"

namespace daksim {

// The time a value stands for when the step runs (`now`: the host's clock).
int64_t Resolve(const TimeValue& time);
// Whether `actual` lies within the value's tolerance of `resolved`.
bool Within(int64_t actual, const TimeValue& expected, int64_t resolved);
// "2024-03-05T06:30:00Z (1709620200)".
std::string TimeText(int64_t utc);
// "2024-03-05T06:30:00Z~2", "now 2024-...".
std::string ExpectedTimeText(const TimeValue& expected, int64_t resolved);

}  // namespace daksim
