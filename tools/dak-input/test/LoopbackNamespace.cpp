#include "LoopbackNamespace.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace dakinput::test {

std::string g_namespaceRefused;

namespace {

bool WriteFile(const char* path, const std::string& text)
{
    const int fd = open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return written;
}

}  // namespace

bool EnterLoopbackNamespace(std::string& why)
{
    if (unshare(CLONE_NEWNET) != 0) {
        const uid_t uid = getuid();
        const gid_t gid = getgid();
        if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) {
            why = std::string("the kernel refuses a network namespace: ") + std::strerror(errno);
            return false;
        }
        WriteFile("/proc/self/setgroups", "deny");
        if (!WriteFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1") ||
            !WriteFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1")) {
            why = std::string("cannot map the user namespace: ") + std::strerror(errno);
            return false;
        }
    }
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", IFNAMSIZ - 1);
    const bool up = fd >= 0 && ioctl(fd, SIOCGIFFLAGS, &request) == 0 &&
                    (request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP),
                     ioctl(fd, SIOCSIFFLAGS, &request) == 0);
    if (!up) {
        why = std::string("cannot bring the namespace's loopback up: ") + std::strerror(errno);
    }
    if (fd >= 0) {
        close(fd);
    }
    return up;
}

}  // namespace dakinput::test

int main(int argc, char** argv)
{
    std::string why;
    if (!dakinput::test::EnterLoopbackNamespace(why)) {
        dakinput::test::g_namespaceRefused = why;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
