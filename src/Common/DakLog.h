// Logging and assertion helpers of the library. Every message goes to the
// platform logger with the calling function's bare name, the source line and
// the library's module number.
#pragma once

#include <cstdio>

#include "Common/Messages.h"
#include "TCDebugPrint.h"

namespace dak {
constexpr int kProfilingCategory = 666;

// The platform's logger when a message of `level` is to be written, else
// null. Fetched anew for each message.
TCDebugPrint* LoggerAt(int level);

}  // namespace dak

// NOLINTBEGIN(cppcoreguidelines-macro-usage): __func__ and __LINE__ must be the caller's.
// DAK_LOG(dak::msg::kText, arguments...) writes a text of the catalogue
// (Common/Messages.h) through each of its outputs, in order, at the level the
// catalogue gives. A message's arguments (settings reads among them) are
// evaluated only when its level is on.
#define DAK_LOG(...) DAK_LOG_FROM(__func__, __VA_ARGS__)
// The same, for a function other than the caller (a lambda's enclosing one).
#define DAK_LOG_FROM(function, ...)                                                  \
    do {                                                                             \
        constexpr const dak::LogMessage& dakMessage =                                \
            dak::MessageOf(DAK_LOG_TEXT_(__VA_ARGS__, unused));                      \
        static_assert(dakMessage.first.output <= dak::LogOutput::Profiling,          \
                      "a text the logger's Print, PrintF or PrintProfiling writes"); \
        DAK_LOG_AS_(dakMessage.first, function, __VA_ARGS__)                         \
        if constexpr (dakMessage.second.level != 0) {                                \
            DAK_LOG_AS_(dakMessage.second, function, __VA_ARGS__)                    \
        }                                                                            \
    } while (false)
// True unless the logger says messages of `level` are switched off: guards
// reads that only a message needs.
#define DAK_LOG_ON(level) (dak::LoggerAt(level) != nullptr)
// A scope trace of the catalogue, named `variable`.
#define DAK_SCOPE_TRACE(variable, ...)                                                            \
    static_assert(                                                                                \
        dak::MessageOf(DAK_LOG_TEXT_(__VA_ARGS__, unused)).first.output == dak::LogOutput::Trace, \
        "a scope trace's text");                                                                  \
    const TCScopeTrace variable(__VA_ARGS__)

// Reports a failed precondition: the platform's assertion report of
// `expression` (a text of the catalogue), then the function's name on
// standard output. The caller returns early.
#define DAK_ASSERT_REPORT(expression, sourcePath) \
    DAK_ASSERT_REPORT_AS(expression, sourcePath, __LINE__, __func__)
#define DAK_ASSERT_REPORT_AS(expression, sourcePath, line, function)                     \
    do {                                                                                 \
        static_assert(dak::MessageOf(expression).first.output == dak::LogOutput::Assert, \
                      "an assertion's text");                                            \
        _TCAssert((expression), (sourcePath), (line));                                   \
        std::printf(dak::msg::kAssertFunction, (function));                              \
        std::fflush(stdout);                                                             \
    } while (false)

#define DAK_LOG_TEXT_(text, ...) text
#define DAK_LOG_AS_(emission, function, ...)                               \
    if constexpr ((emission).output == dak::LogOutput::Print) {            \
        DAK_LOG_TO_(Print, (emission).level, function, __VA_ARGS__);       \
    } else if constexpr ((emission).output == dak::LogOutput::PrintF) {    \
        DAK_LOG_TO_(PrintF, (emission).level, function, __VA_ARGS__);      \
    } else if constexpr ((emission).output == dak::LogOutput::Profiling) { \
        PrintProfiling(dak::kProfilingCategory, __VA_ARGS__);              \
    }
#define DAK_LOG_TO_(output, level, function, ...)                                    \
    if (TCDebugPrint* const dakLogger = dak::LoggerAt(level)) {                      \
        dakLogger->output((function), __LINE__, dak::kModule, (level), __VA_ARGS__); \
    }
// NOLINTEND(cppcoreguidelines-macro-usage)
