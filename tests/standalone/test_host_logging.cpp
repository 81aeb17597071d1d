// The host platform's logger: what each output records, level filtering (a
// disabled level is not even formatted), the standard error format, the sink,
// and standard output capture.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <printf.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <vector>

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
    void TearDown() override
    {
        dakhost::SetLogSink(nullptr);
        dakhost::CaptureStdout(false);
    }
};

TCDebugPrint& Logger()
{
    return *TCDebugPrintDAK::GetInstance();
}

// Everything written to standard error while `body` runs.
template <typename Body>
std::string StderrOf(Body body)
{
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe(ends), 0);
    const int saved = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    body();
    dup2(saved, STDERR_FILENO);
    close(saved);
    std::string text;
    char buffer[256];
    for (ssize_t got = read(ends[0], buffer, sizeof buffer); got > 0;
         got = read(ends[0], buffer, sizeof buffer)) {
        text.append(buffer, static_cast<size_t>(got));
    }
    close(ends[0]);
    return text;
}

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

TEST_F(HostLogging, EachOutputRecordsItsLine)
{
    Logger().Print("Init", 12, 18, 4, "value=%d %s", 7, "ok");
    Logger().PrintF("t_OnEvent", 34, 18, 1, "[%s] failed\n", "X");
    PrintProfiling(666, "SetSystemTime[BEGIN] %s", "BPTime_set_current_time");
    {
        const TCScopeTrace trace("%s", "BPTime_set_current_time");
    }
    _TCAssert("pObjectFactory", "src/SystemTimeManager", 99);

    const auto lines = dakhost::Logs();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0].function, "Init");
    EXPECT_EQ(lines[0].line, 12);
    EXPECT_EQ(lines[0].module, 18);
    EXPECT_EQ(lines[0].level, 4);
    EXPECT_EQ(lines[0].via, dakhost::Via::Print);
    EXPECT_EQ(lines[0].text, "value=7 ok");
    EXPECT_EQ(lines[1].via, dakhost::Via::PrintF);
    EXPECT_EQ(lines[1].text, "[X] failed\n");
    EXPECT_EQ(lines[2].via, dakhost::Via::Profiling);
    EXPECT_EQ(lines[2].module, 666);
    EXPECT_EQ(lines[2].text, "SetSystemTime[BEGIN] BPTime_set_current_time");
    EXPECT_EQ(lines[3].via, dakhost::Via::Trace);
    EXPECT_EQ(lines[3].text, "BPTime_set_current_time");
    EXPECT_EQ(lines[4].via, dakhost::Via::Assert);
    EXPECT_EQ(lines[4].text, "pObjectFactory");
    EXPECT_EQ(lines[4].function, "src/SystemTimeManager");
    EXPECT_EQ(lines[4].line, 99);

    dakhost::ClearLogs();
    EXPECT_TRUE(dakhost::Logs().empty());
}

TEST_F(HostLogging, LongMessagesAreKeptWhole)
{
    const std::string longText(3000, 'x');
    Logger().Print("f", 1, 18, 5, "%s|", longText.c_str());
    ASSERT_EQ(dakhost::Logs().size(), 1U);
    EXPECT_EQ(dakhost::Logs()[0].text, longText + "|");
}

