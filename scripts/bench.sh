#!/usr/bin/env bash
# Builds the benchmarks and prints each figure beside its peer: the median, least and greatest
# ratio of several turns, then how many goals are met, missed and too noisy to tell; the exit status
# is 1 when one is missed. With words, only the rows of bench/ratios.txt whose program's name holds
# one of them: scripts/bench.sh locks
# BENCH_QUICK=1 runs shorter, for a first look. docs/performance.md tells what the figures mean.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_build[@]}" libbenchmark-dev libspdlog-dev libfmt-dev libabsl-dev netcat-openbsd \
    python3 pkg-config
build bench
exec python3 bench/ratios.py build/bench/bench bench/ratios.txt "$@"
