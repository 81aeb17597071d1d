#!/usr/bin/env bash
# Builds the Debian packages from a copy of the tree (dpkg-buildpackage
# writes its results beside the source folder, so the copy keeps them inside
# the work folder) and checks them with lintian, which must report no error.
#
#   ci/check-deb.sh native    dpkg-buildpackage -b -us -uc, tests run
#   ci/check-deb.sh cross     dpkg-buildpackage -aarmhf -Pcross,nocheck
#
# Environment: DAK_BUILD_DIR (work folder, default build-deb-<kind>), DAK_JOBS.
set -euo pipefail
# shellcheck source=ci/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

kind="${1:-native}"
case "$kind" in
    native) groups=(host deb); build_args=(-b -us -uc) ;;
    cross) groups=(deb cross deb-cross); build_args=(-b -us -uc -aarmhf -Pcross,nocheck) ;;
    *) echo "check-deb: unknown kind '$kind' (native cross)" >&2; exit 2 ;;
esac
work="${DAK_BUILD_DIR:-$DAK_ROOT/build-deb-$kind}"
"$DAK_ROOT/ci/setup.sh" "${groups[@]}"

rm -rf "$work"
mkdir -p "$work/src"
# The tracked and new files of the tree, without build folders.
(cd "$DAK_ROOT" && git ls-files -z --cached --others --exclude-standard) |
    (cd "$DAK_ROOT" && tar --null -T - -cf -) | tar -xf - -C "$work/src"

options="parallel=$DAK_JOBS"
if [[ $kind == cross ]]; then
    options="$options nocheck"
fi
if [[ $kind == cross ]] &&
    ! (cd "$work/src" && dpkg-checkbuilddeps -aarmhf -Pcross,nocheck); then
    # See ci/setup.sh, group deb-cross: the cross compilers and the armhf
    # runtimes stand in for the armhf build dependencies it could not install.
    echo "check-deb: armhf build dependencies missing (above); building with the cross" \
        "compilers and the architecture-independent Boost headers (-d)"
    build_args+=(-d)
fi
echo "== check-deb ($kind): dpkg-buildpackage ${build_args[*]}"
(cd "$work/src" && DEB_BUILD_OPTIONS="$options" dpkg-buildpackage "${build_args[@]}")

echo "== check-deb ($kind): the packages"
for deb in "$work"/*.deb; do
    echo "-- $(basename "$deb")"
    dpkg-deb --contents "$deb" | awk '{ print "   " $6 ($7 ? " " $7 " " $8 : "") }'
done
echo "== check-deb ($kind): no shared object of the packages replaces a C library function"
unpacked="$work/unpacked"
mkdir -p "$unpacked"
for deb in "$work"/libdak-time1_*.deb "$work"/libdak-host-platform1_*.deb; do
    dpkg-deb -x "$deb" "$unpacked"
done
nm_tool=nm
if [[ $kind == cross ]]; then
    nm_tool=arm-linux-gnueabihf-nm
fi
NM="$nm_tool" "$DAK_ROOT/tests/check_libc_symbols.sh" none "$unpacked"/usr/lib/*/lib*.so.1
echo "== check-deb ($kind): lintian"
lintian --fail-on error --tag-display-limit 0 "$work"/*.changes
echo "check-deb: $kind ok"
