// The library's calls: `manager exit`, `settime`, `streams init|exit` and
// the stream clock's `stream H ...`, capture replay included.
#include <algorithm>
#include <cctype>
#include <string>

#include "Grammar.h"
#include "Values.h"

namespace daksim::grammar {

namespace {

using K = StepKind;

// stream H set T [scan=B] [mode=N]
StepArgs StreamSet(StepWords& in, const args::StreamHandle& handle, StepKind& /*kind*/)
{
    args::StreamTime set{handle, Time(in.Next("time"), Tolerance::Refused), false, 0};
    for (const auto& [key, value] : in.Options({"scan", "mode"})) {
        if (key == "scan") {
            set.scan = Boolean(Word{value, false}, "scan");
        } else {
            set.mode = Int32(Word{value, false}, "mode");
        }
    }
    return set;
}

// stream H dst B [mode=N]
StepArgs StreamDst(StepWords& in, const args::StreamHandle& handle, StepKind& /*kind*/)
{
    args::StreamDst dst{handle, Boolean(in.Next("daylight-saving state"), "daylight-saving state"),
                        0};
    for (const auto& option : in.Options({"mode"})) {
        dst.mode = Int32(Word{option.second, false}, "mode");
    }
    return dst;
}

StepArgs StreamDvbOffset(StepWords& in, const args::StreamHandle& handle, StepKind& /*kind*/)
{
    return ReadDvbOffset(in, handle, in.Next("time of change"));
}

StepArgs StreamReset(StepWords& /*in*/, const args::StreamHandle& handle, StepKind& /*kind*/)
{
    return args::Stream{handle};
}

bool IsCountryCode(const std::string& value)
{
    return value.size() == 3 && std::all_of(value.begin(), value.end(), [](char c) {
               return std::isalpha(static_cast<unsigned char>(c)) != 0;
           });
}

// stream H play FILE|udp://... [scan=B] [mode=N] [country=CCC] [region=N]
// [wire=OFFSET] [jst=B] [for=SECONDS] [tables=N]
StepArgs StreamPlay(StepWords& in, const args::StreamHandle& handle, StepKind& /*kind*/)
{
    args::Capture play;
    play.handle = handle;
    play.file = in.Next("capture file").text;
    for (const auto& [key, value] :
         in.Options({"scan", "mode", "country", "jst", "wire", "region", "for", "tables"})) {
        const Word word{value, false};
        if (key == "for" || key == "tables") {
            const int32_t count = Int32(word, key.c_str());
            if (count < 1 || count > 86400) {
                throw LineError{"bad " + key + " " + Quote(value) + " (want 1 to 86400)"};
            }
            (key == "for" ? play.forSeconds : play.tables) = static_cast<uint32_t>(count);
        } else if (key == "wire") {
            play.wireMinutes = WireOffset(value);
        } else if (key == "region") {
            const int32_t region = Int32(word, "region");
            if (region < 0 || region > 63) {
                throw LineError{"bad region " + Quote(value) + " (want 0 to 63)"};
            }
            play.region = region;
        } else if (key == "scan") {
            play.scan = Boolean(word, "scan");
        } else if (key == "mode") {
            play.mode = Int32(word, "mode");
        } else if (key == "jst") {
            play.jst = Boolean(word, "jst");
        } else if (IsCountryCode(value)) {
            play.country = value;
        } else {
            throw LineError{"bad country " + Quote(value) + " (want three letters)"};
        }
    }
    const bool live = play.file.compare(0, 6, "udp://") == 0;
    if (live && !play.forSeconds && !play.tables) {
        throw LineError{"a live stream plays until for=SECONDS or tables=N"};
    }
    if (!live && (play.forSeconds || play.tables)) {
        throw LineError{"for= and tables= are for a live stream (udp://...)"};
    }
    return play;
}

// clang-format off
constexpr StreamPhrase kStreamSteps[] = {
    {"set", K::StreamSet, StreamSet},
    {"mode", K::StreamMode, ReadStreamMode},
    {"dst", K::StreamDst, StreamDst},
    {"dvboffset", K::StreamDvbOffset, StreamDvbOffset},
    {"reset", K::StreamReset, StreamReset},
    {"play", K::StreamPlay, StreamPlay},
};
// clang-format on

}  // namespace

StepArgs ReadStreamMode(StepWords& in, const args::StreamHandle& handle, StepKind& /*kind*/)
{
    return args::StreamMode{handle, Int32(in.Next("mode"), "mode")};
}

args::DvbOffset ReadDvbOffset(StepWords& in, const args::StreamHandle& handle, const Word& toc)
{
    args::DvbOffset offset{handle, TimeOfChange(toc), 0, 0};
    offset.next = Int32(in.Next("next offset"), "next offset");
    offset.local = Int32(in.Next("local offset"), "local offset");
    return offset;
}

StepArgs ReadManager(StepWords& in, StepKind& /*kind*/)
{
    const Word& what = in.Next("'exit'");
    if (what.text != "exit") {
        throw LineError{"unknown manager step " + Quote(what.text) + " (want manager exit)"};
    }
    return args::None{};
}

// settime T TYPE [dst=B]
StepArgs ReadSetTime(StepWords& in, StepKind& /*kind*/)
{
    args::TimeSetting set;
    set.time = Time(in.Next("time"), Tolerance::Refused);
    set.type = SetType(in.Next("setting type"));
    for (const auto& option : in.Options({"dst"})) {
        set.dst = Boolean(Word{option.second, false}, "dst");
    }
    return set;
}

StepArgs ReadStreams(StepWords& in, StepKind& kind)
{
    const Word& what = in.Next("'init' or 'exit'");
    if (what.text == "init") {
        kind = K::StreamsInit;
    } else if (what.text == "exit") {
        kind = K::StreamsExit;
    } else {
        throw LineError{"unknown streams step " + Quote(what.text) + " (want init or exit)"};
    }
    return args::None{};
}

StepArgs ReadStream(StepWords& in, StepKind& kind)
{
    return ReadStreamPhrase(in, kind, kStreamSteps, "stream operation", "unknown stream operation");
}

}  // namespace daksim::grammar
