#!/usr/bin/env bash
# Proves that the library builds against a platform it does not carry, and
# that a program finds and links what it installs. For each architecture
# (the build machine's, then armhf under qemu-arm):
#
#   1. the host platform alone is installed into a staging sysroot as a
#      vendor's platform package would be: headers, libraries and its
#      pkg-config module dak-host-platform.pc;
#   2. the library is configured with DAK_PLATFORM=external against that
#      sysroot (the include directory and libraries taken from the
#      platform's .pc), built and installed into the same sysroot;
#   3. tests/consumer, copied out of the tree, is built against the
#      installed files through find_package(dak-time) and through
#      pkg-config dak-time, and run.
#
# On the build machine it also checks that a wrong platform is refused at
# configure time with a message naming what is wrong.
#
#   ci/check-external.sh [host|armhf]...     default: both
#
# Environment: DAK_BUILD_DIR (work folder, default build-external), DAK_JOBS.
set -euo pipefail
# shellcheck source=ci/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

arches=("$@")
if [[ ${#arches[@]} -eq 0 ]]; then
    arches=(host armhf)
fi
work="${DAK_BUILD_DIR:-$DAK_ROOT/build-external}"
"$DAK_ROOT/ci/setup.sh" host cross external

# away_from_rtc COMMAND...: runs COMMAND where "/dev/rtc0" cannot be reached.
# Built for the set, the library opens the real device and may set it; the
# machine's hardware clock is never to be touched. Where the machine has
# one, COMMAND runs in a mount namespace of its own with /dev/null over it
# (the library then logs a failed read), or is not run at all.
away_from_rtc() {
    if [[ ! -e /dev/rtc0 ]]; then
        "$@"
    elif unshare --mount true 2>/dev/null; then
        unshare --mount -- bash -c 'mount --bind /dev/null /dev/rtc0 && exec "$@"' away "$@"
    else
        echo "-- not run: this machine has a /dev/rtc0 that the consumer must not reach"
    fi
}

check_arch() {
    local arch="$1"
    local dir="$work/$arch" sysroot="$work/$arch/sysroot"
    local platform_preset library_preset nm=nm lib_path=
    local -a find_args run=()
    case "$arch" in
        host)
            platform_preset=dev
            library_preset=dev
            find_args=(-DCMAKE_PREFIX_PATH="$sysroot/usr") ;;
        armhf)
            platform_preset=armhf
            library_preset=target
            nm=arm-linux-gnueabihf-nm
            find_args=(-DCMAKE_TOOLCHAIN_FILE="$DAK_ROOT/cmake/toolchain-armhf.cmake"
                       -DCMAKE_FIND_ROOT_PATH="$sysroot")
            # The cross sysroot's runtime, never a natively installed armhf
            # libc beside it (see cmake/toolchain-armhf.cmake).
            run=(qemu-arm -L /usr/arm-linux-gnueabihf)
            lib_path=/usr/arm-linux-gnueabihf/lib ;;
        *) echo "check-external: unknown architecture '$arch' (host armhf)" >&2; return 2 ;;
    esac
    rm -rf "$dir"
    mkdir -p "$dir"
    local -a install_dirs=(-DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR=lib)

    echo "== check-external ($arch): the platform package, staged alone in $sysroot"
    dak_preset_configure "$platform_preset" "$dir/platform" "${install_dirs[@]}" \
        -DDAK_BUILD_TESTS=OFF -DDAK_BUILD_TOOLS=OFF -DDAK_BUILD_BENCH=OFF >/dev/null
    dak_build "$dir/platform" dak-host-platform dak-host-factories-shared
    for component in platform platform-dev; do
        DESTDIR="$sysroot" cmake --install "$dir/platform" --component "$component"
    done
    if compgen -G "$sysroot/usr/lib/libdak-time*" >/dev/null; then
        echo "check-external: the platform package carries the library" >&2
        return 1
    fi

    # What the platform's own .pc says is all the library is told.
    local -x PKG_CONFIG_LIBDIR="$sysroot/usr/lib/pkgconfig" PKG_CONFIG_SYSROOT_DIR="$sysroot"
    local include_dir libraries
    include_dir="$(pkg-config --cflags-only-I dak-host-platform | sed 's/^ *-I//; s/ *$//')"
    libraries="$(pkg-config --libs-only-l dak-host-platform | sed 's/-l//g; s/^ *//; s/ *$//; s/  */;/g')"

    echo "== check-external ($arch): the library on that platform"
    dak_preset_configure "$library_preset" "$dir/library" "${install_dirs[@]}" "${find_args[@]}" \
        -DDAK_PLATFORM=external -DDAK_PLATFORM_INCLUDE_DIR="$include_dir" \
        -DDAK_PLATFORM_LIBRARIES="$libraries" -DDAK_PLATFORM_PKGCONFIG=dak-host-platform
    dak_build "$dir/library"
    DESTDIR="$sysroot" cmake --install "$dir/library"
    local library="$sysroot/usr/lib/libdak-time.so.1"
    readelf -d "$library" | grep -q 'SONAME.*\[libdak-time\.so\.1\]'
    if readelf -d "$library" | grep -Eq 'RPATH|RUNPATH'; then
        echo "check-external: the installed library keeps a run path" >&2
        return 1
    fi
    NM="$nm" "$DAK_ROOT/tests/check_exports.sh" "$library"
    # On the set the library reaches the device and the clocks through the
    # C library itself, and nothing installed replaces the C library's own.
    NM="$nm" "$DAK_ROOT/tests/check_libc_symbols.sh" calls "$library"
    NM="$nm" "$DAK_ROOT/tests/check_libc_symbols.sh" none "$sysroot"/usr/lib/lib*.so.1

    echo "== check-external ($arch): a consumer of the installed files"
    cp -r "$DAK_ROOT/tests/consumer" "$dir/consumer-src"
    local how
    for how in cmake pkg-config; do
        local -a how_args=()
        if [[ $how == pkg-config ]]; then
            how_args=(-DCONSUMER_USE_PKGCONFIG=ON)
        fi
        cmake -S "$dir/consumer-src" -B "$dir/consumer-$how" "${find_args[@]}" "${how_args[@]}" \
            >/dev/null
        cmake --build "$dir/consumer-$how" --parallel "$DAK_JOBS"
        echo "-- consumer through $how:"
        LD_LIBRARY_PATH="$sysroot/usr/lib${lib_path:+:$lib_path}" \
            away_from_rtc "${run[@]}" "$dir/consumer-$how/dak-time-consumer" \
            2>"$dir/consumer-$how/log.txt"
    done
}

