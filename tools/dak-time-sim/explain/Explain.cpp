#include "Explain.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>

#include "CommandLine.h"
#include "Fanout.h"
#include "Findings.h"
#include "LineReader.h"
#include "LogFeed.h"
#include "Perfetto.h"
#include "Rebuild.h"
#include "Recogniser.h"
#include "Records.h"
#include "ScenarioWriter.h"
#include "Stamp.h"
#include "Story.h"
#include "Summary.h"
#include "TimeText.h"
#include "Timeline.h"
#include "Trace.h"
#include "Vocabulary.h"
#include "Wording.h"

namespace daksim::explain {

namespace {

constexpr int kExitBadInput = 2;
constexpr int kExitPartRead = 3;
constexpr int64_t kDefaultJumpSeconds = 60;

struct Options {
    std::string trace;
    std::string timeline;
    std::string perfetto;
    std::string scenario;
    bool summary = false;
    bool quiet = false;
    int64_t jumpSeconds = kDefaultJumpSeconds;
    std::optional<int64_t> year;  // of stamps without one
    std::vector<std::string> logs;
};

void Usage(FILE* to)
{
    std::fputs(
        "usage: dak-time-sim explain [--trace FILE.jsonl] [--timeline FILE.svg]\n"
        "                            [--perfetto FILE.json] [--scenario FILE.scn]\n"
        "                            [--summary] [--quiet] [--jump SECONDS] [--year YEAR]\n"
        "                            LOG...\n"
        "  Reads a set's log (plain or .gz; - for standard input), finds the\n"
        "  library's messages behind any prefix, and prints what the library\n"
        "  decided and the findings, each with its line numbers.\n"
        "  --trace FILE.jsonl     the decisions as the trace records of a scenario run\n"
        "  --timeline FILE.svg    the same drawing as a scenario run's\n"
        "  --perfetto FILE.json   the records in the Trace Event Format (Perfetto)\n"
        "  --scenario FILE.scn    a scenario that re-creates the log's inputs\n"
        "  --summary              one table of logs (sets) by finding\n"
        "  --quiet                no story, only the findings\n"
        "  --jump SECONDS         a clock jump worth a finding (default 60)\n"
        "  --year YEAR            the year of stamps without one, until the log tells\n"
        "                         it (the clock the library reads)\n"
        "Exit status: 0 explained; 2 a log could not be read or holds none of the\n"
        "  library's messages, or bad options; 3 explained, but a log ended early\n"
        "  (a compressed file cut short or damaged): the rest of it was not read.\n",
        to);
}

bool Value(const std::vector<std::string>& args, size_t& i, const std::string& name,
           std::string& value, bool& bad)
{
    switch (MatchOption(args, i, name, value)) {
        case OptionMatch::No:
            return false;
        case OptionMatch::Missing:
            std::fprintf(stderr, "dak-time-sim explain: %s needs a value\n", name.c_str());
            bad = true;
            break;
        case OptionMatch::Value:
            break;
    }
    return true;
}

std::optional<Options> Parse(const std::vector<std::string>& args)
{
    Options options;
    bool bad = false;
    for (size_t i = 0; i < args.size() && !bad; ++i) {
        const std::string& arg = args[i];
        std::string jump;
        std::string year;
        if (Value(args, i, "--trace", options.trace, bad) ||
            Value(args, i, "--timeline", options.timeline, bad) ||
            Value(args, i, "--perfetto", options.perfetto, bad) ||
            Value(args, i, "--scenario", options.scenario, bad)) {
            continue;
        }
        if (Value(args, i, "--year", year, bad)) {
            const auto value = ParseInteger(year);
            if (!bad && (!value || *value < 1970 || *value > 2105)) {
                std::fprintf(stderr, "dak-time-sim explain: bad --year '%s'\n", year.c_str());
                bad = true;
            }
            options.year = value;
        } else if (Value(args, i, "--jump", jump, bad)) {
            const auto seconds = ParseInteger(jump);
            if (!bad && (!seconds || *seconds < 0)) {
                std::fprintf(stderr, "dak-time-sim explain: bad --jump '%s'\n", jump.c_str());
                bad = true;
            }
            options.jumpSeconds = seconds.value_or(0);
        } else if (arg == "--summary") {
            options.summary = true;
        } else if (arg == "--quiet" || arg == "-q") {
            options.quiet = true;
        } else if (arg == "--help" || arg == "-h") {
            Usage(stdout);
            std::exit(0);
        } else if (arg.size() > 1 && arg[0] == '-') {
            std::fprintf(stderr, "dak-time-sim explain: unknown option '%s'\n", arg.c_str());
            bad = true;
        } else {
            options.logs.push_back(arg);
        }
    }
    if (!bad && options.logs.empty()) {
        std::fputs("dak-time-sim explain: no log given\n", stderr);
        bad = true;
    }
    if (bad) {
        Usage(stderr);
        return std::nullopt;
    }
    return options;
}

struct Counts {
    uint64_t lines = 0;
    uint64_t library = 0;
    uint64_t cut = 0;
    uint64_t damaged = 0;
};

// One log through the rebuilt state; false when it cannot be read.
// `partly`: it ended early (a compressed file cut short or damaged).
bool ExplainLog(const std::string& path, Rebuild& rebuild, Counts& counts, bool& partly)
{
    LineReader reader;
    std::string problem;
    if (!reader.Open(path, problem)) {
        std::fprintf(stderr, "%s: %s\n", path.c_str(), problem.c_str());
        return false;
    }
    LogFeed feed(rebuild, path == "-" ? "stdin" : path);
    std::string_view line;
    bool cut = false;
    while (reader.Next(line, cut)) {
        if (cut) {
            ++counts.cut;
        } else {
            feed.Line(reader.LineNumber(), line);
        }
    }
    counts.lines = reader.LineNumber();
    counts.library = feed.Messages();
    counts.damaged = feed.Damaged();
    feed.End(counts.lines);
    partly = !reader.Error().empty();
    if (partly) {
        std::fprintf(stderr,
                     "%s: warning: the log stops after line %llu (byte %llu of its text): %s; "
                     "the rest of it was not read\n",
                     path.c_str(), static_cast<unsigned long long>(counts.lines),
                     static_cast<unsigned long long>(reader.BytesRead()), reader.Error().c_str());
    }
    return true;
}

}  // namespace

int Run(const std::vector<std::string>& args)
{
    const std::optional<Options> parsed = Parse(args);
    if (!parsed) {
        return kExitBadInput;
    }
    const Options& options = *parsed;

    TraceFile trace;
    PerfettoFile perfetto;
    const bool recording = !options.trace.empty() || !options.perfetto.empty();
    if (!options.trace.empty() && !trace.Open(options.trace)) {
        std::fprintf(stderr, "%s: cannot write the trace: %s\n", options.trace.c_str(),
                     std::strerror(errno));
        return kExitBadInput;
    }
    if (!options.perfetto.empty()) {
        if (!perfetto.Open(options.perfetto)) {
            std::fprintf(stderr, "%s: cannot write the Perfetto trace: %s\n",
                         options.perfetto.c_str(), std::strerror(errno));
            return kExitBadInput;
        }
        trace.Also(&perfetto);
    }
    Timeline timeline;
    std::ofstream svg;
    if (!options.timeline.empty()) {
        svg.open(options.timeline, std::ios::binary | std::ios::trunc);
        if (!svg) {
            std::fprintf(stderr, "%s: cannot write the timeline: %s\n", options.timeline.c_str(),
                         std::strerror(errno));
            return kExitBadInput;
        }
    }
    std::unique_ptr<ScenarioWriter> scenario;
    if (!options.scenario.empty()) {
        scenario = std::make_unique<ScenarioWriter>();
        if (!scenario->Open(options.scenario)) {
            std::fprintf(stderr, "%s: cannot write the scenario: %s\n", options.scenario.c_str(),
                         std::strerror(errno));
            return kExitBadInput;
        }
    }

    Records records(recording ? &trace : nullptr, options.timeline.empty() ? nullptr : &timeline);
    Findings findings(options.jumpSeconds);
    findings.PrintEachBoot(stdout);
    Story story(stdout);
    Fanout out;
    if (recording || !options.timeline.empty()) {
        out.Add(&records);
    }
    out.Add(&findings);
    if (!options.quiet) {
        out.Add(&story);
    }
    if (scenario) {
        out.Add(scenario.get());
    }
    Rebuild rebuild(out);
    rebuild.YearOfStamps(options.year);
    Summary summary;

    bool bad = false;
    bool partly = false;
    for (const std::string& log : options.logs) {
        findings.Reset();
        Counts counts;
        std::printf("== %s\n", log.c_str());
        bool cutShort = false;
        if (!ExplainLog(log, rebuild, counts, cutShort)) {
            bad = true;
            continue;
        }
        std::printf("-- %s, %llu of them the library's %s, %llu cut short",
                    Counted(counts.lines, "line", "lines").c_str(),
                    static_cast<unsigned long long>(counts.library),
                    counts.library == 1 ? "message" : "messages",
                    static_cast<unsigned long long>(counts.cut));
        if (counts.damaged > 0) {
            std::printf(", %llu the library's but damaged past reading",
                        static_cast<unsigned long long>(counts.damaged));
        }
        std::fputc('\n', stdout);
        if (cutShort) {
            std::printf("-- the log stops after line %llu: what follows it was not read\n",
                        static_cast<unsigned long long>(counts.lines));
            partly = true;
        }
        if (counts.library == 0) {
            std::fprintf(stderr,
                         "%s: none of the library's messages in it: not a log of libdak-time\n",
                         log.c_str());
            bad = true;
            continue;
        }
        findings.Print(stdout);
        summary.Add(log == "-" ? "stdin" : log, findings, counts.library);
    }
    if (options.summary) {
        summary.Print(stdout);
    }
    std::fflush(stdout);

    if (!options.perfetto.empty() && !perfetto.Close()) {
        std::fprintf(stderr, "%s: cannot write the Perfetto trace\n", options.perfetto.c_str());
        bad = true;
    }
    if (!options.timeline.empty()) {
        svg << timeline.Svg();
        if (!svg.flush()) {
            std::fprintf(stderr, "%s: cannot write the timeline\n", options.timeline.c_str());
            bad = true;
        }
    }
    if (scenario && !scenario->Close()) {
        std::fprintf(stderr, "%s: cannot write the scenario\n", options.scenario.c_str());
        bad = true;
    }
    if (bad) {
        return kExitBadInput;
    }
    return partly ? kExitPartRead : 0;
}

}  // namespace daksim::explain
