#!/usr/bin/env bash
# Builds the API reference from the installed headers into build/docs/html. A warning is an error, and
# so is a public declaration without a text.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need doxygen python3
rm -rf build/docs
mkdir -p build/docs
scripts/doxygen_input.py --start norba/*.h util/*.h serv_cli/*.h >build/docs/start.md
log=build/docs/doxygen.log
if ! doxygen docs/Doxyfile >"$log" 2>&1; then
    grep -iE 'warning|error' "$log" | head -n 40 >&2
    exit 1
fi
echo "the API reference: build/docs/html/index.html"