# expect_refusal NAME TEXT CMAKE_ARGS...: configuring must fail and say TEXT.
expect_refusal() {
    local name="$1" text="$2"
    shift 2
    local output
    if output="$(cmake -S "$DAK_ROOT" -B "$work/refused-$name" "$@" 2>&1)"; then
        echo "check-external: $name: configuring succeeded" >&2
        return 1
    fi
    # CMake wraps its messages: compare with the lines joined.
    if ! tr -s ' \n' '  ' <<<"$output" | grep -qF -- "$text"; then
        echo "check-external: $name: the error does not say '$text':" >&2
        echo "$output" >&2
        return 1
    fi
    echo "-- refused ($name): $text"
}

check_refusals() {
    local sysroot="$work/host/sysroot" partial="$work/partial-platform"
    rm -rf "$partial" "$work"/refused-*
    cp -r "$sysroot/usr/include/dak-platform" "$partial"
    rm "$partial/TCTask.h"
    expect_refusal unknown-platform "allowed values: host, linux, external" -DDAK_PLATFORM=vendor
    expect_refusal missing-header "lack: TCTask.h" -DDAK_PLATFORM=external \
        -DDAK_PLATFORM_INCLUDE_DIR="$partial" -DDAK_PLATFORM_LIBRARIES=dak-host-platform
    expect_refusal missing-library "platform library 'dak-vendor-missing' was not found" \
        -DDAK_PLATFORM=external -DDAK_PLATFORM_INCLUDE_DIR="$sysroot/usr/include/dak-platform" \
        -DDAK_PLATFORM_LIBRARIES=dak-vendor-missing
}

for arch in "${arches[@]}"; do
    check_arch "$arch"
    if [[ $arch == host ]]; then
        check_refusals
    fi
done
echo "check-external: ${arches[*]} ok"
