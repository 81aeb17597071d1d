#!/usr/bin/env bash
# Boots Debian's ARM kernel (armmp) on QEMU's virt board under software
# emulation, with a small initramfs whose only program is rtc_vm_test, and
# reports its result. The guest's /dev/rtc0 is the board's PL031 driven by
# the kernel's rtc-pl031 driver: the library's hardware-clock path is checked
# against a real device and a real kernel.
#
#   tests/vm/run-rtc-vm-test.sh ARMHF_BUILD_DIR
#
# ARMHF_BUILD_DIR is a build configured with cmake/toolchain-armhf.cmake in
# which rtc_vm_test has been built. The kernel and busybox packages are
# fetched once with `apt-get download` (needs the armhf package lists:
# ci/setup.sh vm) and unpacked, not installed, under $DAK_VM_CACHE (default
# ARMHF_BUILD_DIR/vm-cache).
#
# Exit status: 0 when every check passed, or when qemu-system-arm is missing
# (the test is then skipped with a message); 1 otherwise.
set -euo pipefail

if [[ $# -ne 1 ]]; then
    echo "usage: $0 ARMHF_BUILD_DIR" >&2
    exit 2
fi
build_dir="$(cd "$1" && pwd)"
cache_dir="${DAK_VM_CACHE:-$build_dir/vm-cache}"
timeout_s="${DAK_VM_TIMEOUT:-300}"
sysroot=/usr/arm-linux-gnueabihf

if ! command -v qemu-system-arm >/dev/null 2>&1; then
    echo "rtc-vm-test: SKIPPED: qemu-system-arm is not installed (ci/setup.sh vm installs it);"
    echo "rtc-vm-test: the hardware-clock path was NOT checked against a real RTC."
    exit 0
fi
for tool in cpio gzip dpkg-deb tar readelf timeout; do
    if ! command -v "$tool" >/dev/null 2>&1; then
        echo "rtc-vm-test: $tool is missing (ci/setup.sh vm)" >&2
        exit 1
    fi
done

test_binary="$build_dir/tests/vm/rtc_vm_test"
if [[ ! -x $test_binary ]]; then
    echo "rtc-vm-test: $test_binary not found: build the target rtc_vm_test of an armhf build" >&2
    exit 1
fi
if ! readelf -h "$test_binary" | grep -q 'Machine:.*ARM'; then
    echo "rtc-vm-test: $test_binary is not an ARM program" >&2
    exit 1
fi

# ---- kernel and busybox, downloaded once ------------------------------------------
mkdir -p "$cache_dir"
apt_download() {  # apt_download DIR PACKAGE
    (cd "$1" && apt-get download -q -o APT::Sandbox::User="$(id -un)" "$2" </dev/null)
}
# fetch_package PACKAGE:armhf DIR MEMBER: unpacks the package's files that
# match MEMBER (a tar pattern such as './boot/vmlinuz-*') into DIR.
fetch_package() {
    local package="$1" into="$2" member="$3"
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
            echo "rtc-vm-test: apt-get download $package failed (armhf package lists: ci/setup.sh vm)" >&2
            rm -rf "$download"
            return 1
        fi
    fi
    rm -rf "$into"
    mkdir -p "$into"
    dpkg-deb --fsys-tarfile "$download"/*.deb | tar -x -C "$into" --wildcards "$member"
    rm -rf "$download"
    touch "$into/.unpacked"
}

kernel_package="$(apt-cache depends linux-image-armmp:armhf 2>/dev/null |
                  awk '/Depends: linux-image-/ { sub(":armhf", "", $2); print $2; exit }')"
if [[ -z $kernel_package ]]; then
    # No lists: take whatever kernel an earlier run left in the cache.
    kernel_package="$(find "$cache_dir" -maxdepth 1 -type d -name 'linux-image-*' -printf '%f\n' |
                      sort | tail -n 1)"
fi
if [[ -z $kernel_package ]]; then
    echo "rtc-vm-test: linux-image-armmp:armhf unknown to apt (ci/setup.sh vm adds the armhf lists)" >&2
    exit 1
fi
fetch_package "$kernel_package:armhf" "$cache_dir/$kernel_package" './boot/vmlinuz-*'
fetch_package busybox-static:armhf "$cache_dir/busybox-static" './bin/busybox'
kernel="$(find "$cache_dir/$kernel_package/boot" -name 'vmlinuz-*' | head -n 1)"
busybox="$cache_dir/busybox-static/bin/busybox"

# ---- initramfs: busybox, the test, its libraries ------------------------------------
work="$(mktemp -d "${TMPDIR:-/tmp}/rtc-vm.XXXXXX")"
trap 'rm -rf "$work"' EXIT
root="$work/root"
mkdir -p "$root"/{bin,dev,proc,sys,lib,tmp}
cp "$busybox" "$root/bin/busybox"

strip_tool=arm-linux-gnueabihf-strip
command -v "$strip_tool" >/dev/null 2>&1 || strip_tool=""
install_elf() {  # install_elf FILE DEST: copied without debug information
    cp -L "$1" "$2"
    if [[ -n $strip_tool ]]; then
        "$strip_tool" --strip-debug "$2"
    fi
}

# Libraries of the build first, then the cross sysroot's.
mapfile -t search_dirs < <(find "$build_dir" -name '*.so*' -type f -not -path '*/vm-cache/*' \
                               -printf '%h\n' | sort -u)
search_dirs+=("$sysroot/lib" "$sysroot/usr/lib")
find_library() {
    local dir
    for dir in "${search_dirs[@]}"; do
        if [[ -e "$dir/$1" ]]; then
            echo "$dir/$1"
            return 0
        fi
    done
    return 1
}

declare -A copied=()
pending=("$test_binary")
install_elf "$test_binary" "$root/rtc_vm_test"
while [[ ${#pending[@]} -gt 0 ]]; do
    elf="${pending[0]}"
    pending=("${pending[@]:1}")
    while read -r needed; do
        [[ -n ${copied[$needed]:-} ]] && continue
        copied[$needed]=1
        if ! path="$(find_library "$needed")"; then
            echo "rtc-vm-test: library $needed (needed by $elf) not found" >&2
            exit 1
        fi
        install_elf "$path" "$root/lib/$needed"
        pending+=("$path")
    done < <(readelf -d "$elf" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
done
interpreter="$(readelf -l "$test_binary" | sed -n 's/.*Requesting program interpreter: \(.*\)]/\1/p')"
mkdir -p "$root$(dirname "$interpreter")"
install_elf "$sysroot/lib/$(basename "$interpreter")" "$root$interpreter"

cat >"$root/init" <<'EOF'
#!/bin/busybox sh
/bin/busybox mount -t devtmpfs dev /dev
/bin/busybox mount -t proc proc /proc
/bin/busybox mount -t sysfs sys /sys
echo "rtc-vm-test: guest kernel $(/bin/busybox uname -r), RTC $(/bin/busybox cat /sys/class/rtc/rtc0/name 2>/dev/null)"
LD_LIBRARY_PATH=/lib /rtc_vm_test
echo "RTC-VM-EXIT=$?"
/bin/busybox sync
/bin/busybox poweroff -f
EOF
chmod +x "$root/init"
(cd "$root" && find . | LC_ALL=C sort | cpio -o -H newc --quiet | gzip -1) >"$work/initrd.gz"

# ---- boot ----------------------------------------------------------------------------------
echo "rtc-vm-test: booting $(basename "$kernel") with a $(du -k "$work/initrd.gz" | cut -f1) KiB initramfs"
log="$work/console.log"
started=$SECONDS
set +e
timeout --kill-after=10 "$timeout_s" qemu-system-arm -M virt -accel tcg -m 256 -smp 1 \
    -nographic -no-reboot -nodefaults -serial stdio -monitor none \
    -kernel "$kernel" -initrd "$work/initrd.gz" \
    -append "console=ttyAMA0 panic=-1 quiet loglevel=3" </dev/null >"$log" 2>&1
qemu_status=$?
set -e
tr -d '\r' <"$log" | grep -v '^\[ *[0-9.]*\] ' || true
echo "rtc-vm-test: the VM ran for $((SECONDS - started)) s (qemu status $qemu_status)"

if [[ $qemu_status -eq 124 || $qemu_status -eq 137 ]]; then
    echo "rtc-vm-test: FAILED: the VM did not finish within ${timeout_s} s; console:" >&2
    tr -d '\r' <"$log" | tail -n 40 >&2
    exit 1
fi
result="$(tr -d '\r' <"$log" | sed -n 's/^RTC-VM-EXIT=\([0-9]*\)$/\1/p' | tail -n 1)"
if [[ -z $result ]]; then
    echo "rtc-vm-test: FAILED: the test program gave no result; console:" >&2
    tr -d '\r' <"$log" | tail -n 40 >&2
    exit 1
fi
if [[ $result -ne 0 ]]; then
    echo "rtc-vm-test: FAILED (exit status $result)" >&2
    exit 1
fi
echo "rtc-vm-test: PASSED"
