#include "Summary.h"

#include <algorithm>

namespace daksim::explain {

void Summary::Add(const std::string& log, const Findings& findings, uint64_t messages)
{
    Row row;
    row.log = log;
    row.messages = messages;
    for (size_t kind = 0; kind < row.counts.size(); ++kind) {
        row.counts[kind] = findings.CountOf(static_cast<Kind>(kind));
    }
    m_rows.push_back(row);
}

void Summary::Print(FILE* out) const
{
    size_t width = 3;
    for (const Row& row : m_rows) {
        width = std::max(width, row.log.size());
    }
    std::fprintf(out, "%-*s %10s", static_cast<int>(width), "log", "messages");
    for (size_t kind = 0; kind < static_cast<size_t>(Kind::Count); ++kind) {
        std::fprintf(out, " %16s", KindName(static_cast<Kind>(kind)));
    }
    std::fputc('\n', out);
    std::array<uint64_t, static_cast<size_t>(Kind::Count)> sets{};
    for (const Row& row : m_rows) {
        std::fprintf(out, "%-*s %10llu", static_cast<int>(width), row.log.c_str(),
                     static_cast<unsigned long long>(row.messages));
        for (size_t kind = 0; kind < row.counts.size(); ++kind) {
            std::fprintf(out, " %16llu", static_cast<unsigned long long>(row.counts[kind]));
            sets[kind] += row.counts[kind] > 0 ? 1U : 0U;
        }
        std::fputc('\n', out);
    }
    std::fprintf(out, "%-*s %10s", static_cast<int>(width), "sets with it", "");
    for (const uint64_t count : sets) {
        std::fprintf(out, " %16llu", static_cast<unsigned long long>(count));
    }
    std::fputc('\n', out);
}

}  // namespace daksim::explain
