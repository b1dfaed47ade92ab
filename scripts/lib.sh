# shellcheck shell=bash
# What the scripts share: where the tree is, and how a missing package is got. Sourced, never run.

tree=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$tree" || exit 1

# Builds use every core unless JOBS says otherwise.
jobs=${JOBS:-$(nproc)}

# need PACKAGE...: makes sure that the named Debian packages are installed. Installs what is missing
# where it may (root, or sudo without a question), and otherwise says what to install and ends.
need() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed' ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! sudo -n true 2>/dev/null; then
            echo "please install: apt-get install ${missing[*]}" >&2
            exit 1
        fi
        as_root=(sudo -n)
    fi
    echo "installing ${missing[*]}"
    # Another installation may hold the package system for a while: wait for it, but not for ever.
    local log apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive
                   apt-get -q -o DPkg::Lock::Timeout=300)
    log=$(mktemp)
    if ! { "${apt[@]}" update && "${apt[@]}" install -y --no-install-recommends "${missing[@]}"; } \
            >"$log" 2>&1; then
        tail -n 20 "$log" >&2
        echo "could not install: ${missing[*]}" >&2
        exit 1
    fi
    rm -f "$log"
}

# build PRESET [TARGET...]: configures and builds one preset, quietly unless it fails.
build() {
    local preset=$1 log
    shift
    log=build/$preset.log
    mkdir -p build
    if ! { cmake --preset "$preset" &&
           cmake --build --preset "$preset" -j "$jobs" ${@:+--target "$@"}; } >"$log" 2>&1; then
        tail -n 60 "$log" >&2
        echo "the build of preset '$preset' failed; all of it: $log" >&2
        exit 1
    fi
}

# The packages behind each kind of work.
packages_build=(g++ cmake ninja-build)
# shellcheck disable=SC2034  # for the scripts that source this
packages_test=("${packages_build[@]}" googletest)

# test_names PRESET WORD...: the tests of a configured preset whose names hold one of the words, as
# ctest calls them. Without a word all of them.
test_names() {
    local preset=$1
    shift
    ctest --preset "$preset" -N | sed -n 's/^ *Test *#[0-9]*: //p' |
        grep -E "$(IFS='|'; echo "${*:-.}")" || true
}

# run_tests PRESET [WORD...] [-- CTEST_ARGUMENT...]: with words builds and runs only the tests that
# test_names gives for them, otherwise all.
run_tests() {
    local preset=$1 words=() names
    shift
    while [ $# -gt 0 ] && [ "$1" != -- ]; do
        words+=("$1")
        shift
    done
    [ $# -eq 0 ] || shift
    if [ ${#words[@]} -eq 0 ]; then
        build "$preset"
        ctest --preset "$preset" -j "$jobs" "$@"
        return
    fi
    mkdir -p build
    cmake --preset "$preset" >"build/$preset.log" 2>&1 || { cat "build/$preset.log" >&2; exit 1; }
    mapfile -t names < <(test_names "$preset" "${words[@]}")
    [ ${#names[@]} -gt 0 ] || { echo "no test is called: ${words[*]}" >&2; exit 2; }
    build "$preset" "${names[@]//\//_}"
    ctest --preset "$preset" -j "$jobs" -R "^($(IFS='|'; echo "${names[*]}"))\$" "$@"
}
