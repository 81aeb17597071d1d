#include "Parser.h"

#include <string_view>
#include <utility>
#include <vector>

#include "grammar/Grammar.h"
#include "grammar/Words.h"

namespace daksim {

std::string ParseError::Format(const std::string& name) const
{
    return name + ":" + std::to_string(line) + ": " + message;
}

std::variant<Script, ParseError> ParseScript(const std::string& name, const std::string& text)
{
    Script script;
    script.name = name;
    size_t start = 0;
    int lineNumber = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        const std::string_view line = std::string_view(text).substr(start, end - start);
        start = end + 1;
        ++lineNumber;

        size_t first = 0;
        while (first < line.size() && grammar::IsBlank(line[first])) {
            ++first;
        }
        const std::string_view content = line.substr(first);
        if (content.substr(0, 3) == "## ") {
            Step heading;
            heading.kind = StepKind::Heading;
            heading.line = lineNumber;
            std::string_view rest = content.substr(3);
            while (!rest.empty() && grammar::IsBlank(rest.back())) {
                rest.remove_suffix(1);
            }
            heading.args = args::Text{std::string(rest)};
            heading.source = std::string(content);
            script.steps.push_back(std::move(heading));
            continue;
        }
        try {
            std::vector<grammar::Word> words = grammar::SplitWords(line);
            if (words.empty()) {
                continue;
            }
            Step step;
            step.line = lineNumber;
            step.source = grammar::StepSource(line);
            grammar::StepWords reader(std::move(words));
            grammar::ReadStep(reader, step);
            script.steps.push_back(std::move(step));
        } catch (const grammar::LineError& error) {
            return ParseError{lineNumber, error.message};
        }
    }
    return script;
}

}  // namespace daksim
