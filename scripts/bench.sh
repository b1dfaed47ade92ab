#!/usr/bin/env bash
# Builds the benchmarks and prints each figure beside its peer, as a ratio of one run. With words,
# only the rows of bench/ratios.txt whose program's name holds one of them: scripts/bench.sh locks
# BENCH_QUICK=1 runs shorter, for a first look.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_build[@]}" libbenchmark-dev libspdlog-dev libfmt-dev libabsl-dev netcat-openbsd \
    python3 pkg-config
build bench
exec python3 bench/ratios.py build/bench/bench bench/ratios.txt "$@"
