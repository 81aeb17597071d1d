#include "StatusSocket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace dakd {

namespace {

constexpr int kAnswerTimeoutMs = 2000;

bool Address(const std::string& path, sockaddr_un& address)
{
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return true;
}

}  // namespace

StatusSocket::StatusSocket(const std::string& path, std::string& error) : m_path(path)
{
    sockaddr_un address{};
    if (!Address(path, address)) {
        error = "status socket path too long: " + path;
        return;
    }
    m_fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    unlink(path.c_str());
    if (m_fd < 0 || bind(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(m_fd, 4) != 0) {
        error = "cannot listen at " + path + ": " + std::strerror(errno);
        if (m_fd >= 0) {
            close(m_fd);
        }
        m_fd = -1;
        return;
    }
    chmod(path.c_str(), 0666);  // the status is for anyone on the box to read
}

StatusSocket::~StatusSocket()
{
    if (m_fd >= 0) {
        close(m_fd);
        unlink(m_path.c_str());
    }
}

void StatusSocket::Answer(const std::string& text) const
{
    const int client = accept4(m_fd, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) {
        return;
    }
    // A reader that does not read is not waited for long.
    const timeval timeout{kAnswerTimeoutMs / 1000, 0};
    setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t wrote = send(client, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (wrote <= 0) {
            break;
        }
        sent += static_cast<size_t>(wrote);
    }
    close(client);
}

std::optional<std::string> QueryStatus(const std::string& path)
{
    sockaddr_un address{};
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || !Address(path, address) ||
        connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        if (fd >= 0) {
            close(fd);
        }
        return std::nullopt;
    }
    std::string text;
    char buffer[4096];
    for (;;) {
        pollfd watched{fd, POLLIN, 0};
        if (poll(&watched, 1, kAnswerTimeoutMs) <= 0) {
            break;
        }
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got <= 0) {
            break;
        }
        text.append(buffer, static_cast<size_t>(got));
    }
    close(fd);
    return text;
}

}  // namespace dakd
