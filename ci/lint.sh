#!/usr/bin/env bash
# Static checks.
#
#   ci/lint.sh format             clang-format --dry-run --Werror on every
#                                 tracked C++ file (.clang-format)
#   ci/lint.sh tidy BUILD_DIR     clang-tidy (.clang-tidy, warnings are errors)
#                                 on the sources of the library, the platform,
#                                 the simulator and the benchmarks that
#                                 BUILD_DIR compiles, with its
#                                 compile_commands.json
set -euo pipefail
# shellcheck source=ci/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$DAK_ROOT"

mode="${1:-}"
case "$mode" in
    format)
        "$DAK_ROOT/ci/setup.sh" lint
        mapfile -t files < <(git ls-files -- '*.cpp' '*.cc' '*.cxx' '*.h' '*.hpp')
        echo "lint: clang-format $(clang-format --version | sed 's/.*version //') on ${#files[@]} files"
        clang-format --dry-run --Werror "${files[@]}"
        echo "lint: format PASSED"
        ;;
    tidy)
        build_dir="${2:?tidy needs the build folder with compile_commands.json}"
        build_dir="$(cd "$build_dir" && pwd)"
        if [[ ! -f $build_dir/compile_commands.json ]]; then
            echo "lint: no $build_dir/compile_commands.json" >&2
            exit 1
        fi
        "$DAK_ROOT/ci/setup.sh" lint
        mapfile -t tracked < <(git ls-files -- 'src/*.cpp' 'platform/*.cpp' 'tools/*.cpp' 'bench/*.cpp')
        # Only what this build compiles: a platform or tool that it does not
        # build (platform/linux in a host build, the host in a linux build)
        # is checked with a build that does.
        files=()
        skipped=0
        for file in "${tracked[@]}"; do
            if grep -qF "\"file\": \"$DAK_ROOT/$file\"" "$build_dir/compile_commands.json"; then
                files+=("$file")
            else
                skipped=$((skipped + 1))
            fi
        done
        echo "lint: clang-tidy on ${#files[@]} files, $DAK_JOBS at a time" \
             "($skipped not built in $build_dir)"
        # Each file is checked alone; xargs fails when any check fails.
        printf '%s\n' "${files[@]}" |
            xargs -r -P "$DAK_JOBS" -I{} clang-tidy --quiet -p "$build_dir" "$DAK_ROOT/{}"
        echo "lint: tidy PASSED"
        ;;
    *)
        echo "usage: $0 format | tidy BUILD_DIR" >&2
        exit 2
        ;;
esac
