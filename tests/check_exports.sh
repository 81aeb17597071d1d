#!/bin/sh
# Fails when the library defines a dynamic symbol outside its interfaces.
set -eu
library="$1"
nm_tool="${NM:-nm}"
unexpected=$("$nm_tool" -D --defined-only -C "$library" | awk '{ $1 = ""; $2 = ""; sub(/^  /, ""); print }' |
  grep -Ev '^(TISystemTimeManager::|TIStreamClock::(Init|Instance|Exit|~TIStreamClock)\(|TITimeProductHelper::~TITimeProductHelper\(|TCObjectFactory(KR|USA|DVB|BRZ|JPN)::GetTimeProductHelper\(\)$|(typeinfo|typeinfo name|vtable) for (TISystemTimeManager|TIStreamClock|TITimeProductHelper)$|LIBDAK|_init$|_fini$)' || true)
if [ -n "$unexpected" ]; then
  echo "unexpected exported symbols:"
  echo "$unexpected"
  exit 1
fi
count=$("$nm_tool" -D --defined-only "$library" | wc -l)
echo "exports ok ($count symbols)"
