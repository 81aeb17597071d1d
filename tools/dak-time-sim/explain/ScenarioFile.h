// The file a generated scenario is written to, step by step, and the words a
// scenario writes times and reasons with.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace daksim::explain {

class ScenarioFile {
public:
    ScenarioFile() = default;
    ~ScenarioFile();
    ScenarioFile(const ScenarioFile&) = delete;
    ScenarioFile& operator=(const ScenarioFile&) = delete;

    bool Open(const std::string& path);
    // False when something could not be written.
    bool Close();

    void Step(const std::string& text);
    // A comment: the log line the next steps come from.
    void From(uint64_t line, const std::string& what);
    void Heading(const std::string& text);
    // The steps written so far.
    size_t Steps() const { return m_steps; }

    // A time: the calendar form where it has one.
    static std::string TimeWord(int64_t utc);
    // A reason: the short name, or the number.
    static std::string ReasonWord(int64_t reason);

private:
    FILE* m_file = nullptr;
    bool m_failed = false;
    size_t m_steps = 0;
};

}  // namespace daksim::explain
