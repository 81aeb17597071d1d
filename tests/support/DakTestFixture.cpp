#include "DakTestFixture.h"

#include "Calendar.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace daktest {

std::vector<dakhost::LogLine> FindLogs(const std::string& text, int level, int via)
{
    std::vector<dakhost::LogLine> found;
    for (const auto& line : dakhost::Logs()) {
        if (line.text.find(text) == std::string::npos) {
            continue;
        }
        if (level >= 0 && line.level != level) {
            continue;
        }
        if (via >= 0 && static_cast<int>(line.via) != via) {
            continue;
        }
        found.push_back(line);
    }
    return found;
}

int CountLogs(const std::string& text, int level, int via)
{
    return static_cast<int>(FindLogs(text, level, via).size());
}

bool HasLog(const std::string& text, int level, int via)
{
    return CountLogs(text, level, via) > 0;
}

uint32_t Utc(int year, int month, int day, int hour, int minute, int second)
{
    return static_cast<uint32_t>(dakcal::UtcFromCivil(year, month, day, hour, minute, second));
}

}  // namespace daktest

void DakTest::SetUp()
{
    TIStreamClock::Exit();
    TISystemTimeManager::Exit();
    dakhost::Reset();
    dakhost::UseVirtualTime(true);
    dakhost::SetLogToStderr(false);
    m_pendingFaults = dakhost::PendingFaults();
}

void DakTest::TearDown()
{
    TIStreamClock::Exit();
    TISystemTimeManager::Exit();
    dakhost::CaptureStdout(false);
    EXPECT_EQ(dakhost::PendingFaults(), m_pendingFaults)
        << "the host framework counted more handled work than was queued";
}
