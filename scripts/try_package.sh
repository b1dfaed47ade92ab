#!/usr/bin/env bash
# Installs the release build into an empty prefix and unpacks the Debian packages beside it, then
# builds and runs the small consumer program and the examples against each, with CMake and with
# pkg-config, and looks at what the packages hold. Their programs are hardened as Debian's are.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_build[@]}" pkg-config dpkg-dev lintian
scripts/docs.sh
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
    { cmake -S examples/consumer -B "$work/$name" -DCMAKE_PREFIX_PATH="$prefix" &&
        cmake --build "$work/$name"; } >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
    try_consumer "$name by CMake" "$work/$name/consumer"
    pc=$(dirname "$(find "$prefix" -name zor.pc)")
    # shellcheck disable=SC2046
    g++ examples/consumer/main.cpp -o "$work/$name.pc" \
        $(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs zor)
    try_consumer "$name by pkg-config" "$work/$name.pc"
    try_examples "$name" "$prefix"
}

# The examples as the package brings them, each with what it must print or give.
try_examples() { # NAME PREFIX
    local at=$work/$1.examples port server number words word
    { cmake -S "$2/share/doc/libzor-dev/examples" -B "$at" -DCMAKE_PREFIX_PATH="$2" &&
        cmake --build "$at"; } >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
    "$at/threads" | grep -F "together they have counted to 3000" >/dev/null
    [ "$("$at/list")" = $'7 Marin\n19 Ruiz\n42 Lopez' ]
    "$at/file" "$work/checked" >"$work/log"
    grep -F "refused, and the file is removed" "$work/log" >/dev/null
    # By hello and again both clients come and go; by stop the server ends before the second comes.
    for words in "hello again" stop; do
        timeout 20 "$at/server" 0 >"$work/server.log" &
        server=$! number=0
        for _ in $(seq 100); do
            grep -q "serving" "$work/server.log" && break
            sleep 0.1
        done
        port=$(sed -n 's/.*on port \([0-9]*\).*/\1/p' "$work/server.log")
        for word in $words; do
            [ "$(timeout 10 "$at/client" "$port" "$word")" = "client $((number++)) said: $word" ]
        done
        wait "$server"
    done
    echo "examples $1: ok"
}

# The README shows the consumer's program as it is.
sed -n "/^\`\`\`cpp\$/,/^\`\`\`\$/p" README.md | sed "1d;\$d" | diff - examples/consumer/main.cpp

# hardening PROGRAM: what of it the program has.
hardening() {
    readelf -hW "$1" | grep 'Type: *DYN' >/dev/null && echo pie
    readelf -lW "$1" | grep GNU_RELRO >/dev/null && echo relro
    readelf -dW "$1" | grep 'FLAGS.*NOW' >/dev/null && echo bindnow
    readelf -W --dyn-syms "$1" | grep __stack_chk_fail >/dev/null && echo stack-protector
    readelf -W --dyn-syms "$1" | grep '__[a-z]*printf_chk' >/dev/null && echo fortify
    true
}
hardened="pie relro bindnow stack-protector fortify"
try_hardening() { # PROGRAM
    local found
    found=$(hardening "$1" | paste -sd ' ')
    [ "$found" = "$hardened" ] || { echo "$1 is hardened by '$found' alone" >&2; exit 1; }
    echo "hardening ${1##*/}: $found"
}

cmake --install build/release --prefix "$work/prefix" >/dev/null
try_prefix prefix "$work/prefix"

(cd build/release && cpack -B "$work/debs") >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
for package in "$work"/debs/*.deb; do
    dpkg-deb -x "$package" "$work/root"
    dpkg-deb -f "$package" Package Architecture Depends
done
try_prefix deb "$work/root/usr"
# A program with none of it shows that the look finds nothing where nothing is.
echo 'int main() {}' >"$work/bare.cpp"
g++ -no-pie -fno-stack-protector -Wl,-z,norelro,-z,lazy "$work/bare.cpp" -o "$work/bare"
[ -z "$(hardening "$work/bare")" ] || { echo "a bare program passes for hardened" >&2; exit 1; }
for program in zor_console zor_sim zor_ask; do
    try_hardening "$work/root/usr/bin/$program"
done
for program in zor_sim zor_ask zor; do
    "$work/root/usr/bin/$program" --help >/dev/null
done
there() { [ -s "$work/root/usr/$1" ] || { echo "no package has $1" >&2; exit 1; }; }
for page in zor_console zor_sim zor_ask zor; do
    there "share/man/man1/$page.1.gz"
done
there share/bash-completion/completions/zor
there share/bash-completion/completions/zor_ask
there "lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)/wireshark/plugins/zor.lua"
there share/doc/libzor-doc/html/index.html

# What the page of the package names must be there.
page=$work/root/usr/share/doc/zor-console/README.md
for link in $(grep -o '([a-z-]*\.md)' "$page" | tr -d '()'); do
    there "share/doc/zor-console/$link"
done
if grep -n "scripts/" "$page" >&2; then
    echo "the installed README names a script of the tree" >&2
    exit 1
fi

# Each tag that may stay has its reason in that file.
lintian --allow-root --fail-on error,warning \
    --suppress-tags-from-file cmake/debian/lintian-tags "$work"/debs/*.deb
echo "lintian: ok"
