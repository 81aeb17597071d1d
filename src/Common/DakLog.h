// Logging and assertion helpers of the library. Every message goes to the
// platform logger with the calling function's bare name, the source line and
// the library's module number.
#pragma once

#include <cstdio>

#include "TCDebugPrint.h"

namespace dak {
constexpr int kModule = 18;
constexpr int kProfilingCategory = 666;

// The platform's logger when a message of `level` is to be written, else
// null. Fetched anew for each message.
TCDebugPrint* LoggerAt(int level);

}  // namespace dak

// NOLINTBEGIN(cppcoreguidelines-macro-usage): __func__ and __LINE__ must be the caller's.
// A message's arguments (settings reads among them) are evaluated only when
// its level is on.
#define DAK_LOG_TO(output, level, ...)                                                 \
    do {                                                                               \
        if (TCDebugPrint* const dakLogger = dak::LoggerAt(level)) {                    \
            dakLogger->output(__func__, __LINE__, dak::kModule, (level), __VA_ARGS__); \
        }                                                                              \
    } while (false)
// True unless the logger says messages of `level` are switched off: guards
// reads that only a message needs.
#define DAK_LOG_ON(level) (dak::LoggerAt(level) != nullptr)
#define DAK_PRINT(level, ...) DAK_LOG_TO(Print, level, __VA_ARGS__)
#define DAK_PRINTF(level, ...) DAK_LOG_TO(PrintF, level, __VA_ARGS__)
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
