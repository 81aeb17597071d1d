// libFuzzer target: any bytes read as a set's log come out as decisions,
// findings and a story, or as nothing, never a crash. The bytes are cut
// into lines as the log reader cuts them (too long a line is passed over).

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "Findings.h"
#include "LineReader.h"
#include "LogFeed.h"
#include "Rebuild.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace daksim::explain;
    Findings findings(60);
    Rebuild rebuild(findings);
    LogFeed feed(rebuild, "fuzz.log");
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    uint64_t number = 0;
    size_t start = 0;
    while (start < bytes.size()) {
        size_t end = bytes.find('\n', start);
        if (end == std::string_view::npos) {
            end = bytes.size();
        }
        ++number;
        if (end - start <= LineReader::kMaxLine) {
            feed.Line(number, bytes.substr(start, end - start));
        }
        start = end + 1;
    }
    feed.End(number);
    if (FILE* null = std::fopen("/dev/null", "w")) {
        findings.Print(null);
        std::fclose(null);
    }
    return 0;
}
