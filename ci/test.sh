#!/usr/bin/env bash
# Sets the machine up, configures, builds and runs every test of libdak-time
# (unit tests and the scenario tests), ending with CTest's summary.
#
#   ci/test.sh                    every test of the workstation's builds: the
#                                 host build in ./build (or $DAK_BUILD_DIR),
#                                 then the Linux platform's build (the daemon
#                                 included) in ./build-linux (or
#                                 $DAK_BUILD_DIR-linux)
#   ci/test.sh --variant NAME     one build, one of:
#       host   native build, RelWithDebInfo
#       asan   native, AddressSanitizer + UndefinedBehaviorSanitizer
#       tsan   native, ThreadSanitizer
#       i686   32-bit x86 cross build, run natively, or under qemu-i386
#              where the kernel refuses i386 programs (DAK_I686_RUN=qemu
#              forces that way; see cmake/toolchain-i686.cmake)
#       armhf  32-bit ARM cross build, run under qemu-arm
#       linux  the Linux platform (platform/linux), native: its primitives,
#              settings store and the library on it in dry run
#       linux-armhf  the same cross built for armhf, run under qemu-arm
#
# Environment: DAK_BUILD_DIR (build folder; default build for host,
# build-<variant> otherwise), DAK_JOBS (parallel jobs, default 2).
# Exit status: 0 when every test passed; the first build that failed stops
# the run.
set -euo pipefail
# shellcheck source=ci/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

variant=
while [[ $# -gt 0 ]]; do
    case "$1" in
        --variant) variant="${2:?--variant needs a name}"; shift 2 ;;
        --variant=*) variant="${1#--variant=}"; shift ;;
        -h|--help) sed -n '2,28p' "$0"; exit 0 ;;
        *) echo "test.sh: unknown argument '$1'" >&2; exit 2 ;;
    esac
done

# No variant: the workstation's two builds, one after the other.
if [[ -z $variant ]]; then
    if [[ -n ${DAK_BUILD_DIR:-} ]]; then
        "$0" --variant host
        DAK_BUILD_DIR="$DAK_BUILD_DIR-linux" "$0" --variant linux
    else
        "$0" --variant host
        "$0" --variant linux
    fi
    exit 0
fi

# Each variant is the configure, build and test preset of the same name in
# CMakePresets.json (host: dev); only the machine set-up is chosen here.
setup_groups=(host)
case "$variant" in
    host) preset=dev; default_dir=build ;;
    asan|tsan) preset=$variant; default_dir=build-$variant ;;
    i686|armhf) preset=$variant; default_dir=build-$variant; setup_groups+=(cross) ;;
    linux) preset=linux; default_dir=build-linux; setup_groups+=(linux) ;;
    linux-armhf) preset=linux-armhf; default_dir=build-linux-armhf; setup_groups+=(cross) ;;
    *)
        echo "test.sh: unknown variant '$variant' (host asan tsan i686 armhf linux linux-armhf)" >&2
        exit 2 ;;
esac
build_dir="${DAK_BUILD_DIR:-$DAK_ROOT/$default_dir}"

"$DAK_ROOT/ci/setup.sh" "${setup_groups[@]}"

echo "== test.sh: $variant build in $build_dir"
dak_preset_configure "$preset" "$build_dir"
if [[ $variant == i686 ]]; then
    echo "== test.sh: i686 programs run $(sed -n 's/^DAK_I686_RUN:[A-Z]*=//p' "$build_dir/CMakeCache.txt")"
fi
dak_build "$build_dir"
dak_preset_ctest "$preset" "$build_dir"
