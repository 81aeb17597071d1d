// The Trace Event Format written from trace records: what Perfetto's UI
// needs to show a run (a process per file, named tracks, events, counters).
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "Perfetto.h"
#include "Trace.h"

namespace daksim {
namespace {

std::string Written(const std::string& path)
{
    std::ifstream file(path);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

size_t Count(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST(PerfettoTest, AProcessPerFileEventsAndClocksAsCounters)
{
    const std::string path = ::testing::TempDir() + "/perfetto-test.json";
    {
        PerfettoFile perfetto;
        ASSERT_TRUE(perfetto.Open(path));
        perfetto.Write(TraceRecord("file", {0, 1709620200}, "a.scn").Int("rtc", 1709620200));
        perfetto.Write(TraceRecord("setting", {1500, 1709620200}, "a.scn")
                           .Int("type", 1)
                           .Text("type_name", "SetType_stream")
                           .Bool("accepted", true)
                           .Int("time", 1709620220));
        // The platform clock unchanged: no second counter value.
        perfetto.Write(TraceRecord("table", {1500, 1709620200}, "a.scn")
                           .Text("handle", "1/0")
                           .Int("time", 1709620220)
                           .Bool("result", true));
        perfetto.Write(TraceRecord("file", {0, 1704067200}, "b \"quoted\".scn"));
        EXPECT_TRUE(perfetto.Close());
    }
    const std::string json = Written(path);
    EXPECT_EQ(json.rfind(R"({"displayTimeUnit":"ms","traceEvents":[)", 0), 0U) << json;
    EXPECT_NE(json.find("\n]}\n"), std::string::npos);
    EXPECT_EQ(Count(json, R"("name":"process_name")"), 2U);
    EXPECT_NE(json.find(R"("args":{"name":"b \"quoted\".scn"})"), std::string::npos);
    EXPECT_NE(json.find(R"("name":"manager task")"), std::string::npos);
    EXPECT_NE(json.find(R"("name":"setting SetType_stream accepted","tid":2,"pid":1,"ts":1500000)"),
              std::string::npos)
        << json;
    EXPECT_NE(json.find(R"("name":"table 1/0","tid":3)"), std::string::npos);
    EXPECT_EQ(Count(json, R"({"ph":"C","name":"platform clock","pid":1)"), 1U) << json;
    EXPECT_NE(
        json.find(R"({"ph":"C","name":"hardware clock","pid":1,"ts":0,"args":{"utc":1709620200}})"),
        std::string::npos);
    EXPECT_NE(
        json.find(R"("name":"stream clock 1/0","pid":1,"ts":1500000,"args":{"utc":1709620220})"),
        std::string::npos)
        << json;
    // Every event but the last is followed by a comma: one JSON array.
    EXPECT_EQ(Count(json, "},\n") + 1, Count(json, "\n{") + 0) << json;
}

}  // namespace
}  // namespace daksim
