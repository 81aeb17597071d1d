# shellcheck shell=bash disable=SC2154,SC2120,SC2034
# (vm_name, build_dir and cache_dir come from the sourcing script; kernel,
# kernel_dir and busybox go back to it.)
# Shared by the ARM virtual machine tests (sourced, not run): the checks of
# the tools, Debian's armmp kernel and busybox fetched once with
# `apt-get download` (needs the armhf package lists: ci/setup.sh vm) and
# unpacked, not installed, under the cache, and the copying of an ARM
# program with its libraries into an initramfs root.
#
# The sourcing script sets: vm_name (for messages), build_dir (the armhf
# build), cache_dir. vm_fetch sets kernel, busybox and kernel_dir.

sysroot=/usr/arm-linux-gnueabihf

# vm_check_tools: 0 when the VM can run; exits 0 (skipped, said so) without
# qemu-system-arm, 1 when another tool is missing.
vm_check_tools() {
    if ! command -v qemu-system-arm >/dev/null 2>&1; then
        echo "$vm_name: SKIPPED: qemu-system-arm is not installed (ci/setup.sh vm installs it);"
        echo "$vm_name: nothing was checked against a real kernel."
        exit 0
    fi
    local tool
    for tool in cpio gzip dpkg-deb tar readelf timeout "$@"; do
        if ! command -v "$tool" >/dev/null 2>&1; then
            echo "$vm_name: $tool is missing (ci/setup.sh vm)" >&2
            exit 1
        fi
    done
}

# vm_check_program FILE: an ARM program of the build, or exit 1.
vm_check_program() {
    if [[ ! -x $1 ]]; then
        echo "$vm_name: $1 not found: build it in an armhf build" >&2
        exit 1
    fi
    if ! readelf -h "$1" | grep -q 'Machine:.*ARM'; then
        echo "$vm_name: $1 is not an ARM program" >&2
        exit 1
    fi
}

apt_download() {  # apt_download DIR PACKAGE
    (cd "$1" && apt-get download -q -o APT::Sandbox::User="$(id -un)" "$2" </dev/null)
}

