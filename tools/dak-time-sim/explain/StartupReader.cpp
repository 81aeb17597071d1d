#include "StartupReader.h"

#include "LogFields.h"
#include "ReadWords.h"
#include "Vocabulary.h"

namespace daksim::explain {

using namespace std::string_view_literals;

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

void StartupReader::Other(const dakhost::LogLine* line, const At& at)
{
    const bool write = line != nullptr && line->function == "t_SetRTCTime"sv;
    if (m_rtcWrite && !write) {
        m_out.RtcWrite(true, m_rtcWrite, at);
        m_rtcWrite.reset();
    }
}

bool StartupReader::Line(const dakhost::LogLine& line, const At& at)
{
    const std::string& text = line.text;
    const std::string& function = line.function;
    const bool print = line.via == dakhost::Via::Print;
    if (function == "Init"sv && Has(text, "isMasterPowerOn:")) {
        if (!m_startup || m_read) {
            m_startup = Startup{};
            m_read = false;
        }
        m_startup->mainPower = NumberAfter(text, "isMasterPowerOn:").value_or(0) != 0;
        m_startup->battery = NumberAfter(text, "ExistBackupBattery:").value_or(0) != 0;
    } else if (function == "Init"sv && Has(text, "InitSystemTime  UTC=") && !m_read) {
        if (!m_startup) {
            m_startup = Startup{};
        }
        Startup& startup = *m_startup;
        if (!startup.rtcFailed) {
            startup.rtc = NumberAfter(text, "UTC=");
        }
        startup.reason = ReasonWord(Field(text, 1));
        startup.autoClock = AutoTypeWord(Field(text, 2));
        startup.type = ParseSetType(Field(text, 3));
        if (!startup.mainPower) {
            startup.mainPower = NumberAfter(text, "isMasterPowerOn=").value_or(0) != 0;
        }
        m_read = true;
        m_justRead = startup;
    } else if (function == "t_GetRTCTime"sv && print) {
        const bool starting = m_startup && !m_read;
        if (Has(text, "_time=")) {
            m_out.RtcRead(true, NumberAfter(text, "_time="), "", at);
        } else if (Has(text, "invalid")) {
            std::string raw = "raw";
            for (const char* field :
                 {"tm_year=", "tm_mon=", "tm_mday=", "tm_hour=", "tm_min=", "tm_sec="}) {
                raw += " " + std::to_string(NumberAfter(text, field).value_or(0));
            }
            m_out.RtcRead(true, std::nullopt, raw, at);
            if (starting) {
                m_startup->rtcFailed = true;
            }
        } else if (Has(text, "fail")) {
            m_out.RtcRead(false, std::nullopt, Has(text, "open fail") ? "absent" : "fail", at);
            if (starting) {
                m_startup->rtcFailed = true;
            }
        }
    } else if (function == "t_SetRTCTime"sv) {
        if (print && Has(text, "_time=")) {
            m_rtcWrite = NumberAfter(text, "_time=");
        } else if (print && Has(text, "fail")) {
            m_out.RtcWrite(false, m_rtcWrite, at);
            m_rtcWrite.reset();
        }
    } else {
        return function == "Init"sv || function == "t_GetRTCTime"sv;
    }
    return true;
}

}  // namespace daksim::explain
