// Renders the log records of a run's trace as a set's log would hold them,
// in the stamp forms of the common loggers and collectors, so that explain
// can be checked against what really happened:
//
//   log-render --form FORM [--clock] [--boots N] [--foreign] [--damage] [--level N]
//              TRACE.jsonl
//
// FORM: iso (journald short-iso-precise), short, short-precise, short-full,
// monotonic (journald short-monotonic), kernel, rfc5424, rfc3164,
// logcat-brief, logcat-time, logcat-threadtime, logcat-year, logcat-epoch,
// logcat-monotonic. Stamps count from a fixed start by the run's virtual
// time, or with --clock come from the set's own clock (the platform clock of
// each record), which jumps when the library sets it. --boots N writes the
// run N times, each a boot of its own (uptime from 0 again, journald's boot
// separator). --foreign puts other programs' lines between the library's;
// --damage adds what terminals and serial consoles do to a log: CR CR LF
// line ends, colour and erase sequences, a title sequence, and a library
// line cut short and run into by another program's line, extra and in place
// of the first setting's line of each boot (its copy still tells it).
// --level N keeps the library's lines of level N and below, as a set that
// logs less writes them.
#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <exception>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr int64_t kStartMs = int64_t{1709632800} * 1000;  // 2024-03-05T10:00:00Z
constexpr int64_t kBootGapMs = int64_t{3600} * 1000;      // powered off between boots
constexpr int64_t kUptimeAtStartMs = 12345;               // the kernel was up before the service

struct Options {
    std::string form = "iso";
    bool clock = false;
    int boots = 1;
    bool foreign = false;
    bool damage = false;
    int level = 5;
    std::string trace;
};

struct Record {
    int64_t t = 0;      // virtual ms since the file started
    int64_t clock = 0;  // the platform clock, UTC seconds
    int level = 0;
    std::string text;
};

std::tm Utc(int64_t seconds)
{
    const auto value = static_cast<std::time_t>(seconds);
    std::tm out{};
    gmtime_r(&value, &out);
    return out;
}

std::string Format(const char* format, const std::tm& tm)
{
    std::ostringstream out;
    out << std::put_time(&tm, format);
    return out.str();
}

std::string Fraction(int64_t ms, int digits)
{
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "%03lld", static_cast<long long>(ms % 1000));
    std::string out(buffer);
    out.resize(static_cast<size_t>(digits), '0');
    return "." + out;
}

// "[ 1234.567000]", the kernel's and journald's uptime.
std::string Uptime(int64_t ms)
{
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "[%5lld.%06lld]", static_cast<long long>(ms / 1000),
                  static_cast<long long>((ms % 1000) * 1000));
    return buffer;
}

// The line a logger writes: `wallMs` the stamp's clock, `upMs` since boot.
std::string Line(const std::string& form, int64_t wallMs, int64_t upMs, int level,
                 const std::string& tag, const std::string& text)
{
    const std::tm tm = Utc(wallMs / 1000);
    const int64_t ms = wallMs % 1000;
    const std::string body = tag + ": " + text;
    if (form == "iso") {
        return Format("%Y-%m-%dT%H:%M:%S", tm) + Fraction(ms, 6) + "+0000 tv-set " + body;
    }
    if (form == "short") {
        return Format("%b %d %H:%M:%S", tm) + " tv-set " + body;
    }
    if (form == "short-precise") {
        return Format("%b %d %H:%M:%S", tm) + Fraction(ms, 6) + " tv-set " + body;
    }
    if (form == "short-full") {
        return Format("%a %Y-%m-%d %H:%M:%S UTC", tm) + " tv-set " + body;
    }
    if (form == "monotonic") {
        return Uptime(upMs) + " tv-set " + body;
    }
    if (form == "kernel") {
        return Uptime(upMs) + " " + text;
    }
    if (form == "rfc5424") {
        return "<134>1 " + Format("%Y-%m-%dT%H:%M:%S", tm) + Fraction(ms, 3) +
               "Z tv-set tvservice 812 - - " + text;
    }
    if (form == "rfc3164") {
        return "<134>" + Format("%b %e %H:%M:%S", tm) + " tv-set " + body;
    }
    const char priority = level <= 1 ? 'E' : level <= 2 ? 'W' : level <= 4 ? 'I' : 'D';
    const std::string thread = "  812   845 " + std::string(1, priority) + " DAK     : " + text;
    if (form == "logcat-brief") {
        return std::string(1, priority) + "/DAK     (  812): " + text;
    }
    if (form == "logcat-time") {
        return Format("%m-%d %H:%M:%S", tm) + Fraction(ms, 3) + " " + std::string(1, priority) +
               "/DAK     (  812): " + text;
    }
    if (form == "logcat-threadtime") {
        return Format("%m-%d %H:%M:%S", tm) + Fraction(ms, 3) + " " + thread;
    }
    if (form == "logcat-year") {
        return Format("%Y-%m-%d %H:%M:%S", tm) + Fraction(ms, 3) + " " + thread;
    }
    if (form == "logcat-epoch") {
        return std::to_string(wallMs / 1000) + Fraction(ms, 3) + " " + thread;
    }
    if (form == "logcat-monotonic") {
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%6lld.%03lld", static_cast<long long>(upMs / 1000),
                      static_cast<long long>(upMs % 1000));
        return buffer + (" " + thread);
    }
    return "";
}

