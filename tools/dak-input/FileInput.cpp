#include "FileInput.h"

#include <poll.h>

#include <utility>
#include <variant>

namespace dakinput {

namespace {

class Pacer : public CaptureSink {
public:
    Pacer(CaptureSink& sink, StopSignal& stop, double speed)
        : m_sink(sink), m_stop(stop), m_speed(speed), m_startMs(MonotonicMs())
    {
    }

    void Table(const TimeTable& table) override
    {
        if (table.paced && m_speed > 0) {
            const auto due =
                m_startMs + static_cast<uint64_t>(static_cast<double>(table.pcrMs) / m_speed);
            for (uint64_t now = MonotonicMs(); now < due && !m_stop.Raised(); now = MonotonicMs()) {
                pollfd watched{m_stop.Fd(), POLLIN, 0};
                poll(&watched, 1, m_stop.Timeout(static_cast<int>(due - now)));
            }
        }
        if (!m_stop.Raised()) {
            m_sink.Table(table);
        }
    }
    void Note(const struct Note& note) override { m_sink.Note(note); }

private:
    CaptureSink& m_sink;
    StopSignal& m_stop;
    const double m_speed;
    const uint64_t m_startMs;
};

}  // namespace

FileInput::FileInput(std::string address, std::string path, double speed)
    : m_address(std::move(address)), m_path(std::move(path)), m_speed(speed)
{
}

void FileInput::Run(CaptureSink& sink, StopSignal& stop)
{
    Pacer pacer(sink, stop, m_speed);
    const auto read = ReadCaptureFile(m_path, pacer, [&stop] { return !stop.Raised(); });
    if (const auto* error = std::get_if<ReadError>(&read)) {
        sink.Note({0, error->message, std::nullopt});
    } else if (!stop.Raised()) {
        sink.Note({std::get<CaptureEnd>(read).bytes, "end of the capture", std::nullopt});
    }
}

}  // namespace dakinput
