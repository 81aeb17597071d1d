// The trace's JSON strings: whatever bytes a log text holds, the line must
// stay one valid JSON object.
#include <gtest/gtest.h>

#include "Trace.h"

namespace daksim {
namespace {

TEST(TraceTest, EscapesWhatJsonForbids)
{
    EXPECT_EQ(JsonString("plain"), "\"plain\"");
    EXPECT_EQ(JsonString("a\"b\\c"), "\"a\\\"b\\\\c\"");
    EXPECT_EQ(JsonString("line\nnext\ttab\r"), "\"line\\nnext\\ttab\\r\"");
    // The library colours its texts with escape sequences.
    EXPECT_EQ(JsonString("\x1b[1;36m UTC\x1b[0m"), "\"\\u001b[1;36m UTC\\u001b[0m\"");
    EXPECT_EQ(JsonString(std::string("nul\0end", 7)), "\"nul\\u0000end\"");
    EXPECT_EQ(JsonString("\x7f"), "\"\\u007f\"");
}

TEST(TraceTest, KeepsUtf8AndReplacesBrokenBytes)
{
    EXPECT_EQ(JsonString("caf\xc3\xa9 \xe2\x88\x92 \xf0\x9f\x95\x92"),
              "\"caf\xc3\xa9 \xe2\x88\x92 \xf0\x9f\x95\x92\"");
    // A lone continuation byte, a truncated sequence, an overlong form and
    // an encoded surrogate are not UTF-8.
    EXPECT_EQ(JsonString("a\x80z"), "\"a\\ufffdz\"");
    EXPECT_EQ(JsonString("a\xe2\x88"), "\"a\\ufffd\\ufffd\"");
    EXPECT_EQ(JsonString("\xc0\xaf"), "\"\\ufffd\\ufffd\"");
    EXPECT_EQ(JsonString("\xed\xa0\x80"), "\"\\ufffd\\ufffd\\ufffd\"");
}

TEST(TraceTest, RecordCarriesTheMomentAndFile)
{
    TraceRecord record("sync", Moment{30000, 1709622030}, "a \"b\".scn");
    record.Int("difference", -5).Text("decision", "in step").Bool("ok", true);
    EXPECT_EQ(record.Line(),
              "{\"event\":\"sync\",\"t\":30000,\"clock\":1709622030,\"file\":\"a \\\"b\\\".scn\","
              "\"difference\":-5,\"decision\":\"in step\",\"ok\":true}");
}

}  // namespace
}  // namespace daksim
