#!/usr/bin/env bash
# Sets the machine up, builds the scenario simulator on the host platform and
# runs it: with no argument on its built-in default scenario, otherwise with
# the given arguments (scenario files, --quiet, --log-level N).
#
#   ci/run-sim.sh [dak-time-sim ARGS...]
#
# Environment: DAK_BUILD_DIR (build folder, default build), DAK_JOBS.
set -euo pipefail
# shellcheck source=ci/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

build_dir="${DAK_BUILD_DIR:-$DAK_ROOT/build}"
"$DAK_ROOT/ci/setup.sh" host >&2
dak_preset_configure dev "$build_dir" >&2
dak_build "$build_dir" dak-time-sim >&2
exec "$build_dir/tools/dak-time-sim" "$@"
