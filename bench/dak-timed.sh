#!/usr/bin/env bash
# The daemon's figures, on the Linux platform in dry run, inside a network
# namespace of its own (loopback only):
#   - a table's last packet to the clock set, and the first table's, sent as
#     the group is joined (table-to-clock);
#   - resident memory after a capture's tables (VmRSS, VmHWM);
#   - wake-ups of the idle daemon: context switches of all its threads over
#     SECONDS (default 90) with its input silent.
#
#   bench/dak-timed.sh BUILD_LINUX [SECONDS]     (BUILD_LINUX: cmake --preset linux)
set -euo pipefail
build=${1:?usage: dak-timed.sh BUILD_LINUX [SECONDS]}
seconds=${2:-90}
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
if [[ ${DAK_TIMED_NAMESPACE:-} != 1 ]]; then
    export DAK_TIMED_NAMESPACE=1
    for flags in -n -rn; do
        if unshare "$flags" true 2>/dev/null; then exec unshare "$flags" "$0" "$@"; fi
    done
    echo "dak-timed.sh: the kernel refuses a network namespace" >&2
    exit 77
fi
daemon=$build/tools/dak-timed/dak-timed
send=$build/tools/dak-timed/dak-timed-udp-send
work=$(mktemp -d)
trap 'kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null; rm -rf "$work"' EXIT
"$send" up

echo "== table-to-clock"
"$build/bench/dak-timed/dak-timed-table-to-clock" 200 "$work/latency" 2>/dev/null

cat >"$work/conf" <<CONF
settings = $work/settings
runtime = $work/run
log-target = stderr
log-level = 1
stall = 3600
input = udp://239.255.0.1:5004?interface=lo handle=1/0
CONF
"$daemon" -c "$work/conf" --foreground --dry-run 2>"$work/log" &
pid=$!
for ((i = 0; i < 200; i++)); do grep -q "joined" "$work/log" && break; sleep 0.05; done
"$send" "$root/scenarios/broadcast-2038.ts" 239.255.0.1:5004
for ((i = 0; i < 200; i++)); do
    "$daemon" -c "$work/conf" status 2>/dev/null | grep -q "6 tables handed over" && break
    sleep 0.05
done
echo "== resident memory after 6 tables"
grep -E "VmRSS|VmHWM" "/proc/$pid/status"

switches() {
    local total=0
    for task in /proc/"$pid"/task/*; do
        local v n
        v=$(awk '/^voluntary_ctxt_switches/ {print $2}' "$task/status")
        n=$(awk '/^nonvoluntary_ctxt_switches/ {print $2}' "$task/status")
        total=$((total + v + n))
    done
    echo "$total"
}
echo "== idle: $seconds s with the input silent"
before=$(switches)
sleep "$seconds"
after=$(switches)
echo "context switches of $(ls /proc/$pid/task | wc -l) threads in $seconds s: $((after - before))" \
    "(the 30 s sync: $((seconds / 30)) periods)"
