// Logging and assertion helpers of the library. Every message goes to the
// platform logger with the calling function's bare name, the source line and
// the library's module number.
#pragma once

#include <cstdio>

#include "TCDebugPrint.h"

namespace dak {
constexpr int kModule = 18;
constexpr int kProfilingCategory = 666;
}  // namespace dak

// NOLINTBEGIN(cppcoreguidelines-macro-usage): __func__ and __LINE__ must be the caller's.
#define DAK_PRINT(level, ...) \
    TCDebugPrintDAK::GetInstance()->Print(__func__, __LINE__, dak::kModule, (level), __VA_ARGS__)
#define DAK_PRINTF(level, ...) \
    TCDebugPrintDAK::GetInstance()->PrintF(__func__, __LINE__, dak::kModule, (level), __VA_ARGS__)
#define DAK_PROFILE(...) PrintProfiling(dak::kProfilingCategory, __VA_ARGS__)

// Reports a failed precondition: the platform's assertion report, then the
// function's name on standard output. The caller returns early.
#define DAK_ASSERT_REPORT(expressionText, sourcePath)        \
    do {                                                     \
        _TCAssert((expressionText), (sourcePath), __LINE__); \
        std::printf("ASSERT!, Func:%s\n", __func__);         \
        std::fflush(stdout);                                 \
    } while (false)
// NOLINTEND(cppcoreguidelines-macro-usage)
