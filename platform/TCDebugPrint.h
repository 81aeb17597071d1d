// The platform logger, profiling marks, scope tracing and assertion reports.
#pragma once

#include "PlatformExport.h"

class DAK_PLATFORM_API TCDebugPrint {
public:
    TCDebugPrint() = default;
    virtual ~TCDebugPrint();
    TCDebugPrint(const TCDebugPrint&) = delete;
    TCDebugPrint& operator=(const TCDebugPrint&) = delete;

    // Two outputs of the logger; printf-style format. `function` is the bare
    // name of the calling function, `module` the caller's module number and
    // `level` its level (1 failures ... 5 detail).
    void Print(const char* function, int line, int module, int level, const char* format, ...)
        __attribute__((format(printf, 6, 7)));
    void PrintF(const char* function, int line, int module, int level, const char* format, ...)
        __attribute__((format(printf, 6, 7)));

    // True when a message of this level would be written at all.
    bool IsEnabled(int level) const;
};

class DAK_PLATFORM_API TCDebugPrintDAK {
public:
    static TCDebugPrint* GetInstance();
};

// A profiling marker; callers pass 666 as the category.
extern "C" DAK_PLATFORM_API void PrintProfiling(int category, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// Reports a failed check and returns; nothing aborts.
extern "C" DAK_PLATFORM_API void _TCAssert(const char* expression, const char* file,
                                           unsigned long line);

// A tracer that lives for one scope.
class DAK_PLATFORM_API TCScopeTrace {
public:
    explicit TCScopeTrace(const char* format, ...) __attribute__((format(printf, 2, 3)));
    ~TCScopeTrace();  // NOLINT(performance-trivially-destructible): the platform's own
    TCScopeTrace(const TCScopeTrace&) = delete;
    TCScopeTrace& operator=(const TCScopeTrace&) = delete;

private:
    char m_text[128] = {};
};
