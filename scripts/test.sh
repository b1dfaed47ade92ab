#!/usr/bin/env bash
# Builds everything and runs the whole test suite on this machine; installs what is missing.
# Words given to it go to ctest: scripts/test.sh -R list
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_test[@]}"
build dev
ctest --preset dev -j "$jobs" "$@"
