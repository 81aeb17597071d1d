#include "TimeValues.h"

#include <ctime>

#include "TimeText.h"

namespace daksim {

int64_t Resolve(const TimeValue& time)
{
    return time.now ? static_cast<int64_t>(std::time(nullptr)) : time.seconds;
}

bool Within(int64_t actual, const TimeValue& expected, int64_t resolved)
{
    const int64_t difference = actual > resolved ? actual - resolved : resolved - actual;
    return difference <= expected.tolerance.value_or(0);
}

std::string TimeText(int64_t utc)
{
    return IsoFromUtc(utc) + " (" + std::to_string(utc) + ")";
}

std::string ExpectedTimeText(const TimeValue& expected, int64_t resolved)
{
    std::string text = expected.now ? "now " + IsoFromUtc(resolved) : IsoFromUtc(resolved);
    if (expected.tolerance) {
        text += "~" + std::to_string(*expected.tolerance);
    }
    return text;
}

}  // namespace daksim
