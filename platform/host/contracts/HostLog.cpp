// The logger of the host platform: every message, profiling mark, scope trace
// and assertion report is recorded as a line in a fixed ring of bytes, goes
// to the sink and, unless switched off, to standard error. Standard output
// can be captured too, line by line.
//
// Recording a line allocates nothing: the text is formatted on the stack
// (lines longer than kFormatBytes excepted) and copied into the ring, which
// drops its oldest lines to make room. Logs() builds its lines on demand.
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <functional>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "DakHostControl.h"
#include "HostInternal.h"
#include "HostLogger.h"
#include "TCDebugPrint.h"

using dakhost::detail::LevelEnabled;
using dakhost::detail::Logger;
using dakhost::detail::Record;
using dakhost::detail::TheLogger;

namespace {

constexpr int kDefaultLevel = 5;
constexpr int kAssertLevel = 1;
constexpr int kProfilingLevel = 5;
constexpr int kTraceLevel = 5;
// Texts up to this length (terminator included) are formatted on the stack.
constexpr size_t kFormatBytes = 512;

// The active level: read for every line, so kept apart from the logger and
// constant-initialised, with no guard to pass.
std::atomic<int> g_level{kDefaultLevel};

void WriteAll(int fd, const char* text, size_t length)
{
    size_t done = 0;
    while (done < length) {
        const ssize_t written = write(fd, text + done, length - done);
        if (written <= 0) {
            if (written < 0 && errno == EINTR) {
                continue;
            }
            return;
        }
        done += static_cast<size_t>(written);
    }
}

// "[L<level> <via> <function>:<line>] <text>", ending in one newline.
void WriteToStderr(const char* function, int line, int level, dakhost::Via via, const char* text,
                   size_t length)
{
    char buffer[kFormatBytes + 128];
    const int prefix = std::snprintf(buffer, sizeof buffer, "[L%d %s %s:%d] ", level,
                                     dakhost::ViaName(via), function, line);
    if (prefix < 0) {
        return;
    }
    const bool newline = length == 0 || text[length - 1] != '\n';
    const size_t total = static_cast<size_t>(prefix) + length + (newline ? 1 : 0);
    if (total <= sizeof buffer) {
        std::memcpy(buffer + prefix, text, length);
        if (newline) {
            buffer[total - 1] = '\n';
        }
        WriteAll(STDERR_FILENO, buffer, total);
        return;
    }
    std::string joined(buffer, static_cast<size_t>(prefix) < sizeof buffer
                                   ? static_cast<size_t>(prefix)
                                   : sizeof buffer - 1);
    joined.append(text, length);
    if (newline) {
        joined += '\n';
    }
    WriteAll(STDERR_FILENO, joined.data(), joined.size());
}

}  // namespace

namespace dakhost::detail {

Logger& TheLogger()
{
    static auto* const logger = new Logger;
    return *logger;
}

void Record(const char* function, int line, int module, int level, dakhost::Via via,
            const char* text, size_t length)
{
    if (function == nullptr) {
        function = "";
    }
    Logger& logger = TheLogger();
    if (!logger.outputs.load(std::memory_order_relaxed)) {
        const std::lock_guard<std::mutex> lock(logger.lock);
        logger.recorder.Append(function, line, module, level, via, text, length);
        return;
    }
    const std::lock_guard<std::recursive_mutex> order(logger.sinkLock);
    std::function<void(const dakhost::LogLine&)> sink;
    bool toStderr = false;
    {
        const std::lock_guard<std::mutex> lock(logger.lock);
        logger.recorder.Append(function, line, module, level, via, text, length);
        if (logger.sink) {
            sink = logger.sink;
        }
        toStderr = logger.toStderr;
    }
    if (sink) {
        sink(dakhost::LogLine{function, line, module, level, via, std::string(text, length)});
    }
    if (toStderr) {
        WriteToStderr(function, line, level, via, text, length);
    }
}

bool LevelEnabled(int level)
{
    return level <= g_level.load(std::memory_order_relaxed);
}

void ResetLogs()
{
    Logger& logger = TheLogger();
    {
        const std::lock_guard<std::mutex> lock(logger.stdoutLock);
        std::fflush(stdout);
        DrainCapture(logger);
        logger.partial.clear();
    }
    {
        const std::lock_guard<std::mutex> lock(logger.lock);
        logger.recorder.Clear();
    }
    g_level = kDefaultLevel;
}

}  // namespace dakhost::detail

