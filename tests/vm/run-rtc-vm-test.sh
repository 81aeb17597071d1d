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
vm_name=rtc-vm-test
# shellcheck source=tests/vm/vm-common.sh
source "$(dirname "${BASH_SOURCE[0]}")/vm-common.sh"

vm_check_tools
test_binary="$build_dir/tests/vm/rtc_vm_test"
vm_check_program "$test_binary"

# ---- kernel and busybox, downloaded once ------------------------------------------
vm_fetch

# ---- initramfs: busybox, the test, its libraries ------------------------------------
work="$(mktemp -d "${TMPDIR:-/tmp}/rtc-vm.XXXXXX")"
trap 'rm -rf "$work"' EXIT
root="$work/root"
mkdir -p "$root"/{bin,dev,proc,sys,lib,tmp}
cp "$busybox" "$root/bin/busybox"
vm_install_program "$test_binary" "$root" rtc_vm_test

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
vm_console "$log"
echo "rtc-vm-test: the VM ran for $((SECONDS - started)) s (qemu status $qemu_status)"
vm_result "$log" "$timeout_s" "$qemu_status" RTC-VM-EXIT || exit 1
echo "rtc-vm-test: PASSED"
