// The values a step's words give: integers, on/off, times, durations,
// handles and the library's named constants. Each refuses a word it cannot
// read with a `LineError` naming the word and what is wanted.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "StepArgs.h"
#include "Words.h"

namespace daksim::grammar {

constexpr int64_t kMaxUnsigned32 = std::numeric_limits<uint32_t>::max();

int64_t Integer(const Word& word, const char* what);
// The text as a signed 32-bit integer; none when it is not one.
std::optional<int32_t> AsInt32(std::string_view text);

// A settings-store value: a signed 32-bit integer.
int32_t Int32(const Word& word, const char* what);
bool Boolean(const Word& word, const char* what);

// The time zone of the time on the wire: "+9", "-3", "+5:30" or "0", in
// minutes east of UTC, at most 14 hours either way.
int32_t WireOffset(const std::string& text);

int64_t SetType(const Word& word);
int64_t Reason(const Word& word);
int64_t AutoType(const Word& word);

enum class Tolerance { Refused, Allowed };

// `2024-03-05T10:00:00Z`, seconds since 1970, or `now`; with `~N` when
// allowed.
TimeValue Time(const Word& word, Tolerance tolerance, int64_t maximum = kMaxUnsigned32);

// A first stream time: a negative integer as stored, or a time.
TimeValue FirstStreamTime(const Word& word, Tolerance tolerance);

// A DVB time of change: a time, or an integer taken modulo 2^32 as the
// interface takes it.
int64_t TimeOfChange(const Word& word);

// A number with ms, s, m, h or d; in milliseconds.
int64_t Duration(const Word& word);

// `PROFILE/SUB`.
args::StreamHandle Handle(const Word& word);

// Print, PrintF, Profiling, Trace, Assert or Stdout, as a dakhost::Via value.
std::optional<int> ViaByName(std::string_view word);

}  // namespace daksim::grammar
