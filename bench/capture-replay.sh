#!/usr/bin/env bash
# Capture replay beside dd: wall time, throughput and peak resident memory
# of `dak-time-sim tables` and of a scenario that plays the capture
# (`stream 1/0 play`), next to `dd if=FILE of=/dev/null bs=1M` reading the
# same file from the page cache, and beside a capture a tenth the size, so
# that growth with the capture's size shows.
#
#   bench/capture-replay.sh [BUILD_DIR] [MEGABYTES]   (defaults: build, 1000)
#
# The capture is a DVB multiplex at 30 Mbit/s written by make-capture into
# a temporary folder (TMPDIR, /tmp by default) and removed afterwards: a
# PCR every 100 ms, a TDT every 5 s and a TOT every 30 s among other
# traffic, so its time tables are sparse. Goals: the replay at no less than
# a tenth of dd's throughput, at most 64 MiB peak RSS, and the large
# capture's peak RSS less than twice the small one's. Exit status 1 when a
# goal is missed. Needs GNU time (ci/setup.sh host) and about MEGABYTES MB
# of free space.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$root/build}"
megabytes="${2:-1000}"
sim="$build/tools/dak-time-sim"
make_capture="$build/tools/capture/make-capture"
for tool in "$sim" "$make_capture"; do
    [[ -x "$tool" ]] || { echo "capture-replay: no $tool (build dak-time-sim and make-capture)" >&2; exit 2; }
done
[[ -x /usr/bin/time ]] || { echo "capture-replay: GNU time missing (ci/setup.sh host)" >&2; exit 2; }

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

# measure NAME COMMAND...: sets wall (s, to the microsecond) and rss (KiB);
# output to $work/NAME.out
measure() {
    local name="$1" start end
    shift
    start="$EPOCHREALTIME"
    /usr/bin/time -f '%M' -o "$work/$name.time" "$@" > "$work/$name.out" 2>&1 || {
        echo "capture-replay: $name failed:" >&2; tail -5 "$work/$name.out" >&2; exit 2; }
    end="$EPOCHREALTIME"
    wall="$(awk -v a="$start" -v b="$end" 'BEGIN { printf "%.3f", b - a }')"
    read -r rss < "$work/$name.time"
}

mbps() { awk -v b="$1" -v s="$2" 'BEGIN { if (s < 0.001) s = 0.001; printf "%.0f", b / s / 1e6 }'; }
mib() { awk -v k="$1" 'BEGIN { printf "%.1f", k / 1024 }'; }

printf '%-28s %10s %10s %12s %14s\n' "run" "size (MB)" "wall (s)" "MB/s" "peak RSS (MiB)"
declare -A rss_of
for size in $((megabytes / 10)) "$megabytes"; do
    capture="$work/capture-$size.ts"
    "$make_capture" --start 2026-03-29T00:59:00Z --megabytes "$size" "$capture"
    bytes="$(stat -c %s "$capture")"
    printf '%s\n' "init" "idle" "streams init" "stream 1/0 play $capture country=DEU" \
        "expect setting reason stream" > "$work/play.scn"
    # Warm the page cache, then the best of three of each, in turn.
    cat "$capture" > /dev/null
    best_dd=999999 best_tables=999999 best_play=999999
    for _ in 1 2 3; do
        measure dd dd if="$capture" of=/dev/null bs=1M
        awk -v a="$wall" -v b="$best_dd" 'BEGIN { exit !(a < b) }' && best_dd=$wall dd_rss=$rss
        measure tables "$sim" tables "$capture"
        awk -v a="$wall" -v b="$best_tables" 'BEGIN { exit !(a < b) }' && best_tables=$wall tables_rss=$rss
        measure play "$sim" --quiet "$work/play.scn"
        awk -v a="$wall" -v b="$best_play" 'BEGIN { exit !(a < b) }' && best_play=$wall play_rss=$rss
    done
    megs="$(awk -v b="$bytes" 'BEGIN { printf "%.0f", b / 1e6 }')"
    printf '%-28s %10s %10s %12s %14s\n' "dd bs=1M" "$megs" "$best_dd" "$(mbps "$bytes" "$best_dd")" "$(mib "$dd_rss")"
    printf '%-28s %10s %10s %12s %14s\n' "dak-time-sim tables" "$megs" "$best_tables" "$(mbps "$bytes" "$best_tables")" "$(mib "$tables_rss")"
    printf '%-28s %10s %10s %12s %14s\n' "stream 1/0 play (scenario)" "$megs" "$best_play" "$(mbps "$bytes" "$best_play")" "$(mib "$play_rss")"
    rss_of[$size]="$play_rss"
    rm -f "$capture"
done
echo "load average: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"

verdict=0
dd_rate="$(mbps "$bytes" "$best_dd")"
for pair in "tables:$best_tables" "play:$best_play"; do
    rate="$(mbps "$bytes" "${pair#*:}")"
    awk -v r="$rate" -v d="$dd_rate" 'BEGIN { exit !(r * 10 >= d) }' ||
        { echo "goal missed: ${pair%%:*} below a tenth of dd's throughput"; verdict=1; }
done
(( play_rss <= 65536 && tables_rss <= 65536 )) || { echo "goal missed: peak RSS > 64 MiB"; verdict=1; }
(( rss_of[$megabytes] < 2 * rss_of[$((megabytes / 10))] )) ||
    { echo "goal missed: the large capture's RSS not under twice the small one's"; verdict=1; }
(( verdict == 0 )) && echo "goals met"
exit "$verdict"
