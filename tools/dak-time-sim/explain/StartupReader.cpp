#include "StartupReader.h"

#include "ReadWords.h"
#include "Vocabulary.h"

namespace daksim::explain {

using namespace std::string_view_literals;
namespace msg = dak::msg;

void StartupReader::Reset()
{
    m_startup.reset();
    m_read = false;
    m_justRead.reset();
    m_rtcWrite.reset();
}

std::optional<Startup> StartupReader::TakeRead()
{
    std::optional<Startup> read;
    read.swap(m_justRead);
    return read;
}

void StartupReader::ManagerGone()
{
    m_startup.reset();
    m_read = false;
}

void StartupReader::Other(const LibraryMessage& known, const At& at)
{
    const bool write = known.Known() &&
                       dak::kMessages[known.id].function == dak::MessageOf(msg::kRtcWrite).function;
    if (m_rtcWrite && !write) {
        m_out.RtcWrite(true, m_rtcWrite, at);
        m_rtcWrite.reset();
    }
}

bool StartupReader::Line(const dakhost::LogLine& line, const LibraryMessage& known, const At& at)
{
    const bool print = line.via == dakhost::Via::Print;
    switch (known.id) {
        case Id(msg::kInitPower):  // "isMasterPowerOn:%d ExistBackupBattery:%d"
        case Id(msg::kInitPowerShort):
            if (!m_startup || m_read) {
                m_startup = Startup{};
                m_read = false;
            }
            m_startup->mainPower = known.Number(0).value_or(0) != 0;
            m_startup->battery = known.Number(1).value_or(0) != 0;
            break;
        case Id(msg::kInitState):  // "UTC=%lu, %s, %s, %s,   isMasterPowerOn=%d"
            if (!m_read) {
                ReadState(known);
            }
            break;
        case Id(msg::kRtcRead):  // "_time=%lu ..."
            if (print) {
                m_out.RtcRead(true, known.Number(0), "", at);
            }
            break;
        case Id(msg::kRtcReadInvalid):  // the six registers
            if (print) {
                std::string raw = "raw";
                for (size_t field = 0; field < 6; ++field) {
                    raw += " " + std::to_string(known.Number(field).value_or(0));
                }
                m_out.RtcRead(true, std::nullopt, raw, at);
                RtcFailedAtStart();
            }
            break;
        case Id(msg::kRtcReadOpenFail):
        case Id(msg::kRtcReadFail):
            if (print) {
                m_out.RtcRead(false, std::nullopt,
                              known.id == Id(msg::kRtcReadOpenFail) ? "absent" : "fail", at);
                RtcFailedAtStart();
            }
            break;
        case Id(msg::kRtcWrite):  // "_time=%lu ..."
            if (print) {
                m_rtcWrite = known.Number(0);
            }
            break;
        case Id(msg::kRtcWriteOpenFail):
        case Id(msg::kRtcWriteFail):
            if (print) {
                m_out.RtcWrite(false, m_rtcWrite, at);
                m_rtcWrite.reset();
            }
            break;
        default:
            return line.function == "Init"sv || line.function == "t_GetRTCTime"sv ||
                   line.function == "t_SetRTCTime"sv;
    }
    return true;
}

void StartupReader::RtcFailedAtStart()
{
    if (m_startup && !m_read) {
        m_startup->rtcFailed = true;
    }
}

void StartupReader::ReadState(const LibraryMessage& known)
{
    if (!m_startup) {
        m_startup = Startup{};
    }
    Startup& startup = *m_startup;
    if (!startup.rtcFailed) {
        startup.rtc = known.Number(0);
    }
    startup.reason = ReasonWord(known.Word(1));
    startup.autoClock = AutoTypeWord(known.Word(2));
    startup.type = ParseSetType(known.Word(3));
    if (!startup.mainPower) {
        startup.mainPower = known.Number(4).value_or(0) != 0;
    }
    m_read = true;
    m_justRead = startup;
}

}  // namespace daksim::explain
