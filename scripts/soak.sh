#!/usr/bin/env bash
# The long runs, whose figures docs/reliability.md keeps. Without a word all parts, with words only
# those:
#   badline     console and simulator over a bad line, and how soon either notices a vanished peer
#   faults      the programs while each call of the system fails, falls short or is interrupted
#   load        a million small frames and 10 GB of large ones into a recording console, and a
#               thousand consoles on one simulator; two hundred on one of the 32-bit machine
#   reconnects  the console's core through 10,000 sessions and a day, with scaled pauses
#   valgrind    the programs through a session under valgrind
#   fuzz        each fuzz target for FUZZ_RUNS executions (10,000,000, as far as the time goes), and
#               the lines of the readers that all inputs reach
#   locks       random rings of locks, ten minutes on each machine
# SOAK_MINUTES bounds the whole (120); what doesn't fit any more is told, and is a failure.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

limit=$((${SOAK_MINUTES:-120} * 60))

soak_badline() {
    need "${packages_build[@]}" iproute2 python3
    build release zor_console zor_sim badline
    bounded python3 scripts/try_badline.py build/release
}

soak_faults() {
    need "${packages_build[@]}" python3
    build dev zor_console zor_sim zor_faults
    bounded scripts/try_faults.py build/dev
}

soak_load() {
    need "${packages_build[@]}" python3
    build release zor_console zor_sim
    bounded scripts/try_load.py flood build/release --small 1000000 --large 10000
    bounded scripts/try_load.py crowd build/release --consoles 1000
    need g++-powerpc-linux-gnu qemu-user
    build powerpc zor_sim
    bounded scripts/try_load.py crowd build/powerpc --consoles 200 --each 400 \
        --under "qemu-ppc -L /usr/powerpc-linux-gnu"
}

soak_reconnects() {
    need "${packages_build[@]}"
    build release reconnects
    bounded build/release/reconnects 10000 720
}

soak_valgrind() {
    bounded scripts/try_valgrind.sh
}

# The targets share what is left of the time evenly.
soak_fuzz() {
    local targets=(fuzz/fuzz_*.cpp)
    FUZZ_RUNS=${FUZZ_RUNS:-10000000} FUZZ_SECONDS=$(((limit - SECONDS) / (${#targets[@]} + 1))) \
        scripts/check.sh fuzz
    scripts/fuzz_coverage.sh build/corpus
}

soak_locks() {
    need "${packages_build[@]}" g++-powerpc-linux-gnu qemu-user
    build dev lockstress
    build powerpc lockstress
    bounded build/dev/lockstress 600
    bounded qemu-ppc -L /usr/powerpc-linux-gnu build/powerpc/lockstress 600
}

# bounded COMMAND...: runs it for what is left of the time.
bounded() { timeout --foreground $((limit - SECONDS)) "$@"; }

[ $# -gt 0 ] || set -- badline faults load locks reconnects valgrind fuzz
for part in "$@"; do
    declare -F "soak_$part" >/dev/null || { echo "no such part: $part (see the head of $0)" >&2; exit 2; }
done
for part in "$@"; do
    if [ "$SECONDS" -ge "$limit" ]; then
        echo "no time left for: $part" >&2
        exit 1
    fi
    echo "== soak $part"
    started=$SECONDS
    "soak_$part"
    echo "== soak $part: passed after $((SECONDS - started)) s"
done
