#!/bin/sh
# Fails when a test's name depends on the build: GoogleTest names a
# parameterised test after its parameter, and a parameter without PrintTo
# prints as raw bytes ("N-byte object <...>"), pointers included, so the
# name would differ from one build or run to the next.
set -eu
build_dir="$1"
names=$(cd "$build_dir" && "${CTEST:-ctest}" -N)
# Only the printed parameter is looked at: a test may well name 0xFFFFFFFF.
unstable=$(printf '%s\n' "$names" | grep -E 'GetParam\(\) = .*(byte object <|0x[0-9a-fA-F]{6,})' || true)
if [ -n "$unstable" ]; then
  echo "test names that carry raw bytes (give the parameter a PrintTo):"
  echo "$unstable"
  exit 1
fi
echo "test names ok ($(printf '%s\n' "$names" | grep -c 'Test *#') tests)"