bool Journald(const std::string& form)
{
    return form == "iso" || form == "short" || form == "short-precise" || form == "short-full" ||
           form == "monotonic";
}

std::vector<Record> Read(const std::string& path, int level, bool& ok)
{
    std::vector<Record> records;
    std::ifstream in(path);
    ok = static_cast<bool>(in);
    std::string text;
    while (std::getline(in, text)) {
        const auto json = nlohmann::json::parse(text, nullptr, false);
        if (json.is_discarded() || json.value("event", "") != "log" ||
            json.value("level", 0) > level) {
            continue;
        }
        Record record;
        record.t = json.value("t", int64_t{0});
        record.clock = json.value("clock", int64_t{0});
        record.level = json.value("level", 0);
        std::string message = json.value("text", "");
        while (!message.empty() && message.back() == '\n') {
            message.pop_back();
        }
        // A logger writes each line of a text as a line of its own.
        size_t at = 0;
        for (;;) {
            const size_t end = message.find('\n', at);
            record.text = "DAK(18)/L" + std::to_string(record.level) + " " +
                          message.substr(at, end == std::string::npos ? end : end - at);
            records.push_back(record);
            if (end == std::string::npos) {
                break;
            }
            at = end + 1;
        }
    }
    return records;
}

}  // namespace

static int Render(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--form" && i + 1 < argc) {
            options.form = argv[++i];
        } else if (arg == "--clock") {
            options.clock = true;
        } else if (arg == "--boots" && i + 1 < argc) {
            options.boots = std::stoi(argv[++i]);
        } else if (arg == "--foreign") {
            options.foreign = true;
        } else if (arg == "--damage") {
            options.damage = true;
        } else if (arg == "--level" && i + 1 < argc) {
            options.level = std::stoi(argv[++i]);
        } else {
            options.trace = arg;
        }
    }
    bool ok = false;
    const std::vector<Record> records = Read(options.trace, options.level, ok);
    if (!ok || Line(options.form, 0, 0, 1, "", "").empty()) {
        std::fprintf(stderr, "log-render: cannot read '%s' or unknown form '%s'\n",
                     options.trace.c_str(), options.form.c_str());
        return 2;
    }
    const std::string tag = "tvservice[812]";
    const std::string end = options.damage ? "\r\r\n" : "\n";
    int64_t startMs = kStartMs;
    for (int boot = 0; boot < options.boots; ++boot) {
        if (boot > 0 && Journald(options.form)) {
            std::cout << "-- Boot 5a1c0ffee0000000000000000000000" << boot << " --" << end;
        }
        int64_t lastT = 0;
        bool settingCut = false;
        for (size_t i = 0; i < records.size(); ++i) {
            const Record& r = records[i];
            lastT = r.t;
            const int64_t wall = options.clock ? r.clock * 1000 + r.t % 1000 : startMs + r.t;
            const int64_t up = kUptimeAtStartMs + r.t;
            std::string text = r.text;
            if (options.damage && i % 7 == 3) {
                text.insert(0, "\x1b[1;31m");  // coloured as grep does
                text.append("\x1b[0m\x1b[K");
            }
            if (options.damage && i % 11 == 5) {
                text.insert(0, "\x1b]0;tv-set: tvservice\x07");  // a terminal title
            }
            const size_t clock = text.find("SetSystemClock");
            const size_t number = text.find("UTC = ", clock == std::string::npos ? 0 : clock);
            if (options.damage && !settingCut && clock != std::string::npos &&
                number != std::string::npos && text.find("offset =") != std::string::npos) {
                // Cut mid-number, another program's line run into it.
                settingCut = true;
                std::cout << Line(options.form, wall, up, r.level, tag, text.substr(0, number + 8))
                          << Line(options.form, wall, up, 4, "dbus-daemon[301]", "Activated")
                          << end;
                continue;
            }
            if (options.foreign && i % 3 == 1) {
                std::cout << Line(options.form, wall, up, 4, "wpa_supplicant[433]",
                                  "wlan0: CTRL-EVENT-SCAN-STARTED")
                          << end;
            }
            std::cout << Line(options.form, wall, up, r.level, tag, text) << end;
        }
        if (options.damage) {
            // A line of the library cut mid-number by another program's.
            const int64_t wall = options.clock ? records.back().clock * 1000 : startMs + lastT;
            const std::string cut = Line(options.form, wall, kUptimeAtStartMs + lastT, 1, tag,
                                         "DAK(18)/L1 [TCSystemTimeManager::t_SetSystemTime]  "
                                         "SetSystemClock  UTC = 170962");
            std::cout << cut
                      << Line(options.form, wall, kUptimeAtStartMs + lastT, 4, "dbus-daemon[301]",
                              "Successfully activated service 'org.freedesktop.hostname1'")
                      << end;
        }
        startMs += lastT + kBootGapMs;
    }
    return 0;
}

int main(int argc, char** argv)
{
    try {
        return Render(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "log-render: %s\n", e.what());
        return 2;
    }
}
