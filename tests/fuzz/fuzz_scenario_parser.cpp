// Any text handed to the scenario parser is read or refused with a message
// naming a line of the file; nothing else may happen.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <variant>

#include "Parser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto parsed = daksim::ParseScript("fuzz.scn", text);
    if (const auto* error = std::get_if<daksim::ParseError>(&parsed)) {
        // A refusal names a line of the file and says something.
        if (error->line < 0 || error->message.empty()) {
            std::abort();
        }
        (void)error->Format("fuzz.scn");
    } else {
        for (const daksim::Step& step : std::get<daksim::Script>(parsed).steps) {
            if (step.line < 1) {
                std::abort();
            }
        }
    }
    return 0;
}
