#!/usr/bin/env bash
# Installs the release build into an empty prefix and unpacks the Debian packages beside it, then
# builds and runs the small consumer program against each, with CMake and with pkg-config.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_build[@]}" pkg-config dpkg-dev
build release
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

expected=$'durations:\n7 * 19 * 42 * '
try_consumer() { # NAME PROGRAM
    local answer
    answer=$("$2")
    [ "$answer" = "$expected" ] || { printf '%s printed:\n%s\n' "$1" "$answer" >&2; exit 1; }
    echo "consumer $1: ok"
}

try_prefix() { # NAME PREFIX
    local name=$1 prefix=$2 pc
    cmake -S examples/consumer -B "$work/$name" -DCMAKE_PREFIX_PATH="$prefix" >"$work/log" 2>&1 &&
        cmake --build "$work/$name" >>"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
    try_consumer "$name by CMake" "$work/$name/consumer"
    pc=$(dirname "$(find "$prefix" -name zor.pc)")
    # shellcheck disable=SC2046
    g++ -std=c++20 examples/consumer/main.cpp -o "$work/$name.pc" \
        $(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs zor)
    try_consumer "$name by pkg-config" "$work/$name.pc"
}

cmake --install build/release --prefix "$work/prefix" >/dev/null
try_prefix prefix "$work/prefix"

(cd build/release && cpack -B "$work/debs") >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
for package in "$work"/debs/*.deb; do
    dpkg-deb -x "$package" "$work/root"
    dpkg-deb -f "$package" Package Architecture Depends
done
try_prefix deb "$work/root/usr"
"$work/root/usr/bin/zor_sim" --help >/dev/null
for page in zor_console zor_sim; do
    [ -s "$work/root/usr/share/man/man1/$page.1" ] || { echo "no manual of $page" >&2; exit 1; }
done