namespace {

// Formats and records one line: on the stack unless it is longer than
// kFormatBytes.
__attribute__((format(printf, 5, 0))) void RecordV(const char* function, int line, int module,
                                                   int level, const char* format, dakhost::Via via,
                                                   va_list args)
{
    if (format == nullptr) {
        Record(function, line, module, level, via, "", 0);
        return;
    }
    va_list again;
    va_copy(again, args);
    char buffer[kFormatBytes];
    const int formatted = std::vsnprintf(buffer, sizeof buffer, format, args);
    const size_t length = formatted < 0 ? 0 : static_cast<size_t>(formatted);
    if (length < sizeof buffer) {
        Record(function, line, module, level, via, buffer, length);
    } else {
        std::string text(length + 1, '\0');
        std::vsnprintf(text.data(), text.size(), format, again);
        Record(function, line, module, level, via, text.data(), length);
    }
    va_end(again);
}

}  // namespace

namespace dakhost {

const char* ViaName(Via via)
{
    switch (via) {
        case Via::Print:
            return "Print";
        case Via::PrintF:
            return "PrintF";
        case Via::Profiling:
            return "Profiling";
        case Via::Trace:
            return "Trace";
        case Via::Assert:
            return "Assert";
        case Via::Stdout:
            return "Stdout";
    }
    return "?";
}

void SetLogLevel(int level)
{
    g_level = level;
}

std::vector<LogLine> Logs()
{
    CollectStdout();
    Logger& logger = TheLogger();
    const std::lock_guard<std::mutex> lock(logger.lock);
    return logger.recorder.Lines();
}

void ClearLogs()
{
    CollectStdout();
    Logger& logger = TheLogger();
    const std::lock_guard<std::mutex> lock(logger.lock);
    logger.recorder.Clear();
}

void SetLogSink(std::function<void(const LogLine&)> sink)
{
    Logger& logger = TheLogger();
    const std::lock_guard<std::mutex> lock(logger.lock);
    logger.sink = std::move(sink);
    logger.outputs = logger.sink || logger.toStderr;
}

void SetLogToStderr(bool on)
{
    Logger& logger = TheLogger();
    const std::lock_guard<std::mutex> lock(logger.lock);
    logger.toStderr = on;
    logger.outputs = logger.sink || logger.toStderr;
}

}  // namespace dakhost

// ---- the platform's logging interface ---------------------------------------------

TCDebugPrint::~TCDebugPrint() = default;

bool TCDebugPrint::IsEnabled(int level) const
{
    return LevelEnabled(level);
}

void TCDebugPrint::Print(const char* function, int line, int module, int level, const char* format,
                         ...)
{
    if (!LevelEnabled(level)) {
        return;
    }
    va_list args;
    va_start(args, format);
    RecordV(function, line, module, level, format, dakhost::Via::Print, args);
    va_end(args);
}

void TCDebugPrint::PrintF(const char* function, int line, int module, int level, const char* format,
                          ...)
{
    if (!LevelEnabled(level)) {
        return;
    }
    va_list args;
    va_start(args, format);
    RecordV(function, line, module, level, format, dakhost::Via::PrintF, args);
    va_end(args);
}

TCDebugPrint* TCDebugPrintDAK::GetInstance()
{
    // Built in static storage and never destroyed: libraries log from their
    // own static destructors too.
    alignas(TCDebugPrint) static unsigned char storage[sizeof(TCDebugPrint)];
    static auto* const instance = new (storage) TCDebugPrint;
    return instance;
}

extern "C" void PrintProfiling(int category, const char* format, ...)
{
    if (!LevelEnabled(kProfilingLevel)) {
        return;
    }
    va_list args;
    va_start(args, format);
    RecordV("PrintProfiling", 0, category, kProfilingLevel, format, dakhost::Via::Profiling, args);
    va_end(args);
}

extern "C" void _TCAssert(const char* expression, const char* file, unsigned long line)
{
    if (!LevelEnabled(kAssertLevel)) {
        return;
    }
    const char* text = expression != nullptr ? expression : "";
    Record(file, static_cast<int>(line), 0, kAssertLevel, dakhost::Via::Assert, text,
           std::strlen(text));
}

TCScopeTrace::TCScopeTrace(const char* format, ...)
{
    if (!LevelEnabled(kTraceLevel) || format == nullptr) {
        return;
    }
    va_list args;
    va_start(args, format);
    std::vsnprintf(m_text, sizeof m_text, format, args);
    va_end(args);
    Record("TCScopeTrace", 0, 0, kTraceLevel, dakhost::Via::Trace, m_text, std::strlen(m_text));
}

TCScopeTrace::~TCScopeTrace() = default;
