// The logger of the host platform: every message, profiling mark, scope trace
// and assertion report becomes a LogLine in a capture buffer, goes to the
// sink and, unless switched off, to standard error. Standard output can be
// captured too, line by line.
#include <fcntl.h>
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
#include "TCDebugPrint.h"

namespace {

constexpr int kDefaultLevel = 5;
constexpr int kAssertLevel = 1;
constexpr int kStdoutLevel = 1;
constexpr int kProfilingLevel = 5;
constexpr int kTraceLevel = 5;

struct Logger {
    std::mutex lock;  // guards everything below but `level`
    std::vector<dakhost::LogLine> lines;
    std::function<void(const dakhost::LogLine&)> sink;
    bool toStderr = true;

    std::atomic<int> level{kDefaultLevel};

    // Calls into the sink one line at a time, in the order lines are taken;
    // recursive so that a sink may log.
    std::recursive_mutex sinkLock;

    // Standard output capture.
    std::mutex stdoutLock;
    int originalStdout = -1;  // a duplicate of the real output, kept for the process
    int captureRead = -1;     // read end of the pipe that file descriptor 1 now feeds
    std::string partial;      // text after the last complete line
};

Logger& L()
{
    static auto* const logger = new Logger;
    return *logger;
}

__attribute__((format(printf, 1, 0))) std::string FormatV(const char* format, va_list args)
{
    if (format == nullptr) {
        return {};
    }
    char buffer[512];
    va_list copy;
    va_copy(copy, args);
    const int length = std::vsnprintf(buffer, sizeof buffer, format, copy);
    va_end(copy);
    if (length < 0) {
        return {};
    }
    if (static_cast<size_t>(length) < sizeof buffer) {
        return {buffer, static_cast<size_t>(length)};
    }
    std::string text(static_cast<size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, args);
    text.resize(static_cast<size_t>(length));
    return text;
}

void WriteAll(int fd, const std::string& text)
{
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = write(fd, text.data() + done, text.size() - done);
        if (written <= 0) {
            if (written < 0 && errno == EINTR) {
                continue;
            }
            return;
        }
        done += static_cast<size_t>(written);
    }
}

void Emit(const dakhost::LogLine& line)
{
    Logger& logger = L();
    const std::lock_guard<std::recursive_mutex> order(logger.sinkLock);
    std::function<void(const dakhost::LogLine&)> sink;
    bool toStderr = false;
    {
        const std::lock_guard<std::mutex> lock(logger.lock);
        logger.lines.push_back(line);
        sink = logger.sink;
        toStderr = logger.toStderr;
    }
    if (sink) {
        sink(line);
    }
    if (toStderr) {
        std::string text = "[L" + std::to_string(line.level) + " " + dakhost::ViaName(line.via) +
                           " " + line.function + ":" + std::to_string(line.line) + "] " + line.text;
        if (text.empty() || text.back() != '\n') {
            text += '\n';
        }
        WriteAll(STDERR_FILENO, text);
    }
}

void Record(const char* function, int line, int module, int level, dakhost::Via via,
            std::string text)
{
    Emit(dakhost::LogLine{function != nullptr ? function : "", line, module, level, via,
                          std::move(text)});
}

bool LevelEnabled(int level)
{
    return level <= L().level.load();
}

// Reads what the pipe holds; the caller holds stdoutLock. Complete lines are
// returned, the rest kept.
std::vector<std::string> DrainCapture(Logger& logger)
{
    std::vector<std::string> complete;
    if (logger.captureRead < 0) {
        return complete;
    }
    char buffer[4096];
    for (;;) {
        const ssize_t got = read(logger.captureRead, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            break;
        }
        logger.partial.append(buffer, static_cast<size_t>(got));
    }
    size_t start = 0;
    for (size_t newline = logger.partial.find('\n'); newline != std::string::npos;
         newline = logger.partial.find('\n', start)) {
        complete.push_back(logger.partial.substr(start, newline - start));
        start = newline + 1;
    }
    logger.partial.erase(0, start);
    return complete;
}

}  // namespace

