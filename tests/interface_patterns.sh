# Sourced: the library's exported interface, read from the one place that
# lists it, the linker's version script src/libdak-time.map. Prints one
# extended regular expression per exported name pattern (demangled C++).
# shellcheck shell=sh
dak_interface_patterns() {
  sed -n '/extern "C++"/,/};/p' "$1" | sed -n 's/^ *"\{0,1\}\([^";}]*\)"\{0,1\};.*$/\1/p' |
    sed 's/[.[\]()^$+|{}]/\\&/g; s/\*/.*/g; s/?/./g; s/^/^/; s/$/$/'
}
