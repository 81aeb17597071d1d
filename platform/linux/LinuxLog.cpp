// The logger on Linux: each message goes to the systemd journal with a
// priority from its level when the process runs under systemd (or the
// options say "journal"), to standard error otherwise. Both outputs of the
// logger (Print and PrintF) go to the same place. The last lines are kept in
// a small fixed ring for the status snapshot. Nothing is allocated per line.
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#if defined(DAK_LINUX_HAVE_SYSTEMD)
#include <syslog.h>
#include <systemd/sd-journal.h>
#endif

#include "LinuxInternal.h"
#include "TCDebugPrint.h"

namespace {

constexpr size_t kLineBytes = 256;
constexpr size_t kKeptLines = 16;
constexpr int kProfilingLevel = 5;
constexpr int kAssertLevel = 1;

struct Logger {
    std::atomic<int> level{4};
    std::atomic<bool> journal{false};
    std::mutex lock;  // the ring
    std::array<std::array<char, kLineBytes>, kKeptLines> ring{};
    size_t next = 0;
    size_t kept = 0;
};

Logger& L()
{
    static auto* const logger = new Logger;
    return *logger;
}

[[maybe_unused]] bool UnderSystemd()
{
    return std::getenv("JOURNAL_STREAM") != nullptr || std::getenv("INVOCATION_ID") != nullptr;
}

#if defined(DAK_LINUX_HAVE_SYSTEMD)
int Priority(int level)
{
    switch (level) {
        case 1:
            return LOG_ERR;
        case 2:
            return LOG_WARNING;
        case 3:
            return LOG_NOTICE;
        case 4:
            return LOG_INFO;
        default:
            return LOG_DEBUG;
    }
}
#endif

void Emit(const char* function, int line, int level, const char* format, va_list args)
{
    Logger& l = L();
    if (level > l.level.load(std::memory_order_relaxed)) {
        return;
    }
    char text[kLineBytes];
    std::vsnprintf(text, sizeof text, format, args);
    size_t length = std::strlen(text);
    while (length > 0 && text[length - 1] == '\n') {
        text[--length] = '\0';
    }
#if defined(DAK_LINUX_HAVE_SYSTEMD)
    if (l.journal.load(std::memory_order_relaxed)) {
        sd_journal_send("MESSAGE=%s", text, "PRIORITY=%d", Priority(level), "CODE_FUNC=%s",
                        function, "DAK_LINE=%d", line, "DAK_LEVEL=%d", level, nullptr);
    } else
#endif
    {
        std::fprintf(stderr, "dak-time <%d> %s:%d: %s\n", level, function, line, text);
    }
    const std::lock_guard<std::mutex> lock(l.lock);
    std::snprintf(l.ring[l.next].data(), kLineBytes, "<%d> %s: %s", level, function, text);
    l.next = (l.next + 1) % kKeptLines;
    if (l.kept < kKeptLines) {
        ++l.kept;
    }
}

}  // namespace

namespace daklinux::detail {

void Log(int level, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    Emit("platform", 0, level, format, args);
    va_end(args);
}

void ConfigureLog(const Options& options)
{
    Logger& l = L();
    l.level.store(options.logLevel, std::memory_order_relaxed);
    bool journal = false;
#if defined(DAK_LINUX_HAVE_SYSTEMD)
    journal = options.logTarget == "journal" || (options.logTarget == "auto" && UnderSystemd());
#endif
    l.journal.store(journal, std::memory_order_relaxed);
}

std::vector<std::string> LastLogLines()
{
    Logger& l = L();
    const std::lock_guard<std::mutex> lock(l.lock);
    std::vector<std::string> lines;
    for (size_t i = 0; i < l.kept; ++i) {
        lines.emplace_back(l.ring[(l.next + kKeptLines - l.kept + i) % kKeptLines].data());
    }
    return lines;
}

}  // namespace daklinux::detail

TCDebugPrint::~TCDebugPrint() = default;

void TCDebugPrint::Print(const char* function, int line, int /*module*/, int level,
                         const char* format, ...)
{
    va_list args;
    va_start(args, format);
    Emit(function, line, level, format, args);
    va_end(args);
}

void TCDebugPrint::PrintF(const char* function, int line, int /*module*/, int level,
                          const char* format, ...)
{
    va_list args;
    va_start(args, format);
    Emit(function, line, level, format, args);
    va_end(args);
}

bool TCDebugPrint::IsEnabled(int level) const
{
    return level <= L().level.load(std::memory_order_relaxed);
}

TCDebugPrint* TCDebugPrintDAK::GetInstance()
{
    static auto* const logger = new TCDebugPrint;
    return logger;
}

extern "C" void PrintProfiling(int /*category*/, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    Emit("profiling", 0, kProfilingLevel, format, args);
    va_end(args);
}

extern "C" void _TCAssert(const char* expression, const char* file, unsigned long line)
{
    daklinux::detail::Log(kAssertLevel, "assertion failed: %s (%s:%lu)", expression, file, line);
}

TCScopeTrace::TCScopeTrace(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    std::vsnprintf(m_text, sizeof m_text, format, args);
    va_end(args);
}

TCScopeTrace::~TCScopeTrace() = default;