namespace dakhost::detail {

void ResetLogs()
{
    Logger& logger = L();
    {
        const std::lock_guard<std::mutex> lock(logger.stdoutLock);
        std::fflush(stdout);
        DrainCapture(logger);
        logger.partial.clear();
    }
    {
        const std::lock_guard<std::mutex> lock(logger.lock);
        logger.lines.clear();
    }
    logger.level = kDefaultLevel;
}

}  // namespace dakhost::detail

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
    L().level = level;
}

std::vector<LogLine> Logs()
{
    CollectStdout();
    Logger& logger = L();
    const std::lock_guard<std::mutex> lock(logger.lock);
    return logger.lines;
}

void ClearLogs()
{
    CollectStdout();
    Logger& logger = L();
    const std::lock_guard<std::mutex> lock(logger.lock);
    logger.lines.clear();
}

void SetLogSink(std::function<void(const LogLine&)> sink)
{
    Logger& logger = L();
    const std::lock_guard<std::mutex> lock(logger.lock);
    logger.sink = std::move(sink);
}

void SetLogToStderr(bool on)
{
    Logger& logger = L();
    const std::lock_guard<std::mutex> lock(logger.lock);
    logger.toStderr = on;
}

int OriginalStdout()
{
    Logger& logger = L();
    const std::lock_guard<std::mutex> lock(logger.stdoutLock);
    if (logger.originalStdout < 0) {
        logger.originalStdout = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    }
    return logger.originalStdout;
}

void CaptureStdout(bool on)
{
    const int original = OriginalStdout();
    Logger& logger = L();
    std::vector<std::string> lines;
    {
        const std::lock_guard<std::mutex> lock(logger.stdoutLock);
        const bool capturing = logger.captureRead >= 0;
        if (on == capturing) {
            return;
        }
        std::fflush(stdout);
        if (on) {
            int ends[2] = {-1, -1};
            if (pipe2(ends, O_CLOEXEC) != 0) {
                return;
            }
            // Room for a long burst between two collections.
            fcntl(ends[1], F_SETPIPE_SZ, 1 << 20);
            fcntl(ends[0], F_SETFL, fcntl(ends[0], F_GETFL) | O_NONBLOCK);
            dup2(ends[1], STDOUT_FILENO);
            close(ends[1]);
            logger.captureRead = ends[0];
            logger.partial.clear();
        } else {
            lines = DrainCapture(logger);
            if (!logger.partial.empty()) {
                lines.push_back(logger.partial);
                logger.partial.clear();
            }
            dup2(original, STDOUT_FILENO);
            close(logger.captureRead);
            logger.captureRead = -1;
        }
    }
    for (std::string& line : lines) {
        Record("", 0, 0, kStdoutLevel, Via::Stdout, std::move(line));
    }
}

void CollectStdout()
{
    Logger& logger = L();
    std::vector<std::string> lines;
    {
        const std::lock_guard<std::mutex> lock(logger.stdoutLock);
        if (logger.captureRead < 0) {
            return;
        }
        std::fflush(stdout);
        lines = DrainCapture(logger);
    }
    for (std::string& line : lines) {
        if (LevelEnabled(kStdoutLevel)) {
            Record("", 0, 0, kStdoutLevel, Via::Stdout, std::move(line));
        }
    }
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
    std::string text = FormatV(format, args);
    va_end(args);
    Record(function, line, module, level, dakhost::Via::Print, std::move(text));
}

void TCDebugPrint::PrintF(const char* function, int line, int module, int level, const char* format,
                          ...)
{
    if (!LevelEnabled(level)) {
        return;
    }
    va_list args;
    va_start(args, format);
    std::string text = FormatV(format, args);
    va_end(args);
    Record(function, line, module, level, dakhost::Via::PrintF, std::move(text));
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
    std::string text = FormatV(format, args);
    va_end(args);
    Record("PrintProfiling", 0, category, kProfilingLevel, dakhost::Via::Profiling,
           std::move(text));
}

extern "C" void _TCAssert(const char* expression, const char* file, unsigned long line)
{
    if (!LevelEnabled(kAssertLevel)) {
        return;
    }
    Record(file != nullptr ? file : "", static_cast<int>(line), 0, kAssertLevel,
           dakhost::Via::Assert, expression != nullptr ? expression : "");
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
    Record("TCScopeTrace", 0, 0, kTraceLevel, dakhost::Via::Trace, m_text);
}

TCScopeTrace::~TCScopeTrace() = default;
