// libFuzzer target: any bytes given to the capture reader come back as a
// capture or a refusal, never a crash, and every field it returns decodes
// or is refused.

#include <cstddef>
#include <cstdint>
#include <variant>

#include "CaptureReader.h"
#include "DvbTime.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const auto read = daksim::capture::ReadCapture(data, size);
    if (const auto* capture = std::get_if<daksim::capture::Capture>(&read)) {
        for (const auto& table : capture->tables) {
            static_cast<void>(daksim::capture::MjdBcdToUtc(table.dvbTime));
            for (const auto& entry : table.offsets) {
                static_cast<void>(daksim::capture::MjdBcdToUtc(entry.timeOfChange));
                static_cast<void>(daksim::capture::BcdHhmmToMinutes(entry.localOffset));
                static_cast<void>(daksim::capture::BcdHhmmToMinutes(entry.nextOffset));
            }
        }
    }
    return 0;
}
