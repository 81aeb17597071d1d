#!/usr/bin/env bash
# `dak-time-sim explain` over a big log: throughput and peak resident memory.
# The log (about SIZE_MB megabytes, default 1024) is made in a temporary
# folder and removed afterwards: a day of a set (scenarios/day.scn and
# scenarios/default.scn as the simulator prints them) with each library line
# put behind a syslog prefix and three lines of other modules' chatter
# between library lines, repeated up to the size. It is explained twice:
# plain, and with --trace (every record written).
#
#   bench/explain-log.sh [BUILD_DIR] [SIZE_MB]     (default: build 1024)
#
# Goal: at least 100 MB/s and at most 64 MiB peak RSS, the same for a tenth
# of the log (memory must not grow with the log). Exit status 1 when the
# plain run misses a goal. Needs GNU time (ci/setup.sh host).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$root/build}"
size_mb="${2:-1024}"
sim="$build/tools/dak-time-sim"
[[ -x "$sim" ]] || { echo "explain-log: no $sim (build the dak-time-sim target)" >&2; exit 2; }
[[ -x /usr/bin/time ]] || { echo "explain-log: GNU time missing (ci/setup.sh host)" >&2; exit 2; }

work="$(mktemp -d "${TMPDIR:-/tmp}/explain-log.XXXXXX")"
trap 'rm -rf "$work"' EXIT

# One block: the library's lines behind a platform prefix, chatter between.
for scenario in day default; do
    "$sim" "$root/scenarios/$scenario.scn" > "$work/$scenario.printed" || true
done
cat "$work/day.printed" "$work/default.printed" | awk '
    match($0, /^[^ ]+ [+][^ ]+ [^ ]+ +\[[0-9]+ [A-Za-z]+ [^]]+\] /) {
        n++
        stamp = sprintf("2024-03-05 %02d:%02d:%02d.%03d", int(n / 3600) % 24, int(n / 60) % 60, n % 60, n % 1000)
        print stamp " tvservice[812]: DAK(18) " substr($0, RLENGTH + 1)
        for (i = 0; i < 3; i++) {
            print stamp " tvservice[" 900 + i "]: EPG(7) section 0x4e table_id=0x" i " version=" n % 32 " cached, " n * 7 % 1000 " events in store"
        }
    }' > "$work/block.log"
block_bytes=$(stat -c %s "$work/block.log")
repeats=$(( size_mb * 1024 * 1024 / block_bytes + 1 ))

make_log() {  # make_log FILE REPEATS
    : > "$1"
    for ((i = 0; i < $2; i++)); do cat "$work/block.log"; done >> "$1"
}

# run NAME LOG [OPTIONS]: sets mbps and rss (KiB)
run() {
    local name="$1" log="$2"
    shift 2
    /usr/bin/time -f '%e %M %U %S' -o "$work/$name.time" \
        "$sim" explain --quiet "$@" "$log" > "$work/$name.out" || {
        echo "explain-log: the $name run failed:" >&2; tail "$work/$name.out" >&2; exit 2; }
    local wall bytes user system cpu
    read -r wall rss user system < "$work/$name.time"
    bytes=$(stat -c %s "$log")
    mbps="$(awk -v b="$bytes" -v w="$wall" 'BEGIN { printf "%.0f", b / 1048576 / (w > 0 ? w : 0.01) }')"
    cpu="$(awk -v u="$user" -v s="$system" 'BEGIN { printf "%.2f", u + s }')"
    # On a shared machine the wall time carries others' load: the CPU time
    # says what explain itself needs.
    printf '%-14s %6.0f MB %7s s wall %7s s CPU %6s MB/s %8s KiB peak RSS\n' "$name" \
        "$(awk -v b="$bytes" 'BEGIN { print b / 1048576 }')" "$wall" "$cpu" "$mbps" "$rss"
}

make_log "$work/tenth.log" $(( repeats / 10 + 1 ))
run "a tenth" "$work/tenth.log"
tenth_rss=$rss
make_log "$work/full.log" "$repeats"
rm -f "$work/tenth.log"
run "plain" "$work/full.log"
plain_mbps=$mbps plain_rss=$rss
run "with --trace" "$work/full.log" --trace "$work/full.jsonl"
rm -f "$work/full.jsonl"

status=0
if (( plain_mbps < 100 )); then
    echo "explain-log: MISSED: $plain_mbps MB/s, goal at least 100" >&2
    status=1
fi
if (( plain_rss > 65536 || plain_rss > 2 * tenth_rss )); then
    echo "explain-log: MISSED: $plain_rss KiB peak RSS (a tenth: $tenth_rss), goal at most 64 MiB and not growing" >&2
    status=1
fi
exit "$status"
