#!/usr/bin/env bash
# Writes abi/libdak-time.abi, the ABI baseline that ci/check-abi.sh compares
# with, from the armhf library built with debug information.
#
#   ci/update-abi.sh [ARMHF_BUILD_DIR]
#
# Without ARMHF_BUILD_DIR the library alone is built in build-abi.
set -euo pipefail
# shellcheck source=ci/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

library="$(dak_abi_library "${1:-}")"
headers=()
for dir in "${DAK_ABI_HEADERS[@]}"; do
    headers+=(--hd "$dir")
done
mkdir -p "$(dirname "$DAK_ABI_BASELINE")"
abidw --no-corpus-path --no-comp-dir-path --short-locs --drop-private-types "${headers[@]}" \
    --out-file "$DAK_ABI_BASELINE.tmp" "$library"
mv "$DAK_ABI_BASELINE.tmp" "$DAK_ABI_BASELINE"
symbols="$(grep -c '<elf-symbol ' "$DAK_ABI_BASELINE" || true)"
echo "update-abi: wrote abi/$(basename "$DAK_ABI_BASELINE") from $(basename "$library") ($symbols ELF symbols)"
