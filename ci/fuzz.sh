#!/usr/bin/env bash
# Builds the libFuzzer targets with clang-14 (AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs each for a bounded time from its seed
# corpus in the repository: a total run time shared out among the targets,
# at least 20 s each. New inputs go to a scratch corpus in the build
# folder, never into the repository; a crash, a leak, a sanitizer report, a
# broken invariant or an input running over the timeout fails the run and
# leaves the input in the build folder.
#
#   ci/fuzz.sh [TOTAL_SECONDS]     (default 90, or $DAK_FUZZ_SECONDS)
#
# Environment: DAK_BUILD_DIR (default build-fuzz), DAK_JOBS.
set -euo pipefail
# shellcheck source=ci/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

total_seconds="${1:-${DAK_FUZZ_SECONDS:-90}}"
build_dir="${DAK_BUILD_DIR:-$DAK_ROOT/build-fuzz}"

"$DAK_ROOT/ci/setup.sh" host fuzz

echo "== fuzz.sh: clang-14 libFuzzer build in $build_dir"
dak_preset_configure fuzz "$build_dir"
mapfile -t fuzzers < "$build_dir/fuzzers.txt"
targets=()
for entry in "${fuzzers[@]}"; do
    targets+=("${entry%% *}")
done
if [[ ${#targets[@]} -eq 0 ]]; then
    echo "fuzz.sh: no fuzz targets" >&2
    exit 1
fi
dak_build "$build_dir" "${targets[@]}"
seconds=$((total_seconds / ${#targets[@]}))
if [[ $seconds -lt 20 ]]; then
    seconds=20
fi

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
failed=0
for entry in "${fuzzers[@]}"; do
    read -r name binary corpus <<< "$entry"
    read -r -a seeds <<< "$corpus"
    scratch="$build_dir/fuzz-work/$name"
    mkdir -p "$scratch/corpus" "$scratch/artifacts"
    echo "== fuzz.sh: $name for ${seconds} s (seeds: ${corpus//"$DAK_ROOT"\//})"
    if ! "$binary" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
            -print_final_stats=1 -artifact_prefix="$scratch/artifacts/" \
            "$scratch/corpus" "${seeds[@]}" 2>&1 | tail -n 40; then
        echo "fuzz.sh: $name FAILED; inputs in $scratch/artifacts" >&2
        failed=1
    fi
done
exit "$failed"
