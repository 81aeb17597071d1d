// The host platform's logger: a disabled level is not even formatted, the
// recorder keeps the newest lines once it is full, and standard output
// capture.
#include <gtest/gtest.h>
#include <printf.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>

#include "DakHostControl.h"
#include "TCDebugPrint.h"

namespace {

class HostLogging : public ::testing::Test {
protected:
    void SetUp() override
    {
        dakhost::Reset();
        dakhost::SetLogToStderr(false);
    }
    void TearDown() override { dakhost::CaptureStdout(false); }
};

// A printf conversion that counts how often it is formatted.
std::atomic<int> g_formatted{0};

int CountingOutput(FILE* stream, const printf_info* /*info*/, const void* const* /*args*/)
{
    ++g_formatted;
    return std::fprintf(stream, "counted");
}

int CountingArguments(const printf_info* /*info*/, size_t n, int* types, int* sizes)
{
    if (n > 0) {
        types[0] = PA_INT;
        sizes[0] = sizeof(int);
    }
    return 1;
}

TEST_F(HostLogging, LevelsAboveTheThresholdAreNeitherFormattedNorRecorded)
{
    ASSERT_EQ(register_printf_specifier('Y', CountingOutput, CountingArguments), 0);
    TCDebugPrint& logger = *TCDebugPrintDAK::GetInstance();
    const char* format = "%Y";  // unknown to the compiler's format checks
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat"
    dakhost::SetLogLevel(3);
    g_formatted = 0;
    logger.Print("f", 1, 18, 4, format, 1);
    logger.PrintF("f", 1, 18, 5, format, 1);
    EXPECT_EQ(g_formatted.load(), 0);
    EXPECT_TRUE(dakhost::Logs().empty());
    logger.PrintF("f", 1, 18, 3, format, 1);
#pragma GCC diagnostic pop
    EXPECT_EQ(g_formatted.load(), 1);
    ASSERT_EQ(dakhost::Logs().size(), 1U);
    EXPECT_EQ(dakhost::Logs()[0].text, "counted");
}

// Far more lines than the recorder holds, of lengths that are not a divisor
// of its size, so that lines wrap around its end: the newest are kept, in
// order and whole.
TEST_F(HostLogging, AFullRecorderDropsItsOldestLines)
{
    TCDebugPrint& logger = *TCDebugPrintDAK::GetInstance();
    constexpr int kLines = 200000;
    for (int i = 0; i < kLines; ++i) {
        logger.Print(i % 2 == 0 ? "even" : "odd_function", i, 18, 4, "line %d %.*s", i, i % 97,
                     "--------------------------------------------------------------------------"
                     "-----------------------------");
    }
    const auto lines = dakhost::Logs();
    ASSERT_GT(lines.size(), 1000U);
    ASSERT_LT(lines.size(), static_cast<size_t>(kLines));
    int expected = kLines - static_cast<int>(lines.size());
    for (const auto& line : lines) {
        ASSERT_EQ(line.line, expected);
        EXPECT_EQ(line.function, expected % 2 == 0 ? "even" : "odd_function");
        EXPECT_EQ(line.text, "line " + std::to_string(expected) + " " +
                                 std::string(static_cast<size_t>(expected % 97), '-'));
        ++expected;
    }
    dakhost::ClearLogs();
    logger.PrintF("f", 1, 18, 4, "after");
    ASSERT_EQ(dakhost::Logs().size(), 1U);
    EXPECT_EQ(dakhost::Logs()[0].text, "after");
}

TEST_F(HostLogging, CapturedStandardOutputBecomesLines)
{
    dakhost::CaptureStdout(true);
    std::printf("ASSERT!, Func:%s\npartial", "Init");
    std::fflush(stdout);
    dakhost::CollectStdout();
    ASSERT_EQ(dakhost::Logs().size(), 1U);
    EXPECT_EQ(dakhost::Logs()[0].via, dakhost::Via::Stdout);
    EXPECT_EQ(dakhost::Logs()[0].text, "ASSERT!, Func:Init");

    // Straight to the descriptor, past the C library's buffer; ending the
    // capture keeps an unfinished line.
    ASSERT_EQ(write(STDOUT_FILENO, " line\ntail", 10), 10);
    dakhost::CaptureStdout(false);
    const auto lines = dakhost::Logs();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1].text, "partial line");
    EXPECT_EQ(lines[2].text, "tail");
}

}  // namespace
