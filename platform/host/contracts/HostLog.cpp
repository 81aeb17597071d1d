// The logger of the host platform: every message, profiling mark, scope trace
// and assertion report is recorded as a line in a fixed ring of bytes, goes
// to the sink and, unless switched off, to standard error. Standard output
// can be captured too, line by line.
//
// Recording a line allocates nothing: the text is formatted on the stack
// (lines longer than kFormatBytes excepted) and copied into the ring, which
// drops its oldest lines to make room. Logs() builds its lines on demand.
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
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
// Texts up to this length (terminator included) are formatted on the stack.
constexpr size_t kFormatBytes = 512;

// The recorded lines, oldest first, in a circular store of bytes. Each line
// is a header followed by its function and its text; a line may wrap around
// the store's end. A new line drops the oldest ones until it fits.
class Recorder {
public:
    // 4 MiB: some 40 000 lines of the library's length (about 100 bytes
    // each with their header), three times what a scenario of half a day of
    // syncs logs between two marks. Pages are touched only as lines come.
    static constexpr size_t kBytes = size_t{4} << 20;

    void Append(const char* function, int line, int module, int level, dakhost::Via via,
                const char* text, size_t textLength)
    {
        const size_t functionLength = std::strlen(function);
        // A line longer than the whole store keeps what fits of its text.
        const size_t room = kBytes - sizeof(Header) - functionLength;
        if (textLength > room) {
            textLength = room;
        }
        const Header header{static_cast<uint32_t>(functionLength),
                            static_cast<uint32_t>(textLength),
                            line,
                            module,
                            level,
                            static_cast<int>(via)};
        const size_t size = sizeof header + functionLength + textLength;
        while (kBytes - m_used < size) {
            Header oldest{};
            CopyOut(m_tail, &oldest, sizeof oldest);
            const size_t dropped = oldest.SizeOf();
            m_tail = (m_tail + dropped) % kBytes;
            m_used -= dropped;
            --m_count;
        }
        const size_t at = (m_tail + m_used) % kBytes;
        CopyIn(at, &header, sizeof header);
        CopyIn((at + sizeof header) % kBytes, function, functionLength);
        CopyIn((at + sizeof header + functionLength) % kBytes, text, textLength);
        m_used += size;
        ++m_count;
    }

    std::vector<dakhost::LogLine> Lines() const
    {
        std::vector<dakhost::LogLine> lines;
        lines.reserve(m_count);
        size_t at = m_tail;
        for (size_t i = 0; i < m_count; ++i) {
            Header header{};
            CopyOut(at, &header, sizeof header);
            std::string function(header.functionLength, '\0');
            std::string text(header.textLength, '\0');
            CopyOut((at + sizeof header) % kBytes, function.data(), function.size());
            CopyOut((at + sizeof header + function.size()) % kBytes, text.data(), text.size());
            lines.push_back(dakhost::LogLine{std::move(function), header.line, header.module,
                                             header.level, static_cast<dakhost::Via>(header.via),
                                             std::move(text)});
            at = (at + header.SizeOf()) % kBytes;
        }
        return lines;
    }

    void Clear()
    {
        m_tail = 0;
        m_used = 0;
        m_count = 0;
    }

private:
    struct Header {
        uint32_t functionLength;
        uint32_t textLength;
        int line;
        int module;
        int level;
        int via;
        size_t SizeOf() const { return sizeof(Header) + functionLength + textLength; }
    };

    void CopyIn(size_t at, const void* from, size_t length)
    {
        const size_t first = length < kBytes - at ? length : kBytes - at;
        std::memcpy(m_bytes.get() + at, from, first);
        std::memcpy(m_bytes.get(), static_cast<const char*>(from) + first, length - first);
    }

    void CopyOut(size_t at, void* to, size_t length) const
    {
        const size_t first = length < kBytes - at ? length : kBytes - at;
        std::memcpy(to, m_bytes.get() + at, first);
        std::memcpy(static_cast<char*>(to) + first, m_bytes.get(), length - first);
    }

    // Left uninitialised: the kernel hands the pages out as they are written.
    std::unique_ptr<char[]> m_bytes{new char[kBytes]};
    size_t m_tail = 0;   // offset of the oldest line
    size_t m_used = 0;   // bytes the lines take
    size_t m_count = 0;  // lines held
};

// The active level: read for every line, so kept apart from the logger and
// constant-initialised, with no guard to pass.
std::atomic<int> g_level{kDefaultLevel};

struct Logger {
    std::mutex lock;  // guards everything below but `outputs`
    Recorder recorder;
    std::function<void(const dakhost::LogLine&)> sink;
    bool toStderr = true;
    // A sink is set or standard error is on: a line goes beyond the recorder.
    std::atomic<bool> outputs{true};

    // Calls into the sink one line at a time, in the order lines are taken;
    // recursive so that a sink may log.
    std::recursive_mutex sinkLock;

    // Standard output capture.
    std::mutex stdoutLock;
    int originalStdout = -1;  // a duplicate of the real output, kept for the process
    int captureRead = -1;     // read end of the pipe that file descriptor 1 now feeds
    std::string partial;      // text after the last complete line
};

Logger& TheLogger()
{
    static auto* const logger = new Logger;
    return *logger;
}

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

bool LevelEnabled(int level)
{
    return level <= g_level.load(std::memory_order_relaxed);
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

int OriginalStdout()
{
    Logger& logger = TheLogger();
    const std::lock_guard<std::mutex> lock(logger.stdoutLock);
    if (logger.originalStdout < 0) {
        logger.originalStdout = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    }
    return logger.originalStdout;
}

void CaptureStdout(bool on)
{
    const int original = OriginalStdout();
    Logger& logger = TheLogger();
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
        Record("", 0, 0, kStdoutLevel, Via::Stdout, line.data(), line.size());
    }
}

void CollectStdout()
{
    Logger& logger = TheLogger();
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
            Record("", 0, 0, kStdoutLevel, Via::Stdout, line.data(), line.size());
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
