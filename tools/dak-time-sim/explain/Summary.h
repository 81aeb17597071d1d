// A fleet's logs at once (`--summary`): one row a log (one set), one column
// a kind of finding, each cell the number of times it was found.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "Findings.h"

namespace daksim::explain {

class Summary {
public:
    // A log's row, with its findings and what it held.
    void Add(const std::string& log, const Findings& findings, uint64_t messages);
    void Print(FILE* out) const;

private:
    struct Row {
        std::string log;
        uint64_t messages = 0;
        std::array<uint64_t, static_cast<size_t>(Kind::Count)> counts{};
    };
    std::vector<Row> m_rows;  // one a log named on the command line
};

}  // namespace daksim::explain
