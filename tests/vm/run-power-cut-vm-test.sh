#!/usr/bin/env bash
# A power cut on a real kernel. Boots Debian's ARM kernel (armmp) on QEMU's
# virt board under software emulation (no KVM), with the PL031 as /dev/rtc0
# and an ext4 disk for the settings, and runs the library on the Linux
# platform for real (the machine's clock is the guest's, set with
# clock_settime):
#
#   first boot   power_cut_vm_test set: a stream table sets the machine's
#                clock; the library writes the PL031 and its settings file;
#                then the machine is reset at once, with no sync (sysrq b),
#                as a power cut would; QEMU keeps the PL031 running
#   second boot  power_cut_vm_test replay: the settings file is whole, the
#                platform reports a boot whose hardware clock is valid, and
#                start-up replays the PL031 as the stored reason allows
#
#   tests/vm/run-power-cut-vm-test.sh LINUX_ARMHF_BUILD_DIR
#
# LINUX_ARMHF_BUILD_DIR is a build of the preset linux-armhf in which
# power_cut_vm_test has been built. The kernel (with the modules of virtio
# and ext4) and busybox are fetched once as tests/vm/vm-common.sh says.
#
# Exit status: 0 when every check passed, or when qemu-system-arm is missing
# (the test is then skipped with a message); 1 otherwise.
set -euo pipefail

if [[ $# -ne 1 ]]; then
    echo "usage: $0 LINUX_ARMHF_BUILD_DIR" >&2
    exit 2
fi
build_dir="$(cd "$1" && pwd)"
cache_dir="${DAK_VM_CACHE:-$build_dir/vm-cache}"
timeout_s="${DAK_VM_TIMEOUT:-600}"
vm_name=power-cut-vm-test
# shellcheck source=tests/vm/vm-common.sh
source "$(dirname "${BASH_SOURCE[0]}")/vm-common.sh"

vm_check_tools mke2fs
test_binary="$build_dir/tests/vm/power_cut_vm_test"
vm_check_program "$test_binary"

# ---- kernel, its disk and file system modules, busybox ---------------------------
modules=(drivers/virtio/virtio_mmio drivers/block/virtio_blk lib/crc16 crypto/crc32c_generic fs/mbcache fs/jbd2/jbd2
         fs/ext4/ext4)
members=()
for module in "${modules[@]}"; do
    members+=("./lib/modules/*/kernel/$module.ko")
done
vm_fetch "${members[@]}"

# ---- initramfs: busybox, the modules, the test, its libraries -------------------------
work="$(mktemp -d "${TMPDIR:-/tmp}/power-cut-vm.XXXXXX")"
trap 'rm -rf "$work"' EXIT
root="$work/root"
mkdir -p "$root"/{bin,dev,proc,sys,lib/modules,tmp,persist}
cp "$busybox" "$root/bin/busybox"
for module in "${modules[@]}"; do
    cp "$(find "$kernel_dir/lib/modules" -path "*/kernel/$module.ko" | head -n 1)" "$root/lib/modules/"
done
vm_install_program "$test_binary" "$root" power_cut_vm_test

cat >"$root/init" <<'EOF_INIT'
#!/bin/busybox sh
bb=/bin/busybox
$bb mount -t devtmpfs dev /dev
$bb mount -t proc proc /proc
$bb mount -t sysfs sys /sys
for module in virtio_mmio virtio_blk crc16 crc32c_generic mbcache jbd2 ext4; do
    $bb insmod /lib/modules/$module.ko
done
for i in $($bb seq 50); do [ -b /dev/vda ] && break; $bb sleep 0.2; done
if ! $bb mount -t ext4 /dev/vda /persist; then
    echo "power-cut-vm-test: no disk for the settings"
    $bb grep ext /proc/filesystems; $bb ls -l /dev/vda /persist; $bb dmesg | $bb tail -n 15 | $bb sed 's/^/kernel: /'
    echo "POWER-CUT-SET=9"
    $bb poweroff -f
fi
export LD_LIBRARY_PATH=/lib
if [ ! -e /persist/first-boot-done ]; then
    echo "power-cut-vm-test: first boot, kernel $($bb uname -r), RTC $($bb cat /sys/class/rtc/rtc0/name)"
    echo > /persist/first-boot-done
    $bb sync
    /power_cut_vm_test set /persist/dak-time/settings
    echo "POWER-CUT-SET=$?"
    echo "power-cut-vm-test: power cut"
    echo b > /proc/sysrq-trigger
fi
echo "power-cut-vm-test: second boot, system clock $($bb date -u +%FT%TZ)"
/power_cut_vm_test replay /persist/dak-time/settings
echo "POWER-CUT-REPLAY=$?"
$bb umount /persist
$bb poweroff -f
EOF_INIT
chmod +x "$root/init"
(cd "$root" && find . | LC_ALL=C sort | cpio -o -H newc --quiet | gzip -1) >"$work/initrd.gz"
mke2fs -q -t ext4 -O ^metadata_csum,^64bit -F "$work/disk.img" 16M

# ---- boot, reset, boot again -----------------------------------------------------------
echo "$vm_name: booting $(basename "$kernel") with a $(du -k "$work/initrd.gz" | cut -f1) KiB initramfs"
log="$work/console.log"
started=$SECONDS
set +e
# Without -no-reboot: the guest's reset restarts the same machine, PL031 and
# disk included.
timeout --kill-after=10 "$timeout_s" qemu-system-arm -M virt -accel tcg -m 256 -smp 1 \
    -nographic -nodefaults -serial stdio -monitor none \
    -drive if=none,file="$work/disk.img",format=raw,id=persist \
    -device virtio-blk-device,drive=persist \
    -kernel "$kernel" -initrd "$work/initrd.gz" \
    -append "console=ttyAMA0 panic=-1 quiet loglevel=3" </dev/null >"$log" 2>&1
qemu_status=$?
set -e
vm_console "$log"
echo "$vm_name: the VM ran for $((SECONDS - started)) s (qemu status $qemu_status)"
vm_result "$log" "$timeout_s" "$qemu_status" POWER-CUT-SET || exit 1
vm_result "$log" "$timeout_s" "$qemu_status" POWER-CUT-REPLAY || exit 1
echo "$vm_name: PASSED"
