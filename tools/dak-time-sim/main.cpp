// dak-time-sim: runs the time library on the host platform from scenario
// files. With no file it runs the built-in default scenario, a day in the
// life of a set.
//
//   dak-time-sim [--quiet] [--log-level N] [--trace FILE.jsonl] [--timeline FILE.svg]
//                [--perfetto FILE.json] [--seed N | --seeds A-B] [FILE...]
//   dak-time-sim explain [OPTION...] LOG...   (explain/Explain.h)
//   dak-time-sim --version | --help
//   dak-time-sim tables [--json] CAPTURE.ts
//
// Exit status: 0 when every expectation held, 1 when one failed, 2 when a
// file could not be read or parsed (nothing of that file is run).

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "CommandLine.h"
#include "DakHostControl.h"
#include "DefaultScenario.h"
#if DAK_SIM_EXPLAIN
#include "Explain.h"
#endif
#include "LibraryVersion.h"
#include "Parser.h"
#include "Perfetto.h"
#include "PlayStep.h"
#include "Runner.h"
#include "SeedSweep.h"
#include "TablesCommand.h"
#include "Timeline.h"
#include "Trace.h"
#include "Vocabulary.h"

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitBadInput = 2;
constexpr const char* kDefaultName = "default.scn";

void Usage(FILE* to)
{
    std::fputs(
        "usage: dak-time-sim [--quiet] [--log-level N] [--trace FILE.jsonl]\n"
        "                    [--timeline FILE.svg] [--perfetto FILE.json]\n"
        "                    [--seed N | --seeds A-B] [FILE...]\n"
        "       dak-time-sim explain [--trace F] [--timeline F] [--perfetto F]\n"
        "                    [--scenario FILE.scn] [--summary] LOG...\n"
        "       dak-time-sim --version | --help\n"
        "       dak-time-sim tables [--json] CAPTURE.ts\n"
        "  Runs each scenario FILE from a fresh platform and library state, in\n"
        "  virtual time; with no FILE, runs the built-in default scenario.\n"
        "  Each printed line of a step or a log line starts with the platform\n"
        "  clock and the virtual time elapsed since the file started.\n"
        "  --quiet              print only the expectations' results and the total\n"
        "  --log-level N        hide the library's log lines above level N\n"
        "  --trace FILE.jsonl   write one JSON object a line for everything that\n"
        "                       happened (steps, log lines, settings, syncs, ...)\n"
        "  --timeline FILE.svg  draw the run over virtual time as an SVG picture\n"
        "  --perfetto FILE.json the trace in the Trace Event Format (Perfetto's UI)\n"
        "  explain LOG...       read a set's log back: its decisions, findings and a\n"
        "                       scenario that replays it (explain --help)\n"
        "  --seed N             let a generator seeded by N choose which thread runs\n"
        "                       at each point where one may block or post; without\n"
        "                       it a fixed rule chooses and every run prints the same\n"
        "  --seeds A-B          run each FILE under every seed from A to B and report\n"
        "                       which seeds fail which expectations\n"
        "  --version            the program's and the loaded library's version\n"
        "  tables               list a capture's time tables, one a line (--json:\n"
        "                       JSON Lines); exit 2 when it is not a transport stream\n"
        "Exit status: 0 every expectation held; 1 an expectation failed;\n"
        "  2 a file could not be read or parsed (nothing of it runs), or bad options.\n"
        "The scenario file format and the simulator's guide: scenario-format.md and\n"
        "  README.md in " DAK_SIM_DOC_DIR
        ",\n"
        "  with example scenarios and captures in its examples/ folder (in the source\n"
        "  tree: docs/scenario-format.md, tools/dak-time-sim/README.md, scenarios/).\n",
        to);
}

void Version()
{
    const daksim::LoadedLibrary library = daksim::LoadedLibDakTime();
    std::printf("dak-time-sim %s\n", DAK_SIM_VERSION);
    if (library.version.empty()) {
        std::printf("libdak-time: version unknown (%s)\n",
                    library.path.empty() ? "not loaded as a shared object" : library.path.c_str());
    } else {
        std::printf("libdak-time %s (%s)\n", library.version.c_str(), library.path.c_str());
    }
}

// The value of an option given as "--name VALUE" or "--name=VALUE".
bool OptionValue(const std::vector<std::string>& args, size_t& i, const std::string& name,
                 std::string& value)
{
    switch (daksim::MatchOption(args, i, name, value)) {
        case daksim::OptionMatch::No:
            return false;
        case daksim::OptionMatch::Missing:
            std::fprintf(stderr, "dak-time-sim: %s needs a value\n", name.c_str());
            std::exit(kExitBadInput);
        case daksim::OptionMatch::Value:
            break;
    }
    return true;
}

struct Input {
    std::string name;
    std::string text;
};

// False with a message naming what is wrong.
bool ReadFile(const std::string& path, std::string& text, std::string& problem)
{
    struct stat info {};
    if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        problem = "is a directory, not a scenario file";
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        problem = std::string("cannot read the file: ") + std::strerror(errno);
        return false;
    }
    std::ostringstream content;
    content << file.rdbuf();
    if (file.bad()) {
        problem = std::string("cannot read the file: ") + std::strerror(errno);
        return false;
    }
    text = content.str();
    return true;
}

