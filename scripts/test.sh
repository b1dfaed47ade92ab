#!/usr/bin/env bash
# Builds and runs the tests on this machine; installs what is missing.
#   scripts/test.sh             everything but the slow tests
#   scripts/test.sh --all       the slow ones too
#   scripts/test.sh list norba  only the tests whose names hold one of the words, and only they are
#                               built; slow ones count when a word names them
# Words from the first dash on go to ctest: scripts/test.sh list --repeat until-fail:20
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_test[@]}"
slow=(-LE slow)
if [ "${1:-}" = --all ]; then
    slow=()
    shift
fi
words=()
while [ $# -gt 0 ] && [ "${1#-}" = "$1" ]; do
    words+=("$1")
    shift
done

if [ ${#words[@]} -gt 0 ]; then
    run_tests dev "${words[@]}" -- "$@"
    exit
fi
build dev
ctest --preset dev -j "$jobs" "${slow[@]}" "$@"
if [ ${#slow[@]} -gt 0 ]; then
    left_out=$(ctest --preset dev -N -L slow | sed -n 's/^ *Test *#[0-9]*: //p' | paste -sd ' ')
    echo "left out: ${left_out:-nothing} (scripts/test.sh --all runs all)"
fi
