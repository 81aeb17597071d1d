// dak-time-sim: runs the time library on the host platform from scenario
// files. With no file it runs the built-in default scenario, a day in the
// life of a set.
//
//   dak-time-sim [--quiet] [--log-level N] [FILE...]
//
// Exit status: 0 when every expectation held, 1 when one failed, 2 when a
// file could not be read or parsed (nothing of that file is run).

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "DakHostControl.h"
#include "DefaultScenario.h"
#include "Parser.h"
#include "Runner.h"
#include "Vocabulary.h"

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitBadInput = 2;
constexpr const char* kDefaultName = "default.scn";

void Usage(FILE* to)
{
    std::fputs(
        "usage: dak-time-sim [--quiet] [--log-level N] [FILE...]\n"
        "  Runs each scenario FILE from a fresh platform and library state;\n"
        "  with no FILE, runs the built-in default scenario.\n"
        "  --quiet        print only the expectations' results and the total\n"
        "  --log-level N  hide the library's log lines above level N\n",
        to);
}

struct Input {
    std::string name;
    std::string text;
};

bool ReadFile(const std::string& path, std::string& text)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return false;
    }
    std::ostringstream content;
    content << file.rdbuf();
    if (file.bad()) {
        return false;
    }
    text = content.str();
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    daksim::RunOptions options;
    std::vector<std::string> paths;
    const std::vector<std::string> args(argv + 1, argv + argc);
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--quiet" || arg == "-q") {
            options.quiet = true;
        } else if (arg == "--log-level" || arg.rfind("--log-level=", 0) == 0) {
            std::string value;
            if (arg == "--log-level") {
                if (i + 1 >= args.size()) {
                    std::fputs("dak-time-sim: --log-level needs a number\n", stderr);
                    return kExitBadInput;
                }
                value = args[++i];
            } else {
                value = arg.substr(std::string("--log-level=").size());
            }
            const auto level = daksim::ParseInteger(value);
            if (!level || *level < 0 || *level > 1000) {
                std::fprintf(stderr, "dak-time-sim: bad log level '%s'\n", value.c_str());
                return kExitBadInput;
            }
            options.logLevel = static_cast<int>(*level);
        } else if (arg == "--help" || arg == "-h") {
            Usage(stdout);
            return 0;
        } else if (arg.size() > 1 && arg[0] == '-') {
            std::fprintf(stderr, "dak-time-sim: unknown option '%s'\n", arg.c_str());
            Usage(stderr);
            return kExitBadInput;
        } else {
            paths.push_back(arg);
        }
    }

    // Our own output goes to the real standard output, which stays apart
    // from what the library writes on descriptor 1 while a file runs.
    const int outFd = dup(dakhost::OriginalStdout());
    FILE* out = outFd >= 0 ? fdopen(outFd, "w") : nullptr;
    if (out == nullptr) {
        std::perror("dak-time-sim: standard output");
        return kExitBadInput;
    }

    std::vector<Input> inputs;
    bool badInput = false;
    if (paths.empty()) {
        const auto* bytes = std::begin(daksim::kDefaultScenario);
        inputs.push_back(
            {kDefaultName, std::string(bytes, std::end(daksim::kDefaultScenario) - 1)});
    }
    for (const std::string& path : paths) {
        Input input{path, {}};
        if (!ReadFile(path, input.text)) {
            std::fprintf(stderr, "%s: cannot read the file: %s\n", path.c_str(),
                         std::strerror(errno));
            badInput = true;
            continue;
        }
        inputs.push_back(std::move(input));
    }

    // Every file is parsed before any runs, so that a mistake in the last
    // one is found at once.
    std::vector<daksim::Script> scripts;
    for (const Input& input : inputs) {
        auto parsed = daksim::ParseScript(input.name, input.text);
        if (const auto* error = std::get_if<daksim::ParseError>(&parsed)) {
            std::fprintf(stderr, "%s\n", error->Format(input.name).c_str());
            badInput = true;
            continue;
        }
        scripts.push_back(std::move(std::get<daksim::Script>(parsed)));
    }

    daksim::Tally total;
    {
        daksim::Runner runner(out, options);
        for (const daksim::Script& script : scripts) {
            const daksim::Tally tally = runner.Run(script);
            total.passed += tally.passed;
            total.failed += tally.failed;
        }
        runner.Print(std::to_string(total.passed) + " passed, " + std::to_string(total.failed) +
                     " failed");
    }
    std::fclose(out);

    if (badInput) {
        return kExitBadInput;
    }
    return total.failed > 0 ? kExitFailed : 0;
}