int Run(int argc, char** argv)
{
    daksim::RunOptions options;
    std::vector<std::string> paths;
    std::string tracePath;
    std::string timelinePath;
    std::string perfettoPath;
    std::string seedText;
    std::string seedsText;
    const std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && args[0] == "explain") {
#if DAK_SIM_EXPLAIN
        return daksim::explain::Run(std::vector<std::string>(args.begin() + 1, args.end()));
#else
        std::fputs("dak-time-sim: explain is not in this build (no zlib)\n", stderr);
        return kExitBadInput;
#endif
    }
    if (!args.empty() && args[0] == "tables") {
        return daksim::capture::TablesCommand({args.begin() + 1, args.end()}, stdout, stderr);
    }
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (OptionValue(args, i, "--trace", tracePath) ||
            OptionValue(args, i, "--timeline", timelinePath) ||
            OptionValue(args, i, "--perfetto", perfettoPath) ||
            OptionValue(args, i, "--seeds", seedsText) ||
            OptionValue(args, i, "--seed", seedText)) {
            continue;
        }
        if (arg == "--version") {
            Version();
            return 0;
        }
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

    std::optional<daksim::SeedRange> seeds;
    if (!seedText.empty() && !seedsText.empty()) {
        std::fputs("dak-time-sim: --seed and --seeds exclude each other\n", stderr);
        return kExitBadInput;
    }
    if (!seedText.empty() || !seedsText.empty()) {
        const std::string& text = seedText.empty() ? seedsText : seedText;
        seeds = daksim::ParseSeedRange(text);
        if (!seeds || (!seedText.empty() && seeds->first != seeds->last)) {
            std::fprintf(stderr, "dak-time-sim: bad seed '%s' (0 to 4294967295%s)\n", text.c_str(),
                         seedText.empty() ? ", A-B with A <= B" : "");
            return kExitBadInput;
        }
        if (!seedText.empty()) {
            options.seed = seeds->first;
            seeds.reset();
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
        std::string problem;
        if (!ReadFile(path, input.text, problem)) {
            std::fprintf(stderr, "%s: %s\n", path.c_str(), problem.c_str());
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
        auto& script = std::get<daksim::Script>(parsed);
        const bool anyStep = std::any_of(
            script.steps.begin(), script.steps.end(),
            [](const daksim::Step& step) { return step.kind != daksim::StepKind::Heading; });
        if (!anyStep) {
            std::fprintf(stderr, "%s: not a scenario: no step in the file\n", input.name.c_str());
            badInput = true;
            continue;
        }
        // A capture that is not a transport stream stops its file like a
        // word that is not understood.
        if (const auto error = daksim::capture::CheckCaptures(script)) {
            std::fprintf(stderr, "%s\n", error->c_str());
            badInput = true;
            continue;
        }
        scripts.push_back(std::move(script));
    }

    daksim::TraceFile trace;
    if (!tracePath.empty()) {
        if (!trace.Open(tracePath)) {
            std::fprintf(stderr, "%s: cannot write the trace: %s\n", tracePath.c_str(),
                         std::strerror(errno));
            return kExitBadInput;
        }
        options.trace = &trace;
    }
    // The Perfetto file takes the same records as the trace, beside it.
    daksim::PerfettoFile perfetto;
    if (!perfettoPath.empty()) {
        if (!perfetto.Open(perfettoPath)) {
            std::fprintf(stderr, "%s: cannot write the Perfetto trace: %s\n", perfettoPath.c_str(),
                         std::strerror(errno));
            return kExitBadInput;
        }
        trace.Also(&perfetto);
        options.trace = &trace;
    }
    // The picture is written at the end, but a path it cannot go to is
    // found before anything runs.
    daksim::Timeline timeline;
    std::ofstream svg;
    if (!timelinePath.empty()) {
        svg.open(timelinePath, std::ios::binary | std::ios::trunc);
        if (!svg) {
            std::fprintf(stderr, "%s: cannot write the timeline: %s\n", timelinePath.c_str(),
                         std::strerror(errno));
            return kExitBadInput;
        }
        options.timeline = &timeline;
    }

    daksim::Tally total;
    if (seeds) {
        total = daksim::SweepSeeds(out, scripts, *seeds, options);
        std::fprintf(out, "%d runs: %d held every expectation, %d failed\n",
                     total.passed + total.failed, total.passed, total.failed);
    } else {
        daksim::Runner runner(out, options);
        for (const daksim::Script& script : scripts) {
            const daksim::Tally tally = runner.Run(script);
            total.passed += tally.passed;
            total.failed += tally.failed;
        }
        runner.Print(std::to_string(total.passed) + " passed, " + std::to_string(total.failed) +
                     " failed" +
                     (options.seed ? " (seed " + std::to_string(*options.seed) + ")" : ""));
    }
    std::fclose(out);

    if (!timelinePath.empty()) {
        svg << timeline.Svg();
        if (!svg.flush()) {
            std::fprintf(stderr, "%s: cannot write the timeline\n", timelinePath.c_str());
            return kExitBadInput;
        }
    }

    if (!perfettoPath.empty() && !perfetto.Close()) {
        std::fprintf(stderr, "%s: cannot write the Perfetto trace\n", perfettoPath.c_str());
        return kExitBadInput;
    }

    if (badInput) {
        return kExitBadInput;
    }
    return total.failed > 0 ? kExitFailed : 0;
}

}  // namespace

int main(int argc, char** argv)
{
    // Nothing is meant to throw but running out of memory: said plainly.
    try {
        return Run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "dak-time-sim: %s\n", error.what());
    } catch (...) {
        std::fputs("dak-time-sim: unexpected failure\n", stderr);
    }
    return kExitBadInput;
}
