#!/bin/sh
# The C library's symbols and the shared objects of this project.
#
#   check_libc_symbols.sh none FILE...   fails when any FILE defines one of
#       the C library's functions that the time service uses (so that every
#       program linking it would get our version instead of the C library's)
#   check_libc_symbols.sh calls FILE     fails unless FILE, a library built
#       for the set, calls the C library's own open, ioctl, close,
#       clock_gettime, gettimeofday and time (or their large-file and 64-bit
#       time variants)
#
# NM names the nm to use (a cross build's).
set -eu
nm_tool="${NM:-nm}"
mode="$1"
shift
libc='open open64 openat openat64 __open_2 __open64_2 ioctl __ioctl_time64 close read write clock_gettime __clock_gettime64 gettimeofday __gettimeofday64 time __time64'
case "$mode" in
  none)
    status=0
    for file in "$@"; do
      defined=$("$nm_tool" -D --defined-only "$file" | awk '{ print $NF }' | sed 's/@.*//')
      for name in $libc; do
        if printf '%s\n' "$defined" | grep -qx "$name"; then
          echo "$file defines the C library's $name"
          status=1
        fi
      done
    done
    [ "$status" -eq 0 ] && echo "no C library symbol defined ($# files)"
    exit "$status"
    ;;
  calls)
    undefined=$("$nm_tool" -D --undefined-only "$1" | awk '{ print $NF }' | sed 's/@.*//')
    status=0
    for names in 'open open64 __open_2 __open64_2' 'ioctl __ioctl_time64' close 'clock_gettime __clock_gettime64' \
                 'gettimeofday __gettimeofday64' 'time __time64'; do
      found=
      for name in $names; do
        printf '%s\n' "$undefined" | grep -qx "$name" && found=$name
      done
      if [ -z "$found" ]; then
        echo "$1 does not call the C library's $(echo "$names" | cut -d' ' -f1)"
        status=1
      else
        echo "calls $found"
      fi
    done
    exit "$status"
    ;;
  *) echo "check_libc_symbols.sh: none FILE... | calls FILE" >&2; exit 2 ;;
esac
