// The host logger's capture of standard output: file descriptor 1 feeds a
// pipe, and each complete line read from it is logged.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "DakHostControl.h"
#include "HostLogger.h"

namespace {

constexpr int kStdoutLevel = 1;

}  // namespace

namespace dakhost::detail {

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

}  // namespace dakhost::detail

namespace dakhost {

int OriginalStdout()
{
    detail::Logger& logger = detail::TheLogger();
    const std::lock_guard<std::mutex> lock(logger.stdoutLock);
    if (logger.originalStdout < 0) {
        logger.originalStdout = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    }
    return logger.originalStdout;
}

void CaptureStdout(bool on)
{
    const int original = OriginalStdout();
    detail::Logger& logger = detail::TheLogger();
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
            lines = detail::DrainCapture(logger);
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
        detail::Record("", 0, 0, kStdoutLevel, Via::Stdout, line.data(), line.size());
    }
}

void CollectStdout()
{
    detail::Logger& logger = detail::TheLogger();
    std::vector<std::string> lines;
    {
        const std::lock_guard<std::mutex> lock(logger.stdoutLock);
        if (logger.captureRead < 0) {
            return;
        }
        std::fflush(stdout);
        lines = detail::DrainCapture(logger);
    }
    for (std::string& line : lines) {
        if (detail::LevelEnabled(kStdoutLevel)) {
            detail::Record("", 0, 0, kStdoutLevel, Via::Stdout, line.data(), line.size());
        }
    }
}

}  // namespace dakhost
