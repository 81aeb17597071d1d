#!/usr/bin/env bash
# Builds the documentation of a host build: the API reference (Doxygen, any
# warning fails) and the simulator's manual page (help2man).
#
#   ci/docs.sh                    in ./build (or $DAK_BUILD_DIR)
#
# The HTML lands in BUILD/docs/api/html, the page in BUILD/docs/dak-time-sim.1.
set -euo pipefail
# shellcheck source=ci/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

build_dir="${DAK_BUILD_DIR:-$DAK_ROOT/build}"
"$DAK_ROOT/ci/setup.sh" host docs

echo "== docs.sh: API reference and manual page in $build_dir"
# Configured anew, so that a build folder made before help2man and Doxygen
# were installed finds them now; an existing folder keeps its other settings.
dak_preset_configure dev "$build_dir" -DDAK_BUILD_MANPAGE=ON
dak_build "$build_dir" docs man
echo "docs.sh: $build_dir/docs/api/html/index.html"
echo "docs.sh: $build_dir/docs/dak-time-sim.1"
