#!/usr/bin/env bash
# A power cut on a real kernel. Boots Debian's ARM kernel (armmp) on QEMU's
# virt board under software emulation (no KVM), with the PL031 as /dev/rtc0
# and an ext4 disk for the settings, and runs the daemon dak-timed for real
# (not in dry run: the machine's clock is the guest's, set with
# clock_settime), fed over UDP multicast on the guest's loopback:
#
#   first boot   dak-timed starts; the test's sender sends it the 2038
#                capture (scenarios/broadcast-2038.ts, past 2038-01-19 on a
#                32-bit machine); the status shows the stream as the
#                clock's source and the machine's clock at the capture's
#                time; the PL031 and the settings file follow; then the
#                machine is reset at once, the daemon still running and with
#                no sync (sysrq b), as a power cut would; QEMU keeps the
#                PL031 running
#   second boot  the settings file is whole (the status of the daemon not
#                running); the machine's clock is moved away (to 2030) so
#                that only the daemon can bring it back; dak-timed starts:
#                a boot of the box whose hardware clock is valid, start-up
#                replays the PL031 as the stored reason (stream) allows
#                (signal 108, the clock back at the capture's time); SIGTERM
#                stops it with exit status 0
#
# The DVB demux path is not run here: the armmp kernel has dvb-core but no
# virtual DVB adapter (its configuration leaves CONFIG_DVB_TEST_DRIVERS,
# and so vidtv, unset), so there is no demux in the machine to read. The
# demux code is tested against a fake descriptor (tools/dak-input/test/).
#
#   tests/vm/run-power-cut-vm-test.sh LINUX_ARMHF_BUILD_DIR
#
# LINUX_ARMHF_BUILD_DIR is a build of the preset linux-armhf in which
# dak-timed and power_cut_udp_send have been built. The kernel (with the
# modules of virtio and ext4) and busybox are fetched once as
# tests/vm/vm-common.sh says.
#
# Output: the guest's PASS/FAIL line per check, then
# "power_cut_vm_test: N passed, N failed". Exit status: 0 when every check
# passed, or when qemu-system-arm is missing (the test is then skipped with
# a message); 1 otherwise.
set -euo pipefail

