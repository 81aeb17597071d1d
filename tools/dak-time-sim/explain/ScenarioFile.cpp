#include "ScenarioFile.h"

#include "TimeText.h"
#include "Vocabulary.h"

namespace daksim::explain {

namespace {
constexpr int64_t kLastCalendarUtc = 8204889600;  // 2230: beyond, a number is clearer
}  // namespace

ScenarioFile::~ScenarioFile()
{
    (void)Close();
}

bool ScenarioFile::Open(const std::string& path)
{
    m_file = std::fopen(path.c_str(), "w");
    if (m_file == nullptr) {
        return false;
    }
    std::fputs(
        "# Re-created by dak-time-sim explain from a set's log: the inputs the log\n"
        "# shows, and the decisions it shows as expectations. Each step says the\n"
        "# log line it comes from.\n",
        m_file);
    return true;
}

bool ScenarioFile::Close()
{
    if (m_file == nullptr) {
        return !m_failed;
    }
    if (m_steps == 0) {
        Step("idle  # the log shows nothing to re-create");
    }
    m_failed = std::ferror(m_file) != 0 || m_failed;
    m_failed = std::fclose(m_file) != 0 || m_failed;
    m_file = nullptr;
    return !m_failed;
}

void ScenarioFile::Step(const std::string& text)
{
    if (m_file != nullptr) {
        std::fprintf(m_file, "%s\n", text.c_str());
        ++m_steps;
    }
}

void ScenarioFile::From(uint64_t line, const std::string& what)
{
    if (m_file != nullptr) {
        std::fprintf(m_file, "# log line %llu: %s\n", static_cast<unsigned long long>(line),
                     what.c_str());
    }
}

void ScenarioFile::Heading(const std::string& text)
{
    if (m_file != nullptr) {
        std::fprintf(m_file, "\n## %s\n", text.c_str());
    }
}

std::string ScenarioFile::TimeWord(int64_t utc)
{
    if (utc >= 0 && utc < kLastCalendarUtc) {
        return IsoFromUtc(utc);
    }
    return std::to_string(utc);
}

std::string ScenarioFile::ReasonWord(int64_t reason)
{
    return reason >= 0 && reason <= 3 ? ReasonName(reason) : std::to_string(reason);
}

}  // namespace daksim::explain
