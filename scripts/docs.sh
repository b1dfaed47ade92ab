#!/usr/bin/env bash
# Builds the API reference from the public headers into build/docs/html; a warning is an error.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need doxygen
mkdir -p build/docs
log=build/docs/doxygen.log
if ! doxygen docs/Doxyfile >"$log" 2>&1; then
    grep -iE 'warning|error' "$log" | head -n 40 >&2
    exit 1
fi
echo "the API reference: build/docs/html/index.html"
