#!/usr/bin/env bash
# The scenario simulator over a virtual year: wall time and peak resident
# memory of `init` then `advance 365d` on a quiet set under Reason_micom
# (every 30-second sync finds the clocks in step), next to the same over a
# virtual day, so that growth with virtual time shows.
#
#   bench/sim-year.sh [BUILD_DIR]        (default: build; needs tools/dak-time-sim)
#
# Goal: the year in at most 3 s on a 2-core machine, at most 16 MiB peak
# RSS, and the year's peak RSS less than twice the day's. The simulator runs
# under its default deterministic scheduling: the manager's task has no
# thread, and each sync is handled on the simulator's own thread. The
# "watched" row adds an `expect log` after the year: every line of the year
# is then formatted and matched as it comes. The "seeded" row is the quiet
# year under `--seed 1`, where the manager's task has a thread again and each
# sync is two hand-overs between threads (no goal: it tells what a seed
# costs). Exit status 1 when the quiet year misses a goal. Needs GNU time (ci/setup.sh host).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${1:-$root/build}"
sim="$build/tools/dak-time-sim"
[[ -x "$sim" ]] || { echo "sim-year: no $sim (build the dak-time-sim target)" >&2; exit 2; }
[[ -x /usr/bin/time ]] || { echo "sim-year: GNU time missing (ci/setup.sh host)" >&2; exit 2; }

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

# run NAME DURATION [LAST STEP]: sets wall and cpu (s) and rss (KiB)
run() {
    local file="$work/$1.scn" options=()
    [[ $1 == seeded ]] && options=(--seed 1)
    printf '%s\n' "set power off" "set reason micom" "init" "idle" "mark" "advance $2" \
        "expect setting reason micom" "expect signals 1" ${3:+"$3"} > "$file"
    /usr/bin/time -f '%e %U %S %M' -o "$work/$1.time" "$sim" --quiet "${options[@]}" "$file" > "$work/$1.out" || {
        echo "sim-year: the $1 run failed:" >&2; cat "$work/$1.out" >&2; exit 2; }
    local user system
    read -r wall user system rss < "$work/$1.time"
    cpu="$(awk -v u="$user" -v s="$system" 'BEGIN { printf "%.2f", u + s }')"
}

run day 1d
day_wall=$wall day_cpu=$cpu day_rss=$rss
run year 365d
year_wall=$wall year_cpu=$cpu year_rss=$rss
run watched 365d 'expect log "sub=0"'
watched_wall=$wall watched_cpu=$cpu watched_rss=$rss
run seeded 365d
seeded_wall=$wall seeded_cpu=$cpu seeded_rss=$rss

mib() { awk -v k="$1" 'BEGIN { printf "%.1f", k / 1024 }'; }
# The processor time (user + system) tells the run apart from a busy machine.
printf '%-22s %10s %10s %14s\n' "run" "wall (s)" "cpu (s)" "peak RSS (MiB)"
printf '%-22s %10s %10s %14s\n' "day" "$day_wall" "$day_cpu" "$(mib "$day_rss")"
printf '%-22s %10s %10s %14s\n' "year" "$year_wall" "$year_cpu" "$(mib "$year_rss")"
printf '%-22s %10s %10s %14s\n' "year, expect log after" "$watched_wall" "$watched_cpu" \
    "$(mib "$watched_rss")"
printf '%-22s %10s %10s %14s\n' "year, --seed 1" "$seeded_wall" "$seeded_cpu" "$(mib "$seeded_rss")"
echo "load average: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"

verdict=0
awk -v w="$year_wall" 'BEGIN { exit !(w <= 3) }' || { echo "goal missed: year wall > 3 s"; verdict=1; }
(( year_rss <= 16384 )) || { echo "goal missed: year peak RSS > 16 MiB"; verdict=1; }
(( year_rss < 2 * day_rss )) || { echo "goal missed: year RSS not under twice the day's"; verdict=1; }
(( verdict == 0 )) && echo "goals met"
exit "$verdict"
