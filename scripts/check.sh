#!/usr/bin/env bash
# What must be true before a merge. Without a word it runs every step; with words, only those.
# Words behind two dashes narrow the steps that run tests (asan, tsan, powerpc) to the tests whose
# names hold one of them, and tidy to the sources that do: check.sh asan tidy -- l_univ list
#   format      every source stands as clang-format leaves it
#   asan        clang++ without warnings, tests under AddressSanitizer and UBSan
#   fuzz        each fuzz target over its seeds and a fixed number of runs (builds with asan)
#   tsan        g++ without warnings, tests under ThreadSanitizer
#   powerpc     the same tests on 32-bit big-endian PowerPC, under emulation
#   tidy        clang-tidy without a finding in the product
#   static      cppcheck and the analyzer of clang++ without a finding in the product
#   valgrind    the programs through a session under valgrind, without a finding
#   consumer    the examples build and run against the installed tree and the unpacked packages, and
#               lintian has nothing to say of these
#   wireshark   the dissector shows the fields of hand-made captures
#   badline     console and simulator over a line that loses, delays, repeats and cuts
#   faults      the programs while calls of the system fail, fall short or are interrupted, and under
#               load, with and without sanitizers
#   locks       random rings of locks for some seconds: each is told, and nothing else
#   recipes     what docs/recipes.md tells works, and every option of tools/zor
#   docs        the API reference builds without a warning, and each declaration has a text
#   shell       shellcheck without a finding in the scripts, the tools and the completions
set -euo pipefail
. "$(dirname "$0")/lib.sh"

fuzz_runs=${FUZZ_RUNS:-20000} # of each target, within so many seconds
fuzz_seconds=${FUZZ_SECONDS:-10}

sources() { find . -name build -prune -o \( -name '*.cpp' -o -name '*.h' \) -printf '%P\n'; }

check_format() {
    need clang-format
    sources | xargs clang-format --dry-run --Werror
}

check_asan() {
    need "${packages_test[@]}" clang libclang-rt-14-dev
    run_tests asan "${filters[@]}"
}

check_fuzz() {
    need "${packages_test[@]}" clang libclang-rt-14-dev
    build asan
    local target name
    for target in build/asan/fuzz/fuzz_*; do
        if [ -d "$target" ] || [ ! -x "$target" ]; then continue; fi
        name=${target##*/fuzz_}
        mkdir -p "build/corpus/$name"
        "$target" -seed=1 -runs="$fuzz_runs" -max_total_time="$fuzz_seconds" \
            -close_fd_mask=1 -verbosity=0 -print_final_stats=1 \
            -artifact_prefix="build/corpus/crash-$name-" "build/corpus/$name" "fuzz/corpus/$name" \
            2>"build/corpus/$name.log" || { tail -n 40 "build/corpus/$name.log"; return 1; }
        echo "fuzz $name: $(sed -n 's/.*executed_units: *//p' "build/corpus/$name.log") executions"
    done
}

check_tsan() {
    need "${packages_test[@]}"
    run_tests tsan "${filters[@]}"
}

check_powerpc() {
    need "${packages_test[@]}" g++-powerpc-linux-gnu qemu-user
    run_tests powerpc "${filters[@]}"
}

check_tidy() {
    local words
    words=$(IFS='|'; echo "${filters[*]:-.}")
    need "${packages_test[@]}" clang-tidy clang
    cmake --preset clang >build/clang.log
    product | grep -E "$words" |
        xargs -P "$jobs" -n 4 clang-tidy --quiet -p build/clang 2>build/tidy.log
}

# The product's sources and those of its tools; what reads g++'s own counters is for g++ alone.
product() {
    sources | grep '\.cpp$' | grep -v -e '^fuzz/' -e '^bench/' -e '^examples/' -e '^tests/' \
        -e '^tools/coverage/'
}

# A finding that isn't one has its reason beside the line, and where clang-tidy has told it too, is
# off here: it follows the same paths, and its NOLINT says why.
check_static() {
    need "${packages_build[@]}" cppcheck clang
    product | xargs cppcheck --quiet --std=c++20 --language=c++ -I . -j "$jobs" --inline-suppr \
        --enable=warning,performance,portability --error-exitcode=1
    product | xargs -P "$jobs" -n 4 clang++ --analyze --analyzer-output text -std=c++20 -I . \
        -D_FILE_OFFSET_BITS=64 -DZOR_VERSION='""' -Xanalyzer -analyzer-werror \
        -Xanalyzer -analyzer-disable-checker=cplusplus.NewDelete,unix.Malloc,valist.Uninitialized
}

check_valgrind() {
    scripts/try_valgrind.sh
}

check_consumer() {
    need "${packages_build[@]}" pkg-config
    scripts/try_package.sh
}

check_wireshark() {
    need tshark python3 dpkg-dev
    # The package puts the dissector where tshark looks for it.
    grep -q "^Global Lua Plugins:.*/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)/wireshark/plugins$" \
        <<<"$(tshark -G folders 2>/dev/null)"
    python3 tools/wireshark/try_dissector.py
}

check_badline() {
    need "${packages_build[@]}" iproute2 python3
    build release zor_console zor_sim badline
    python3 scripts/try_badline.py build/release --short
}

check_faults() {
    need "${packages_build[@]}" python3
    build dev zor_console zor_sim zor_faults
    scripts/try_faults.py build/dev --short
    scripts/try_load.py crowd build/dev --consoles 300
    scripts/try_load.py flood build/dev --small 100000 --large 200
    local preset
    for preset in asan tsan; do
        build "$preset" zor_console zor_sim
        scripts/try_load.py crowd "build/$preset" --consoles 100 --any-size
        scripts/try_load.py flood "build/$preset" --small 20000 --large 20 --any-size
    done
}

check_locks() {
    need "${packages_build[@]}"
    local preset
    for preset in dev tsan; do
        build "$preset" lockstress
        "build/$preset/lockstress" 4
    done
}

check_recipes() {
    scripts/try_recipes.sh
    scripts/try_zor.sh
}

check_docs() {
    scripts/docs.sh
}

check_shell() {
    need shellcheck
    shellcheck -x -P SCRIPTDIR scripts/*.sh tools/zor .ci/run
    shellcheck -s bash tools/completions/*
}

steps=() filters=()
while [ $# -gt 0 ] && [ "$1" != -- ]; do
    steps+=("$1")
    shift
done
if [ $# -gt 1 ]; then
    shift
    filters=("$@")
    [ ${#steps[@]} -gt 0 ] || { echo "which steps? (see the head of $0)" >&2; exit 2; }
fi
[ ${#steps[@]} -gt 0 ] ||
    steps=(format shell static asan fuzz tsan powerpc tidy valgrind consumer wireshark badline faults
           locks recipes docs)
for step in "${steps[@]}"; do
    if [ ${#filters[@]} -gt 0 ] && [[ ! $step =~ ^(asan|tsan|powerpc|tidy)$ ]]; then
        echo "step $step takes no filter" >&2
        exit 2
    fi
    declare -F "check_$step" >/dev/null || { echo "no such step: $step (see the head of $0)" >&2; exit 2; }
done
for step in "${steps[@]}"; do
    echo "== check $step"
    started=$SECONDS
    "check_$step"
    echo "== check $step: passed after $((SECONDS - started)) s"
done
