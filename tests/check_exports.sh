#!/bin/sh
# Fails when the library defines a dynamic symbol outside its interfaces, as
# the version script src/libdak-time.map lists them.
#
#   check_exports.sh LIBRARY [MAP]        NM names the nm to use
set -eu
here=$(cd "$(dirname "$0")" && pwd)
library="$1"
map="${2:-$here/../src/libdak-time.map}"
nm_tool="${NM:-nm}"
# shellcheck source=tests/interface_patterns.sh
. "$here/interface_patterns.sh"
patterns=$(mktemp)
trap 'rm -f "$patterns"' EXIT
dak_interface_patterns "$map" >"$patterns"
[ -s "$patterns" ] || { echo "no exported names in $map"; exit 1; }
names=$("$nm_tool" -D --defined-only -C "$library" | awk '{ $1 = ""; $2 = ""; sub(/^  /, ""); print }' |
  grep -Ev '^(LIBDAK.*|_init|_fini)$' || true)
unexpected=$(printf '%s\n' "$names" | grep -Ev -f "$patterns" || true)
if [ -n "$unexpected" ]; then
  echo "unexpected exported symbols (not in $map):"
  echo "$unexpected"
  exit 1
fi
echo "exports ok ($(printf '%s\n' "$names" | grep -c .) symbols)"
