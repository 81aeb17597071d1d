#!/usr/bin/env bash
# Sets the machine up, configures, builds and runs every test of one build
# of libdak-time (unit tests and the scenario tests), ending with CTest's
# summary.
#
#   ci/test.sh                    host build in ./build (or $DAK_BUILD_DIR)
#   ci/test.sh --variant NAME     one of:
#       host   native build, RelWithDebInfo
#       asan   native, AddressSanitizer + UndefinedBehaviorSanitizer
#       tsan   native, ThreadSanitizer
#       i686   32-bit x86 cross build, run natively
#       armhf  32-bit ARM cross build, run under qemu-arm
#
# Environment: DAK_BUILD_DIR (build folder; default build for host,
# build-<variant> otherwise), DAK_JOBS (parallel jobs, default 2).
set -euo pipefail
# shellcheck source=ci/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

variant=host
while [[ $# -gt 0 ]]; do
    case "$1" in
        --variant) variant="${2:?--variant needs a name}"; shift 2 ;;
        --variant=*) variant="${1#--variant=}"; shift ;;
        -h|--help) sed -n '2,17p' "$0"; exit 0 ;;
        *) echo "test.sh: unknown argument '$1'" >&2; exit 2 ;;
    esac
done

cmake_args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
ctest_args=(--timeout 300)
setup_groups=(host)
case "$variant" in
    host)
        default_dir=build ;;
    asan)
        default_dir=build-asan
        cmake_args+=(-DDAK_SANITIZE=address,undefined -DDAK_BUILD_BENCH=OFF)
        export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0:strict_string_checks=1}"
        export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}" ;;
    tsan)
        default_dir=build-tsan
        cmake_args+=(-DDAK_SANITIZE=thread -DDAK_BUILD_BENCH=OFF)
        export TSAN_OPTIONS="${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1}" ;;
    i686)
        default_dir=build-i686
        setup_groups+=(cross)
        cmake_args+=(-DCMAKE_TOOLCHAIN_FILE="$DAK_ROOT/cmake/toolchain-i686.cmake") ;;
    armhf)
        default_dir=build-armhf
        setup_groups+=(cross)
        cmake_args+=(-DCMAKE_TOOLCHAIN_FILE="$DAK_ROOT/cmake/toolchain-armhf.cmake")
        # User-mode emulation is some 5-20 times slower than native.
        ctest_args=(--timeout 900) ;;
    *)
        echo "test.sh: unknown variant '$variant' (host asan tsan i686 armhf)" >&2
        exit 2 ;;
esac
build_dir="${DAK_BUILD_DIR:-$DAK_ROOT/$default_dir}"

"$DAK_ROOT/ci/setup.sh" "${setup_groups[@]}"

echo "== test.sh: $variant build in $build_dir"
dak_configure "$build_dir" "${cmake_args[@]}"
dak_build "$build_dir"
dak_ctest "$build_dir" "${ctest_args[@]}"
