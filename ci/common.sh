# Shared helpers of the ci/ scripts; sourced, not run.
# shellcheck shell=bash

DAK_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
# The machines have 2 cores shared with everything else: never more than 2.
DAK_JOBS="${DAK_JOBS:-2}"

# dak_preset_configure PRESET BUILD_DIR [CMAKE_ARGS...]: configures BUILD_DIR
# with a configure preset of CMakePresets.json.
dak_preset_configure() {
    local preset="$1" build_dir="$2"
    shift 2
    (cd "$DAK_ROOT" && cmake --preset "$preset" -B "$build_dir" "$@")
}

# dak_preset_ctest PRESET BUILD_DIR [CTEST_ARGS...]: runs every test of
# BUILD_DIR with a test preset's options and prints CTest's summary; fails
# when a test fails or when there is none. CTest 3.25 runs a test preset in
# its configure preset's binaryDir whenever that folder exists, whatever
# --test-dir says, so the preset is run from a throw-away presets file that
# includes the project's and only moves the build folder.
dak_preset_ctest() {
    local preset="$1" build_dir="$2"
    shift 2
    local presets_dir status=0
    presets_dir="$(mktemp -d)"
    cat >"$presets_dir/CMakePresets.json" <<EOF
{
  "version": 6,
  "include": ["$DAK_ROOT/CMakePresets.json"],
  "configurePresets": [{ "name": "in-build-dir", "inherits": "$preset", "binaryDir": "$build_dir" }],
  "testPresets": [{ "name": "in-build-dir", "inherits": "$preset", "configurePreset": "in-build-dir" }]
}
EOF
    (cd "$presets_dir" && ctest --preset in-build-dir "$@") || status=$?
    rm -rf "$presets_dir"
    return "$status"
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
        dak_preset_configure armhf "$build_dir" \
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
