// Test fixture: every test starts from a fresh host platform in virtual time,
// with the library's singletons gone, and ends by tearing them down again.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DakHostControl.h"

namespace daktest {

// Log lines captured since the last ClearLogs() that contain `text`, with
// that level and output when given (-1: any; `via` a dakhost::Via value).
std::vector<dakhost::LogLine> FindLogs(const std::string& text, int level = -1, int via = -1);
int CountLogs(const std::string& text, int level = -1, int via = -1);
bool HasLog(const std::string& text, int level = -1, int via = -1);

// UTC seconds of a calendar date in the host platform's calendar, for
// readable tests.
uint32_t Utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);

}  // namespace daktest

class DakTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

private:
    int m_pendingFaults = 0;
};
