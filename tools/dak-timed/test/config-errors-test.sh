#!/usr/bin/env bash
# A configuration with errors: each names its file and line, and the daemon
# exits 2 without starting, with --check or without.
#
#   config-errors-test.sh DAK_TIMED WORK
set -euo pipefail
daemon=$1 work=$2
rm -rf "$work"
mkdir -p "$work"

check() {
    local text=$1 message=$2 status=0
    printf '# a box\n%s\n' "$text" >"$work/bad.conf"
    for args in "--check" "--foreground --dry-run"; do
        status=0
        # shellcheck disable=SC2086
        "$daemon" -c "$work/bad.conf" $args >"$work/out" 2>&1 || status=$?
        if [[ $status != 2 ]] || ! grep -qF -- "$work/bad.conf:2: $message" "$work/out"; then
            echo "FAILED: '$text' ($args): exit $status, want 2 and '$message'" >&2
            cat "$work/out" >&2
            exit 1
        fi
    done
}

check "colour = blue" "unknown key 'colour'"
check "clock-mode = automatic" "clock-mode: 'automatic' is not auto or manual"
check "input = udp://239.1.1.1:99999 handle=1/0" "input: 'udp://239.1.1.1:99999': port '99999' is not 1 to 65535"
check "input = dvb://0.0" "input: no handle=PROFILE/SUB"
check "settings = relative/path" "settings: 'relative/path' is not an absolute path"

status=0
"$daemon" -c "$work/missing.conf" --check >"$work/out" 2>&1 || status=$?
[[ $status == 2 ]] && grep -qF "missing.conf: cannot be read" "$work/out" ||
    { echo "FAILED: a missing configuration: exit $status" >&2; cat "$work/out" >&2; exit 1; }

status=0
"$daemon" --no-such-option >"$work/out" 2>&1 || status=$?
[[ $status == 2 ]] || { echo "FAILED: an unknown option: exit $status" >&2; exit 1; }
echo "configuration errors test passed"
