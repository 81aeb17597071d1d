#!/usr/bin/env bash
# Compares the ABI of libdak-time with the baseline kept in
# abi/libdak-time.abi and fails on a change that breaks existing clients:
# a removed exported symbol, a changed virtual slot order, a changed size or
# layout of a type reachable from the exported interfaces. Added symbols are
# compatible and pass. An intended break is accepted with ci/update-abi.sh.
#
#   ci/check-abi.sh [ARMHF_BUILD_DIR]
#
# Without ARMHF_BUILD_DIR the library alone is built in build-abi.
set -euo pipefail
# shellcheck source=ci/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

library="$(dak_abi_library "${1:-}")"
if [[ ! -f $DAK_ABI_BASELINE ]]; then
    echo "check-abi: no baseline $DAK_ABI_BASELINE: run ci/update-abi.sh" >&2
    exit 1
fi
headers=()
for dir in "${DAK_ABI_HEADERS[@]}"; do
    headers+=(--hd2 "$dir")
done

echo "check-abi: $(basename "$library") against abi/$(basename "$DAK_ABI_BASELINE")"
set +e
abidiff --no-added-syms --drop-private-types --fail-no-debug-info "${headers[@]}" \
    "$DAK_ABI_BASELINE" "$library"
status=$?
set -e
# abidiff's status is a bit set: 1 error, 2 usage, 4 ABI change, 8 incompatible.
if [[ $status -eq 0 ]]; then
    echo "check-abi: PASSED (no incompatible change)"
    exit 0
fi
if (( status & 3 )); then
    echo "check-abi: FAILED: abidiff could not compare (status $status)" >&2
else
    echo "check-abi: FAILED: the ABI changed (abidiff status $status)." >&2
    echo "check-abi: when the break is intended, run ci/update-abi.sh and commit the baseline." >&2
fi
exit 1
