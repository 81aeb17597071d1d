// The level check in front of every message of the library.
#include "Common/DakLog.h"

#include <type_traits>
#include <utility>

namespace {

// Whether the platform's logger can tell that a level is switched off.
template <typename Logger, typename = void>
struct HasLevelQuery : std::false_type {
};
template <typename Logger>
struct HasLevelQuery<Logger, std::void_t<decltype(std::declval<const Logger&>().IsEnabled(1))>>
    : std::true_type {
};

}  // namespace

namespace dak {

// A logger that cannot tell gets every message. The instance asked about
// the level is the process's logger, taken once; a message fetches it anew.
TCDebugPrint* LoggerAt(int level)
{
    if constexpr (HasLevelQuery<TCDebugPrint>::value) {
        static TCDebugPrint* const levels = TCDebugPrintDAK::GetInstance();
        if (levels != nullptr && !levels->IsEnabled(level)) {
            return nullptr;
        }
    } else {
        (void)level;
    }
    return TCDebugPrintDAK::GetInstance();
}

}  // namespace dak
