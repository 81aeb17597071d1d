#!/usr/bin/env bash
# Checks the stripped size of the library against its limit for the
# machine it was built for: 64 KiB on x86-64, 40 KiB on 32-bit ARM (the
# set). Other machines have no limit and pass. The library is stripped into
# a temporary file with the machine's strip; the build is left as it is.
#
#   ci/check-size.sh LIBRARY [STRIP]
#
# STRIP defaults to arm-linux-gnueabihf-strip for ARM and strip otherwise.
# Sanitizer builds are not meant to be checked.
set -euo pipefail

library="${1:?usage: check-size.sh LIBRARY [STRIP]}"
machine="$(readelf -h "$library" | sed -n 's/^ *Machine: *//p')"
case "$machine" in
    *X86-64*) limit=$((64 * 1024)) default_strip=strip ;;
    ARM) limit=$((40 * 1024)) default_strip=arm-linux-gnueabihf-strip ;;
    *)
        echo "size: no limit for $machine"
        exit 0 ;;
esac
strip_tool="${2:-$default_strip}"

stripped="$(mktemp)"
trap 'rm -f "$stripped"' EXIT
"$strip_tool" -o "$stripped" "$library"
size="$(stat -c %s "$stripped")"
echo "size: stripped $(basename "$library") on $machine: $size bytes, limit $limit"
if ((size > limit)); then
    echo "size: over the limit by $((size - limit)) bytes" >&2
    exit 1
fi
