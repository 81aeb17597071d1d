#!/bin/sh
# The exported interface is listed once, in the version script
# src/libdak-time.map; the Debian symbols file and the ABI baseline must
# name the same symbols, and the built library must export exactly them.
#
#   check_interface.sh MAP SYMBOLS ABI [LIBRARY]     NM names the nm to use
set -eu
here=$(cd "$(dirname "$0")" && pwd)
map="$1" symbols="$2" abi="$3" library="${4:-}"
nm_tool="${NM:-nm}"
# shellcheck source=tests/interface_patterns.sh
. "$here/interface_patterns.sh"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
dak_interface_patterns "$map" >"$work/patterns"

# Demangled names, one a line, sorted and unique.
sed -n 's/^ *(c++)"\(.*\)@Base" .*$/\1/p' "$symbols" | sort -u >"$work/symbols"
sed -n "s/^ *<elf-symbol name='\([^']*\)'.*is-defined='yes'.*$/\1/p" "$abi" | c++filt | sort -u >"$work/abi"
status=0
for list in symbols abi; do
  outside=$(grep -Ev -f "$work/patterns" "$work/$list" || true)
  if [ -n "$outside" ]; then
    echo "$list names symbols the version script does not export:"
    echo "$outside"
    status=1
  fi
done
# Every pattern of the map stands for something the package promises.
while IFS= read -r pattern; do
  if ! grep -Eq -- "$pattern" "$work/symbols"; then
    echo "the symbols file has nothing for the version script's $pattern"
    status=1
  fi
done <"$work/patterns"
if ! diff -u "$work/symbols" "$work/abi" >"$work/diff"; then
  echo "the symbols file and the ABI baseline differ (- symbols file, + baseline):"
  cat "$work/diff"
  status=1
fi
if [ -n "$library" ]; then
  "$nm_tool" -D --defined-only -C "$library" | awk '{ $1 = ""; $2 = ""; sub(/^  /, ""); print }' |
    grep -Ev '^(LIBDAK.*|_init|_fini)$' | sort -u >"$work/library"
  if ! diff -u "$work/symbols" "$work/library" >"$work/diff"; then
    echo "the symbols file and the library's exports differ (- symbols file, + library):"
    cat "$work/diff"
    status=1
  fi
fi
[ "$status" -eq 0 ] && echo "interface ok ($(wc -l <"$work/symbols") names in the map, symbols file, baseline${library:+ and library})"
exit "$status"
