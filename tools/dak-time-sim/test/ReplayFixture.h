// What the capture tests share: reading a capture the tests wrote, its
// notes, and a set with its manager and one stream clock to replay it into.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "CapturePlayer.h"
#include "CaptureReader.h"
#include "CaptureWriter.h"
#include "DakTestFixture.h"
#include "TIStreamClock.h"
#include "TISystemTimeManager.h"

namespace daksim::capture::test {

inline Capture Read(const Bytes& bytes)
{
    auto read = ReadCapture(bytes.data(), bytes.size());
    if (const auto* error = std::get_if<ReadError>(&read)) {
        ADD_FAILURE() << error->message;
        return {};
    }
    return std::get<Capture>(std::move(read));
}

// Every note, one a line behind its packet's offset: for failure messages.
inline std::string Notes(const Capture& capture)
{
    std::string all;
    for (const Note& note : capture.notes) {
        all += std::to_string(note.packetOffset) + ": " + note.text + "\n";
    }
    return all;
}

// A set with its manager and one stream clock, as the middleware starts them.
class ReplayFixture : public DakTest {
protected:
    void SetUp() override
    {
        DakTest::SetUp();
        ASSERT_TRUE(TISystemTimeManager::Instance()->Init());
        dakhost::WaitIdle();
        TIStreamClock::Init();
        DAKHandle handle;
        handle.profileId = 1;
        handle.subId = 0;
        m_clock = TIStreamClock::Instance(handle);
        ASSERT_NE(m_clock, nullptr);
    }

    // Replays a capture into the clock; each table handed over is kept in
    // m_replayed. Returns the count handed over.
    int Play(const Bytes& bytes, const PlayOptions& options = {})
    {
        m_capture = Read(bytes);
        m_replayed.clear();
        PlayReport report;
        report.table = [this](const Replayed& replayed) {
            m_replayed.push_back(replayed);
            m_replayed.back().table = nullptr;  // it does not outlive the call
        };
        const int tables = Play(*m_clock, m_capture, options, report);
        dakhost::WaitIdle();
        return tables;
    }

    uint32_t StreamClock(bool* isSet = nullptr)
    {
        bool set = false;
        const auto reading = static_cast<uint32_t>(m_clock->StreamClock(&set));
        if (isSet != nullptr) {
            *isSet = set;
        }
        return reading;
    }

    TIStreamClock* m_clock = nullptr;
    Capture m_capture;
    std::vector<Replayed> m_replayed;

private:
    static int Play(TIStreamClock& clock, const Capture& capture, const PlayOptions& options,
                    const PlayReport& report)
    {
        return daksim::capture::Play(clock, capture, options, report);
    }
};

}  // namespace daksim::capture::test