TEST_F(HostLogging, LevelsAboveTheThresholdAreNeitherFormattedNorRecorded)
{
    ASSERT_EQ(register_printf_specifier('Y', CountingOutput, CountingArguments), 0);
    // The conversion is unknown to the compiler's format checks.
    const char* format = "%Y";
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat"
    dakhost::SetLogLevel(3);
    EXPECT_TRUE(Logger().IsEnabled(3));
    EXPECT_FALSE(Logger().IsEnabled(4));
    g_formatted = 0;
    Logger().Print("f", 1, 18, 4, format, 1);
    Logger().PrintF("f", 1, 18, 5, format, 1);
    EXPECT_EQ(g_formatted.load(), 0);
    EXPECT_TRUE(dakhost::Logs().empty());

    Logger().Print("f", 1, 18, 3, format, 1);
    EXPECT_EQ(g_formatted.load(), 1);
#pragma GCC diagnostic pop
    ASSERT_EQ(dakhost::Logs().size(), 1U);
    EXPECT_EQ(dakhost::Logs()[0].text, "counted");

    // Profiling marks and traces are detail; failures get through.
    PrintProfiling(666, "mark");
    const TCScopeTrace trace("trace");
    _TCAssert("expression", "file", 1);
    EXPECT_EQ(dakhost::Logs().size(), 2U);

    dakhost::Reset();
    EXPECT_TRUE(Logger().IsEnabled(5));
    EXPECT_FALSE(Logger().IsEnabled(6));
}

TEST_F(HostLogging, StandardErrorGetsOneLinePerMessage)
{
    dakhost::SetLogToStderr(true);
    const std::string text = StderrOf([] {
        Logger().Print("Init", 12, 18, 4, "hello %d", 5);
        Logger().PrintF("Exit", 7, 18, 1, "bye\n");
        _TCAssert("FlagCreate() == true", "TCTask", 3);
    });
    EXPECT_EQ(text,
              "[L4 Print Init:12] hello 5\n"
              "[L1 PrintF Exit:7] bye\n"
              "[L1 Assert TCTask:3] FlagCreate() == true\n");

    dakhost::SetLogToStderr(false);
    EXPECT_EQ(StderrOf([] { Logger().Print("Init", 12, 18, 4, "quiet"); }), "");
}

TEST_F(HostLogging, SinkSeesEachLineAsItIsLogged)
{
    std::vector<std::string> seen;
    dakhost::SetLogSink([&seen](const dakhost::LogLine& line) {
        seen.push_back(std::string(dakhost::ViaName(line.via)) + ":" + line.text);
        // The line is already captured when the sink runs.
        EXPECT_FALSE(dakhost::Logs().empty());
    });
    Logger().Print("f", 1, 18, 2, "one");
    PrintProfiling(666, "two");
    dakhost::SetLogSink(nullptr);
    Logger().Print("f", 1, 18, 2, "three");
    EXPECT_EQ(seen, (std::vector<std::string>{"Print:one", "Profiling:two"}));
}

TEST_F(HostLogging, CapturedStandardOutputBecomesLines)
{
    const int original = dakhost::OriginalStdout();
    ASSERT_GE(original, 0);
    dakhost::CaptureStdout(true);
    std::printf("ASSERT!, Func:%s\n", "Init");
    std::printf("partial");
    std::fflush(stdout);
    dakhost::CollectStdout();
    auto lines = dakhost::Logs();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].via, dakhost::Via::Stdout);
    EXPECT_EQ(lines[0].text, "ASSERT!, Func:Init");

    std::printf(" line\n");
    std::fflush(stdout);
    // Written straight to the descriptor, past the C library's buffer.
    ASSERT_EQ(write(STDOUT_FILENO, "raw\n", 4), 4);
    lines = dakhost::Logs();  // collects what is pending
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1].text, "partial line");
    EXPECT_EQ(lines[2].text, "raw");

    // Ending the capture keeps an unfinished line and restores the output.
    std::printf("tail");
    dakhost::CaptureStdout(false);
    lines = dakhost::Logs();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[3].text, "tail");
    EXPECT_EQ(dakhost::OriginalStdout(), original);
}

TEST_F(HostLogging, LargeOutputBetweenCollectionsDoesNotBlock)
{
    dakhost::CaptureStdout(true);
    const std::string line(99, 'y');
    for (int i = 0; i < 2000; ++i) {
        std::printf("%s\n", line.c_str());
    }
    std::fflush(stdout);
    dakhost::CollectStdout();
    EXPECT_EQ(dakhost::Logs().size(), 2000U);
}

}  // namespace
