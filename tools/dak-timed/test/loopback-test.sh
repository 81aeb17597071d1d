#!/usr/bin/env bash
# dak-timed in dry run, fed over UDP multicast on the loopback of a network
# namespace this test makes (no datagram leaves the machine): the clock set
# from the stream, a TOT with a bad CRC refused, a stream that stops and
# comes back, the 2038 capture behind RTP, noise, SIGHUP with a wrong and a
# right configuration, SIGTERM, and the status of a daemon that is not
# running. Exit 77 (skipped) where the kernel refuses the namespace.
#
#   loopback-test.sh DAK_TIMED UDP_SEND SCENARIOS CORPUS WORK
set -euo pipefail
daemon=$1 send=$2 scenarios=$3 corpus=$4 work=$5

if [[ ${DAK_TIMED_NAMESPACE:-} != 1 ]]; then
    export DAK_TIMED_NAMESPACE=1
    for flags in -n -rn; do
        if unshare "$flags" true 2>/dev/null; then
            exec unshare "$flags" "$0" "$@"
        fi
    done
    echo "skipped: the kernel refuses a network namespace (unshare -n, unshare -rn)"
    exit 77
fi

fail() {
    echo "FAILED: $*" >&2
    echo "--- daemon log" >&2
    cat "$work/log" >&2 || true
    echo "--- last status" >&2
    cat "$work/status" >&2 || true
    exit 1
}

"$send" up
rm -rf "$work"
mkdir -p "$work"
conf=$work/dak-timed.conf
write_conf() {
    cat >"$conf" <<CONF
# written by loopback-test.sh
settings = $work/settings
runtime = $work/run
log-target = stderr
stall = 1
input = udp://239.255.0.1:5004?interface=lo handle=1/0 country=DEU
CONF
}
write_conf
group=239.255.0.1:5004

"$daemon" -c "$conf" --foreground --dry-run 2>"$work/log" &
pid=$!
trap 'kill $pid 2>/dev/null || true' EXIT

# Waits for TEXT in the log or in the daemon's status: checked every 50 ms,
# given up after 20 s.
wait_for() {
    local where=$1 text=$2
    for ((i = 0; i < 400; i++)); do
        if [[ $where == status ]]; then
            "$daemon" -c "$conf" status >"$work/status" 2>&1 || true
            grep -qF -- "$text" "$work/status" && return 0
        else
            grep -qF -- "$text" "$work/log" && return 0
        fi
        kill -0 "$pid" 2>/dev/null || fail "the daemon is gone, waiting for: $text"
        sleep 0.05
    done
    fail "never in the $where: $text"
}
expect_status() {
    grep -qF -- "$1" "$work/status" || fail "not in the status: $1"
}

echo "== the clock set from the stream; the TOT with a bad CRC refused"
wait_for log "joined $group"
"$send" "$corpus/dvb-bad-crc.ts" "$group"
wait_for status "last TDT 2026-03-29T01:02:00Z 1774746120 accepted"
# The manager stores the reason, sets the clock and the hardware clock and
# makes the stream the automatic source one after the other: each waited for.
wait_for status "follows: the broadcast stream (AutoType_stream)"
wait_for status "because: Reason_stream"
wait_for status "clock: 2026-03-29T01:02:"
expect_status "1 tables handed over"
wait_for log "TOT CRC_32 does not match, table skipped"

echo "== a stream that stops and comes back, the 2038 capture behind RTP"
wait_for log "no datagram for 1 s; joining the group again"
"$send" "$scenarios/broadcast-2038.ts" "$group" rtp
wait_for status "last TDT 2038-04-23T00:00:10Z 2155593610 accepted"
wait_for status "clock: 2038-04-23T00:00:1"
wait_for status "hardware clock: 2038-04-23T00:00:1"
wait_for log "datagrams again after"
wait_for log "RTP header (taken off)"

echo "== noise is skipped, nothing of it reaches the clock"
"$send" noise 300 "$group"
wait_for log "not whole 188- or 204-byte packets, skipped"
wait_for status "last TDT 2038-04-23T00:00:10Z"
expect_status "clock: 2038-04-23T00:0"

echo "== SIGHUP: a wrong configuration is refused, a right one taken"
echo "colour = blue" >>"$conf"
kill -HUP "$pid"
wait_for log "configuration not taken, the one before kept: $conf:7: unknown key 'colour'"
write_conf
kill -HUP "$pid"
wait_for log "configuration read again: 1 inputs"
wait_for status "daemon: running"

echo "== SIGTERM stops it through the manager's exit"
kill -TERM "$pid"
status=0
wait "$pid" || status=$?
[[ $status == 0 ]] || fail "exit status $status after SIGTERM"
grep -qF "dak-timed: stopped" "$work/log" || fail "no 'stopped' line"
trap - EXIT

echo "== the status of a daemon that is not running: what its files hold"
status=0
"$daemon" -c "$conf" status >"$work/status" 2>&1 || status=$?
[[ $status == 3 ]] || fail "status exit $status of a daemon not running (want 3)"
expect_status "daemon: not running"
expect_status "because: Reason_stream"
echo "loopback test passed"
