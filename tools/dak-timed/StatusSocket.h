// How `dak-timed status` reaches the running daemon: a unix stream socket
// that the daemon listens on; each connection gets the status text and is
// closed. The daemon wakes for a connection only.
#pragma once

#include <optional>
#include <string>

namespace dakd {

class StatusSocket {
public:
    // Listens at `path` (a stale socket there is replaced); Fd() < 0 when it
    // cannot, with `error` set.
    StatusSocket(const std::string& path, std::string& error);
    ~StatusSocket();
    StatusSocket(const StatusSocket&) = delete;
    StatusSocket& operator=(const StatusSocket&) = delete;

    int Fd() const { return m_fd; }
    // Answers one waiting connection with `text`.
    void Answer(const std::string& text) const;

private:
    std::string m_path;
    int m_fd = -1;
};

// The running daemon's status text; nothing when none answers at `path`.
std::optional<std::string> QueryStatus(const std::string& path);

}  // namespace dakd