# fetch_package PACKAGE:armhf DIR MEMBER...: unpacks the package's files that
# match the MEMBERs (tar patterns such as './boot/vmlinuz-*') into DIR.
fetch_package() {
    local package="$1" into="$2"
    shift 2
    if [[ -e "$into/.unpacked" ]]; then
        return 0
    fi
    local download
    download="$(mktemp -d "$cache_dir/download.XXXXXX")"
    # apt's download sandbox user may not write here: download as the caller.
    # Lists older than the mirror name files it no longer has: one update
    # (as root) and one more try.
    if ! apt_download "$download" "$package"; then
        if [[ $(id -u) -eq 0 ]]; then
            apt-get update -qq </dev/null || true
        fi
        if ! apt_download "$download" "$package"; then
            echo "$vm_name: apt-get download $package failed (armhf package lists: ci/setup.sh vm)" >&2
            rm -rf "$download"
            return 1
        fi
    fi
    rm -rf "$into"
    mkdir -p "$into"
    dpkg-deb --fsys-tarfile "$download"/*.deb | tar -x -C "$into" --wildcards "$@"
    rm -rf "$download"
    touch "$into/.unpacked"
}

# vm_fetch [MEMBER...]: the kernel (with the extra MEMBERs of its package,
# such as modules) and busybox.
vm_fetch() {
    mkdir -p "$cache_dir"
    local kernel_package
    kernel_package="$(apt-cache depends linux-image-armmp:armhf 2>/dev/null |
                      awk '/Depends: linux-image-/ { sub(":armhf", "", $2); print $2; exit }')"
    if [[ -z $kernel_package ]]; then
        # No lists: take whatever kernel an earlier run left in the cache.
        kernel_package="$(find "$cache_dir" -maxdepth 1 -type d -name 'linux-image-*' -printf '%f\n' |
                          sed 's/+.*//' | sort | tail -n 1)"
    fi
    if [[ -z $kernel_package ]]; then
        echo "$vm_name: linux-image-armmp:armhf unknown to apt (ci/setup.sh vm adds the armhf lists)" >&2
        exit 1
    fi
    # One folder per set of members, so that each test's cache is complete.
    kernel_dir="$cache_dir/$kernel_package"
    if [[ $# -gt 0 ]]; then
        kernel_dir="$kernel_dir+$(printf '%s' "$*" | cksum | cut -d' ' -f1)"
    fi
    fetch_package "$kernel_package:armhf" "$kernel_dir" './boot/vmlinuz-*' "$@"
    fetch_package busybox-static:armhf "$cache_dir/busybox-static" './bin/busybox'
    kernel="$(find "$kernel_dir/boot" -name 'vmlinuz-*' | head -n 1)"
    busybox="$cache_dir/busybox-static/bin/busybox"
}

strip_tool=arm-linux-gnueabihf-strip
command -v "$strip_tool" >/dev/null 2>&1 || strip_tool=""
install_elf() {  # install_elf FILE DEST: copied without debug information
    cp -L "$1" "$2"
    if [[ -n $strip_tool ]]; then
        "$strip_tool" --strip-debug "$2"
    fi
}

declare -A vm_copied=()
# vm_install_program PROGRAM ROOT NAME: the program as ROOT/NAME, the
# libraries it needs (the build's first, then the cross sysroot's) in
# ROOT/lib, and its interpreter.
vm_install_program() {
    local program="$1" root="$2" name="$3"
    local -a search_dirs pending
    mapfile -t search_dirs < <(find "$build_dir" -name '*.so*' -type f -not -path '*/vm-cache/*' \
                                   -printf '%h\n' | sort -u)
    search_dirs+=("$sysroot/lib" "$sysroot/usr/lib")
    mkdir -p "$root/lib"
    install_elf "$program" "$root/$name"
    pending=("$program")
    local elf needed dir path
    while [[ ${#pending[@]} -gt 0 ]]; do
        elf="${pending[0]}"
        pending=("${pending[@]:1}")
        while read -r needed; do
            [[ -n ${vm_copied[$needed]:-} ]] && continue
            vm_copied[$needed]=1
            path=""
            for dir in "${search_dirs[@]}"; do
                if [[ -e "$dir/$needed" ]]; then
                    path="$dir/$needed"
                    break
                fi
            done
            if [[ -z $path ]]; then
                echo "$vm_name: library $needed (needed by $elf) not found" >&2
                exit 1
            fi
            install_elf "$path" "$root/lib/$needed"
            pending+=("$path")
        done < <(readelf -d "$elf" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
    done
    local interpreter
    interpreter="$(readelf -l "$program" | sed -n 's/.*Requesting program interpreter: \(.*\)]/\1/p')"
    mkdir -p "$root$(dirname "$interpreter")"
    install_elf "$sysroot/lib/$(basename "$interpreter")" "$root$interpreter"
}

# vm_console LOG: the console without the kernel's own lines.
vm_console() {
    tr -d '\r' <"$1" | grep -v '^\[ *[0-9.]*\] ' || true
}

# vm_result LOG TIMEOUT_S QEMU_STATUS MARKER: the program's exit status after
# "MARKER=" (the last one), or a failure with the console's tail. Returns 0
# when it is 0.
vm_result() {
    local log="$1" timeout_s="$2" qemu_status="$3" marker="$4"
    if [[ $qemu_status -eq 124 || $qemu_status -eq 137 ]]; then
        echo "$vm_name: FAILED: the VM did not finish within ${timeout_s} s; console:" >&2
        tr -d '\r' <"$log" | tail -n 40 >&2
        return 1
    fi
    local result
    result="$(tr -d '\r' <"$log" | sed -n "s/^$marker=\\([0-9]*\\)\$/\\1/p" | tail -n 1)"
    if [[ -z $result ]]; then
        echo "$vm_name: FAILED: the test program gave no result; console:" >&2
        tr -d '\r' <"$log" | tail -n 40 >&2
        return 1
    fi
    if [[ $result -ne 0 ]]; then
        echo "$vm_name: FAILED (exit status $result)" >&2
        return 1
    fi
    return 0
}
