// The settings store under kill -9: a child process changes the settings in
// a loop through the settings provider, reporting each change done on a
// pipe, and the parent kills it at a random moment, a thousand times. After
// every kill the file must be whole: valid, never torn, never empty.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>

#include <random>
#include <string>

#include "DakLinuxPlatform.h"
#include "LinuxTestSupport.h"
#include "TCVConfProvider.h"

namespace {

constexpr int kKills = 1000;

[[noreturn]] void WriteForever(const daklinux::Options& options, int progress)
{
    std::string error;
    if (!daklinux::Start(options, &error)) {
        _exit(3);
    }
    for (int i = 0;; ++i) {
        // Values of different lengths, so that a torn file would show.
        const bool odd = (i & 1) != 0;
        TCVConfProvider::SetTvTimeOffset(odd ? -1439 : 5);
        TCVConfProvider::SetFirstSTTTime(odd ? 2147483647 : i);
        TCVConfProvider::SetTimeSettingReason(odd ? Reason_stream : Reason_micom);
        const char done = 1;
        if (write(progress, &done, 1) != 1) {
            _exit(4);
        }
    }
}

TEST(LinuxSettingsKill, AThousandKillsDuringWritesNeverLeaveATornOrEmptyFile)
{
    linuxtest::ScratchFolder folder;
    daklinux::Options options = linuxtest::DryRun(folder.Path());
    options.logLevel = 1;  // quiet children
    std::mt19937 random(2028);
    bool everWritten = false;
    int torn = 0;
    for (int kill = 0; kill < kKills; ++kill) {
        int pipeFds[2];
        ASSERT_EQ(pipe(pipeFds), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(pipeFds[0]);
            WriteForever(options, pipeFds[1]);
        }
        close(pipeFds[1]);
        // Let it finish 0 to 2 rounds, then kill it somewhere in the next:
        // a random spin moves the moment across open, write, fsync, rename.
        const int rounds = static_cast<int>(random() % 3U);
        for (int round = 0; round < rounds; ++round) {
            char done = 0;
            ASSERT_EQ(read(pipeFds[0], &done, 1), 1) << "the writer died by itself";
            everWritten = true;
        }
        volatile unsigned spin = 0;
        const auto spins = static_cast<unsigned>(random() % 200000U);
        for (unsigned s = 0; s < spins; ++s) {
            spin = spin + 1;
        }
        ::kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer ended by itself: " << status;
        close(pipeFds[0]);

        const daklinux::Snapshot snapshot = daklinux::Read(options);
        if (everWritten || snapshot.settingsProblem.find("No such file") == std::string::npos) {
            if (!snapshot.settingsValid) {
                ++torn;
                ADD_FAILURE() << "after kill " << kill << ": " << snapshot.settingsProblem;
            }
        }
        if (snapshot.settingsValid) {
            everWritten = true;
        }
        ASSERT_LT(torn, 5);
    }
    EXPECT_TRUE(everWritten);
}

}  // namespace