if [[ $# -ne 1 ]]; then
    echo "usage: $0 LINUX_ARMHF_BUILD_DIR" >&2
    exit 2
fi
build_dir="$(cd "$1" && pwd)"
cache_dir="${DAK_VM_CACHE:-$build_dir/vm-cache}"
timeout_s="${DAK_VM_TIMEOUT:-300}"
vm_name=power-cut-vm-test
# shellcheck source=tests/vm/vm-common.sh
source "$(dirname "${BASH_SOURCE[0]}")/vm-common.sh"

vm_check_tools mke2fs
daemon_binary="$build_dir/tools/dak-timed/dak-timed"
send_binary="$build_dir/tests/vm/power_cut_udp_send"
vm_check_program "$daemon_binary"
vm_check_program "$send_binary"
capture="$(dirname "${BASH_SOURCE[0]}")/../../scenarios/broadcast-2038.ts"

# ---- kernel, its disk and file system modules, busybox ---------------------------
modules=(drivers/virtio/virtio_mmio drivers/block/virtio_blk lib/crc16 crypto/crc32c_generic fs/mbcache fs/jbd2/jbd2
         fs/ext4/ext4)
members=()
for module in "${modules[@]}"; do
    members+=("./lib/modules/*/kernel/$module.ko")
done
vm_fetch "${members[@]}"

# ---- initramfs: busybox, the modules, the daemon, the sender, their libraries ---------
work="$(mktemp -d "${TMPDIR:-/tmp}/power-cut-vm.XXXXXX")"
trap 'rm -rf "$work"' EXIT
root="$work/root"
mkdir -p "$root"/{bin,dev,proc,sys,lib/modules,tmp,run,persist}
cp "$busybox" "$root/bin/busybox"
for module in "${modules[@]}"; do
    cp "$(find "$kernel_dir/lib/modules" -path "*/kernel/$module.ko" | head -n 1)" "$root/lib/modules/"
done
vm_install_program "$daemon_binary" "$root" dak-timed
vm_install_program "$send_binary" "$root" udp-send
cp "$capture" "$root/capture.ts"
cat >"$root/dak-timed.conf" <<'EOF_CONF'
# The daemon of run-power-cut-vm-test.sh: the machine's own clocks.
region = DVB
rtc = /dev/rtc0
settings = /persist/dak-time/settings
runtime = /run/dak-time
log-target = stderr
input = udp://239.255.0.1:5004?interface=lo handle=1/0 country=DEU
EOF_CONF

# The capture's last TDT; the PL031 counts on from it while the test runs.
cat >"$root/init" <<EOF_INIT
#!/bin/busybox sh
stream_text=2038-04-23T00:00:10Z
stream_time=2155593610
stream_hour=2038-04-23T00:
EOF_INIT
cat >>"$root/init" <<'EOF_INIT'
bb=/bin/busybox
conf=/dak-timed.conf
log=/tmp/daemon.log
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
/udp-send up || echo "power-cut-vm-test: the loopback stays down"

failed=0
check() {  # check WHAT COMMAND...: one PASS or FAIL line
    what=$1
    shift
    if "$@"; then
        echo "PASS: $what"
    else
        echo "FAIL: $what"
        failed=$((failed + 1))
    fi
}
# Waits (every 0.2 s, at most 60 s) until COMMAND holds or the daemon is gone.
wait_until() {
    for i in $($bb seq 300); do
        "$@" && return 0
        [ -n "$pid" ] && ! $bb kill -0 "$pid" 2>/dev/null && return 1
        $bb sleep 0.2
    done
    "$@"
}
status_has() {  # status_has TEXT: TEXT in a fresh `dak-timed status`
    /dak-timed -c $conf status >/tmp/status 2>&1
    $bb grep -qF -- "$1" /tmp/status
}
log_has() { $bb grep -qF -- "$1" $log; }
# The PL031 as the kernel reads it: at the capture's time, or at most five
# minutes (a slow emulated boot) past it.
pl031_follows() {
    pl031=$($bb cat /sys/class/rtc/rtc0/since_epoch)
    [ "$pl031" -ge $stream_time ] && [ "$pl031" -le $((stream_time + 300)) ]
}
settings_file_has() { $bb grep -qx -- "$1" /persist/dak-time/settings 2>/dev/null; }
not_dry_run() { status_has "daemon: running" && ! $bb grep -qF "dry run" /tmp/status; }
settings_whole() { status_has "because: Reason_stream" && ! $bb grep -qF "settings: " /tmp/status; }
start_daemon() {
    /dak-timed -c $conf --foreground 2>>$log &
    pid=$!
}
show() {  # the daemon's log and last status, for a reader of the console
    $bb sed 's/^/    log: /' $log
    $bb sed 's/^/    status: /' /tmp/status
    echo "    PL031: $($bb cat /sys/class/rtc/rtc0/since_epoch)"
    $bb sed 's/^/    settings file: /' /persist/dak-time/settings
}

if [ ! -e /persist/first-boot-done ]; then
    echo "power-cut-vm-test: first boot, kernel $($bb uname -r), RTC $($bb cat /sys/class/rtc/rtc0/name)"
    echo > /persist/first-boot-done
    $bb sync
    start_daemon
    check "the daemon joins the group on the loopback" wait_until log_has "joined 239.255.0.1:5004"
    /udp-send /capture.ts 239.255.0.1:5004
    check "the capture's last TDT is taken" wait_until status_has "last TDT $stream_text $stream_time accepted"
    check "the clock follows the stream" wait_until status_has "follows: the broadcast stream (AutoType_stream)"
    check "the stored reason is stream" wait_until status_has "because: Reason_stream"
    # Not in dry run, the daemon's clock is the machine's (a 32-bit busybox
    # cannot read a clock past 2038 itself).
    check "the daemon sets the machine's clock, not a dry run" not_dry_run
    check "the machine's clock is at the capture's time" wait_until status_has "clock: $stream_hour"
    check "the daemon's hardware clock reads the capture's time" status_has "hardware clock: $stream_hour"
    check "the PL031 follows the stream" wait_until pl031_follows
    check "the settings file holds the stream reason" wait_until settings_file_has "reason 3"
    check "signal 108 is sent" log_has "signal 108 SIGNAL_SYSTEM_TIME_UPDATED"
    show
    echo "POWER-CUT-SET=$failed"
    echo "power-cut-vm-test: power cut, the daemon running"
    echo b > /proc/sysrq-trigger
fi
echo "power-cut-vm-test: second boot, PL031 $($bb cat /sys/class/rtc/rtc0/since_epoch)"
pid=
: >$log
status=0
/dak-timed -c $conf status >/tmp/status 2>&1 || status=$?
check "the status of the daemon not running says so (exit $status)" test $status -eq 3
check "after the power cut the settings file is whole, reason stream" settings_whole
check "the PL031 kept running: $($bb cat /sys/class/rtc/rtc0/since_epoch)" pl031_follows
# The kernel itself set the clock from the PL031 at boot: moved away, only
# the daemon's replay brings it back.
$bb date -u -s "2030-01-01 00:00:00" >/dev/null || echo "power-cut-vm-test: the clock not moved to 2030"
start_daemon
check "a boot of the box whose hardware clock is valid" \
    wait_until log_has "power: a boot of the box, hardware clock valid"
check "start-up replays the hardware clock (signal 108 sent)" \
    wait_until log_has "signal 108 SIGNAL_SYSTEM_TIME_UPDATED"
check "the machine's clock holds the replayed time" wait_until status_has "clock: $stream_hour"
check "the stored reason stays stream" status_has "because: Reason_stream"
check "the replay makes the stream the clock's source again" \
    status_has "follows: the broadcast stream (AutoType_stream)"
$bb kill -TERM $pid
status=0
wait $pid || status=$?
check "SIGTERM stops the daemon with exit status 0 (got $status)" test $status -eq 0
check "the daemon says it stopped" log_has "dak-timed: stopped"
check "the manager's exit stores no automatic source" settings_file_has "auto-clock-type 2"
show
echo "POWER-CUT-REPLAY=$failed"
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
passed=$(tr -d '\r' <"$log" | grep -c '^PASS: ' || true)
failed=$(tr -d '\r' <"$log" | grep -c '^FAIL: ' || true)
echo "power_cut_vm_test: $passed passed, $failed failed"
echo "$vm_name: the VM ran for $((SECONDS - started)) s (qemu status $qemu_status)"
vm_result "$log" "$timeout_s" "$qemu_status" POWER-CUT-SET || exit 1
vm_result "$log" "$timeout_s" "$qemu_status" POWER-CUT-REPLAY || exit 1
echo "$vm_name: PASSED"
