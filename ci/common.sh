# Shared helpers of the ci/ scripts; sourced, not run.
# shellcheck shell=bash

DAK_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
# The machines have 2 cores shared with everything else: never more than 2.
DAK_JOBS="${DAK_JOBS:-2}"

dak_generator_args() {
    if command -v ninja >/dev/null 2>&1; then
        echo "-G Ninja"
    fi
}

# dak_configure BUILD_DIR [CMAKE_ARGS...]
dak_configure() {
    local build_dir="$1"
    shift
    # shellcheck disable=SC2046
    cmake -S "$DAK_ROOT" -B "$build_dir" $(dak_generator_args) "$@"
}

# dak_build BUILD_DIR [TARGET...]
dak_build() {
    local build_dir="$1"
    shift
    local target_args=()
    if [[ $# -gt 0 ]]; then
        target_args=(--target "$@")
    fi
    cmake --build "$build_dir" --parallel "$DAK_JOBS" "${target_args[@]}"
}

# dak_ctest BUILD_DIR [CTEST_ARGS...]: runs every test of the build and
# prints CTest's summary; fails when a test fails or when there is none.
dak_ctest() {
    local build_dir="$1"
    shift
    (cd "$build_dir" && ctest --output-on-failure --no-tests=error -j "$DAK_JOBS" "$@")
}

# ---- ABI -------------------------------------------------------------------------
# The baseline describes the library as built for the set (armhf, with debug
# information). Only the exported interfaces and the types defined in the
# public and platform headers are considered.
DAK_ABI_BASELINE="$DAK_ROOT/abi/libdak-time.abi"
DAK_ABI_HEADERS=("$DAK_ROOT/include" "$DAK_ROOT/platform")

# dak_abi_library [BUILD_DIR]: prints the path of the armhf libdak-time.so to
# describe; without BUILD_DIR, builds the library alone in build-abi.
dak_abi_library() {
    local build_dir="${1:-}"
    if [[ -z $build_dir ]]; then
        build_dir="$DAK_ROOT/build-abi"
        "$DAK_ROOT/ci/setup.sh" host cross abi >&2
        dak_configure "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
            -DCMAKE_TOOLCHAIN_FILE="$DAK_ROOT/cmake/toolchain-armhf.cmake" \
            -DDAK_BUILD_TESTS=OFF -DDAK_BUILD_TOOLS=OFF -DDAK_BUILD_BENCH=OFF >&2
        dak_build "$build_dir" dak-time >&2
    fi
    local library
    library="$(find "$build_dir" -maxdepth 1 -name 'libdak-time.so.*.*' -type f | head -n 1)"
    if [[ -z $library ]]; then
        echo "abi: no libdak-time.so.*.* in $build_dir" >&2
        return 1
    fi
    if ! readelf -h "$library" | grep -q 'Machine:.*ARM'; then
        echo "abi: $library is not the armhf library (the baseline is armhf's)" >&2
        return 1
    fi
    echo "$library"
}
