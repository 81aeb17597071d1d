// Context switches of an idle, started manager in real time: the manager
// must not poll, so over a period it should only wake for its sync alarm
// (the alarm's thread posts, the task handles the sync: about two switches
// per 30-second period).
//
// Usage: bench_idle [SECONDS]   (default 60)
// Counts voluntary and involuntary switches of every thread of the process
// from /proc/self/task/*/status before and after the wait.
#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "DakHostControl.h"
#include "TISystemTimeManager.h"

namespace {

struct Switches {
    std::string name;
    long voluntary = 0;
    long involuntary = 0;
};

long FieldOf(const std::string& status, const std::string& key)
{
    const auto at = status.find(key);
    return at == std::string::npos ? 0 : std::strtol(status.c_str() + at + key.size(), nullptr, 10);
}

std::string ReadFile(const std::string& path)
{
    std::string text;
    FILE* file = std::fopen(path.c_str(), "r");
    if (file == nullptr) {
        return text;
    }
    char buffer[4096];
    size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof(buffer), file)) > 0) {
        text.append(buffer, got);
    }
    std::fclose(file);
    return text;
}

std::map<int, Switches> ReadThreads()
{
    std::map<int, Switches> threads;
    DIR* dir = opendir("/proc/self/task");
    if (dir == nullptr) {
        return threads;
    }
    while (const dirent* entry = readdir(dir)) {
        const int tid = std::atoi(entry->d_name);
        if (tid <= 0) {
            continue;
        }
        const std::string base = std::string("/proc/self/task/") + entry->d_name;
        const std::string status = ReadFile(base + "/status");
        Switches s;
        s.name = ReadFile(base + "/comm");
        if (!s.name.empty() && s.name.back() == '\n') {
            s.name.pop_back();
        }
        s.voluntary = FieldOf(status, "voluntary_ctxt_switches:");
        s.involuntary = FieldOf(status, "nonvoluntary_ctxt_switches:");
        threads[tid] = s;
    }
    closedir(dir);
    return threads;
}

}  // namespace

int main(int argc, char** argv)
{
    const unsigned seconds = argc > 1 ? static_cast<unsigned>(std::atoi(argv[1])) : 60U;
    dakhost::Reset();
    dakhost::UseVirtualTime(false);  // the sync alarm runs on the monotonic clock
    dakhost::SetLogToStderr(false);
    dakhost::SetLogLevel(0);
    if (!TISystemTimeManager::Instance()->Init()) {
        std::fprintf(stderr, "Init failed\n");
        return 1;
    }
    dakhost::WaitIdle();

    const auto before = ReadThreads();
    sleep(seconds);
    const auto after = ReadThreads();

    long total = 0;
    std::printf("%-8s %-18s %10s %12s\n", "tid", "thread", "voluntary", "involuntary");
    for (const auto& [tid, end] : after) {
        const auto start = before.find(tid);
        const long v = end.voluntary - (start == before.end() ? 0 : start->second.voluntary);
        const long n = end.involuntary - (start == before.end() ? 0 : start->second.involuntary);
        std::printf("%-8d %-18s %10ld %12ld\n", tid, end.name.c_str(), v, n);
        total += v + n;
    }
    std::printf("%u s: %ld switches in all, %.2f per 30 s\n", seconds, total,
                static_cast<double>(total) * 30.0 / seconds);
    TISystemTimeManager::Exit();
    return 0;
}
