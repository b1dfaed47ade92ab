#!/usr/bin/env bash
# What must be true before a merge. Without a word it runs every step; with words, only those:
#   format      every source stands as clang-format leaves it
#   asan        clang++ without warnings, tests under AddressSanitizer and UBSan
#   fuzz        each fuzz target over its seeds and a fixed number of runs (builds with asan)
#   tsan        g++ without warnings, tests under ThreadSanitizer
#   powerpc     the same tests on 32-bit big-endian PowerPC, under emulation
#   tidy        clang-tidy without a finding in the product
#   consumer    a small program builds and runs against the installed package
#   wireshark   the dissector shows the fields of hand-made captures
#   badline     console and simulator over a line that loses, delays, repeats and cuts
#   recipes     what docs/recipes.md tells works
#   docs        the API reference builds without a warning
set -euo pipefail
. "$(dirname "$0")/lib.sh"

fuzz_runs=${FUZZ_RUNS:-20000}

sources() { find . -name build -prune -o \( -name '*.cpp' -o -name '*.h' \) -printf '%P\n'; }

check_format() {
    need clang-format
    sources | xargs clang-format --dry-run --Werror
}

check_asan() {
    need "${packages_test[@]}" clang libclang-rt-14-dev
    build asan
    ctest --preset asan -j "$jobs"
}

check_fuzz() {
    need "${packages_test[@]}" clang libclang-rt-14-dev
    build asan
    local target name
    for target in build/asan/fuzz/fuzz_*; do
        [ -x "$target" ] && [ ! -d "$target" ] || continue
        name=${target##*/fuzz_}
        mkdir -p "build/corpus/$name"
        echo "fuzz $name: $fuzz_runs runs"
        "$target" -runs="$fuzz_runs" -max_total_time=60 -close_fd_mask=1 -verbosity=0 \
            -artifact_prefix="build/corpus/crash-$name-" "build/corpus/$name" "fuzz/corpus/$name" \
            2>"build/corpus/$name.log" || { tail -n 40 "build/corpus/$name.log"; return 1; }
    done
}

check_tsan() {
    need "${packages_test[@]}"
    build tsan
    ctest --preset tsan -j "$jobs"
}

check_powerpc() {
    need "${packages_test[@]}" g++-powerpc-linux-gnu qemu-user
    build powerpc
    ctest --preset powerpc -j "$jobs"
}

check_tidy() {
    need "${packages_test[@]}" clang-tidy clang
    cmake --preset clang >build/clang.log
    sources | grep '\.cpp$' | grep -v -e '^fuzz/' -e '^bench/' -e '^examples/' -e '^tests/' |
        xargs -P "$jobs" -n 4 clang-tidy --quiet -p build/clang 2>build/tidy.log
}

check_consumer() {
    need "${packages_build[@]}" pkg-config
    scripts/try_package.sh
}

check_wireshark() {
    need tshark python3
    python3 tools/wireshark/try_dissector.py
}

check_badline() {
    need "${packages_build[@]}" iproute2 python3
    build release zor_console zor_sim badline
    python3 scripts/try_badline.py build/release --short
}

check_recipes() {
    scripts/try_recipes.sh
    scripts/try_zor.sh
}

check_docs() {
    scripts/docs.sh
}

[ $# -gt 0 ] || set -- format asan fuzz tsan powerpc tidy consumer wireshark badline recipes docs
for step in "$@"; do
    declare -F "check_$step" >/dev/null || { echo "no such step: $step (see the head of $0)" >&2; exit 2; }
done
for step in "$@"; do
    echo "== check $step"
    started=$SECONDS
    "check_$step"
    echo "== check $step: passed after $((SECONDS - started)) s"
done
