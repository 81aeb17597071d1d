// Logs written to the test's temporary folder and read back line by line.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "LineReader.h"

namespace daksim::explain {

class ExplainLineReader : public ::testing::Test {
protected:
    std::string Path(const std::string& name) const
    {
        return ::testing::TempDir() + "/explain-" + name;
    }
    void Write(const std::string& name, const std::string& content) const
    {
        std::ofstream(Path(name), std::ios::binary) << content;
    }
    // Every line; `cut` counts those cut short, `error` is why it ended early.
    std::vector<std::string> ReadAll(const std::string& name, size_t& cut,
                                     std::string* error = nullptr) const
    {
        LineReader reader;
        std::string problem;
        EXPECT_TRUE(reader.Open(Path(name), problem)) << problem;
        std::vector<std::string> lines;
        std::string_view line;
        bool isCut = false;
        cut = 0;
        while (reader.Next(line, isCut)) {
            cut += isCut ? 1U : 0U;
            lines.emplace_back(line);
        }
        if (error != nullptr) {
            *error = reader.Error();
        }
        return lines;
    }
};

}  // namespace daksim::explain
