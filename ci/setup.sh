#!/usr/bin/env bash
# Installs what a fresh Debian 12 machine lacks for building and checking
# libdak-time. Idempotent: installs only missing packages, runs
# `apt-get update` at most once per run (and not at all when nothing is
# missing), never reads standard input.
#
#   ci/setup.sh [GROUP...]
#
# Groups (default: host):
#   host   compiler, CMake, Ninja, Boost headers, GoogleTest, Google Benchmark,
#          xmllint and rsvg-convert (the simulator's timeline test), GNU time,
#          pkg-config and libdvbpsi (the capture writer of the tests), zlib
#          (dak-time-sim explain reads .gz logs), CLI11 (dak-timed's command line)
#   cross  32-bit x86 and armhf cross compilers, 32-bit x86 runtime, qemu-user
#   linux  libsystemd (the Linux platform's journal and system bus)
#   vm     qemu-system-arm, cpio, and the armhf package lists that the VM test
#          downloads its kernel and busybox from
#   abi    libabigail tools (abidw, abidiff)
#   lint   clang-format and clang-tidy
#   fuzz   clang-14 with libFuzzer and the sanitizer runtimes
#   docs   Doxygen and help2man (API reference, manual page)
#   external  pkg-config (ci/check-external.sh)
#   deb    debhelper, lintian and the tools of a native package build
#          (Doxygen for the API reference package)
#   deb-cross  the armhf build dependencies of a cross package build
#   all    every group
set -euo pipefail

groups=("$@")
if [[ ${#groups[@]} -eq 0 ]]; then
    groups=(host)
fi

declare -a wanted=()
need_armhf_arch=0
want_deb_cross=0
for group in "${groups[@]}"; do
    case "$group" in
        host) wanted+=(g++ cmake ninja-build make libboost-dev libgtest-dev googletest
                       libbenchmark-dev libxml2-utils librsvg2-bin time pkg-config libdvbpsi-dev
                       zlib1g-dev nlohmann-json3-dev libcli11-dev) ;;
        cross) wanted+=(g++-i686-linux-gnu libc6-i386 lib32stdc++6 g++-arm-linux-gnueabihf
                        qemu-user) ;;
        linux) wanted+=(libsystemd-dev pkg-config) ;;
        vm) wanted+=(qemu-system-arm cpio gzip); need_armhf_arch=1 ;;
        abi) wanted+=(abigail-tools) ;;
        lint) wanted+=(clang-format clang-tidy clang-tidy-14) ;;
        fuzz) wanted+=(clang-14 libclang-rt-14-dev) ;;
        docs) wanted+=(doxygen help2man) ;;
        external) wanted+=(pkg-config) ;;
        deb) wanted+=(dpkg-dev debhelper fakeroot lintian pkg-config help2man doxygen) ;;
        deb-cross) wanted+=(g++-arm-linux-gnueabihf doxygen); want_deb_cross=1; need_armhf_arch=1 ;;
        all) wanted+=(g++ cmake ninja-build make libboost-dev libgtest-dev googletest
                      libbenchmark-dev libxml2-utils librsvg2-bin time pkg-config libdvbpsi-dev zlib1g-dev nlohmann-json3-dev libcli11-dev g++-i686-linux-gnu libc6-i386 lib32stdc++6
                      g++-arm-linux-gnueabihf qemu-user qemu-system-arm cpio gzip
                      abigail-tools clang-format clang-tidy clang-tidy-14 clang-14
                      libclang-rt-14-dev doxygen help2man pkg-config dpkg-dev debhelper fakeroot
                      lintian libsystemd-dev)
             want_deb_cross=1; need_armhf_arch=1 ;;
        *) echo "setup: unknown group '$group' (host cross linux vm abi lint fuzz docs external deb deb-cross all)" >&2; exit 2 ;;
    esac
done

as_root() {
    if [[ $(id -u) -eq 0 ]]; then
        "$@"
    elif command -v sudo >/dev/null 2>&1; then
        sudo -n "$@"
    else
        echo "setup: root rights are needed to run: $*" >&2
        return 1
    fi
}

is_installed() {
    [[ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null || true)" == installed ]]
}

export DEBIAN_FRONTEND=noninteractive

# An update is needed when packages are missing, or when the armhf package
# lists are wanted and absent. It runs once per run; a partly failed update
# (a mirror in the middle of a sync) is reported and the install still tried.
apt_updated=0
apt_update_once() {
    if [[ $apt_updated -eq 1 ]]; then
        return 0
    fi
    apt_updated=1
    echo "setup: apt-get update"
    if ! as_root apt-get update -qq </dev/null; then
        echo "setup: warning: apt-get update reported errors; trying with the lists it has" >&2
    fi
}

if [[ $need_armhf_arch -eq 1 ]]; then
    if ! dpkg --print-foreign-architectures | grep -qx armhf; then
        echo "setup: adding the armhf architecture (for apt-get download of the VM's kernel)"
        as_root dpkg --add-architecture armhf
        apt_update_once
    elif ! compgen -G '/var/lib/apt/lists/*_binary-armhf_Packages*' >/dev/null; then
        apt_update_once
    fi
fi

declare -a missing=()
declare -A seen=()
for pkg in "${wanted[@]}"; do
    if [[ -n ${seen[$pkg]:-} ]]; then
        continue
    fi
    seen[$pkg]=1
    if ! is_installed "$pkg"; then
        missing+=("$pkg")
    fi
done

if [[ ${#missing[@]} -eq 0 ]]; then
    echo "setup: nothing to install (${groups[*]})"
else
    echo "setup: installing ${missing[*]}"
    apt_update_once
    as_root apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null
fi

# The armhf build dependencies of a cross package build. They are packages of
# the armhf architecture that must match this machine's own packages version
# for version; a machine whose packages are newer than the armhf lists it
# reaches (a security update not yet mirrored for armhf) cannot take them.
# The armhf C and C++ runtimes are then enough: ci/check-deb.sh builds with
# the cross compilers and Boost's headers, which are the same on every
# architecture, and dpkg-shlibdeps reads the runtimes' dependency data.
if [[ $want_deb_cross -eq 1 ]] &&
    ! { is_installed crossbuild-essential-armhf && is_installed libboost-dev:armhf; }; then
    apt_update_once
    echo "setup: installing crossbuild-essential-armhf libboost-dev:armhf"
    if ! as_root apt-get install -y -qq --no-install-recommends \
        crossbuild-essential-armhf libboost-dev:armhf </dev/null; then
        echo "setup: warning: the armhf build dependencies cannot be installed beside this" \
            "machine's packages; installing the armhf C and C++ runtimes only" >&2
        if ! { is_installed libc6:armhf && is_installed libstdc++6:armhf; }; then
            as_root apt-get install -y -qq --no-install-recommends \
                libc6:armhf libstdc++6:armhf </dev/null
        fi
    fi
fi
echo "setup: done"
