// libFuzzer target: any bytes given to the capture reader come back as a
// capture or a refusal, never a crash; every field it returns decodes or is
// refused; and the same bytes handed over in small pieces (as the reader's
// bounded buffer meets a large file at its chunk edges) read the same.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <variant>

#include "CaptureReader.h"
#include "DvbTime.h"

namespace {

class Count : public dakinput::CaptureSink {
public:
    void Table(const dakinput::TimeTable&) override { ++tables; }
    void Note(const dakinput::Note&) override { ++notes; }
    size_t tables = 0;
    size_t notes = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const auto read = dakinput::ReadCapture(data, size);
    const auto* capture = std::get_if<dakinput::Capture>(&read);
    if (capture != nullptr) {
        for (const auto& table : capture->tables) {
            static_cast<void>(dakinput::MjdBcdToUtc(table.dvbTime));
            for (const auto& entry : table.offsets) {
                static_cast<void>(dakinput::MjdBcdToUtc(entry.timeOfChange));
                static_cast<void>(dakinput::BcdHhmmToMinutes(entry.localOffset));
                static_cast<void>(dakinput::BcdHhmmToMinutes(entry.nextOffset));
            }
        }
    }
    const size_t piece = size % 251 + 1;
    size_t done = 0;
    Count count;
    const auto pieces = dakinput::ReadCaptureStream(
        [&](uint8_t* to, size_t room) {
            const size_t part = std::min({room, piece, size - done});
            if (part > 0) {
                std::memcpy(to, data + done, part);
            }
            done += part;
            return static_cast<long>(part);
        },
        count);
    const bool same = capture == nullptr ? std::holds_alternative<dakinput::ReadError>(pieces)
                                         : count.tables == capture->tables.size() &&
                                               count.notes == capture->notes.size();
    if (!same) {
        __builtin_trap();
    }
    return 0;
}
