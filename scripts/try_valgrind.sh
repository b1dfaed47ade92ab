#!/usr/bin/env bash
# Runs zor_sim, zor_console and zor_ask under valgrind through a session that uses most of what they
# can, a lost connection included: no finding, and nothing of their memory lost at the end. A program
# with both faults shows that they would be found.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_build[@]}" valgrind perl
build dev zor_sim zor_console zor_ask
work=$(mktemp -d)
. "$(dirname "$0")/try_lib.sh"

watched() { # NAME COMMAND...
    local name=$1
    shift
    exec valgrind -q --log-file="$work/$name.found" --leak-check=full \
        --show-leak-kinds=definite,indirect --errors-for-leak-kinds=definite,indirect "$@"
}
# A program that a signal ends says so; the rest are findings.
findings() { sed '/Process terminating with default action/,/^==[0-9]*== *$/d; /^==[0-9]*== *$/d' "$1"; }

printf '#include <cstdlib>\nint main() { return static_cast<char*>(std::malloc(8))[8]; }\n' \
    >"$work/faulty.cpp"
g++ -g "$work/faulty.cpp" -o "$work/faulty"
(watched faulty "$work/faulty") || true
for fault in "Invalid read" "definitely lost"; do
    findings "$work/faulty.found" | grep "$fault" >/dev/null || { echo "not found: $fault" >&2; exit 1; }
done

(watched zor_sim build/dev/zor_sim --port 0 --pace 50) >"$work/simulator.log" 2>&1 &
simulator=$!
within "listening on port" cat "$work/simulator.log"
port=$(sed -n 's/.*listening on port \([0-9][0-9]*\).*/\1/p' "$work/simulator.log")
mkfifo "$work/keys"
(cd "$work" && watched zor_console "$tree/build/dev/zor_console" 127.0.0.1 "$port" -lines) \
    <"$work/keys" >"$work/screen" 2>&1 &
console=$!
exec 9>"$work/keys"
within "you are console 1" cat "$work/screen"

# say LINE ANSWER: types the line and waits for its answer.
say() {
    printf '%s\n' "$1" >&9
    within "$2" tail -c 4000 "$work/screen"
}
say ">> record" "record is opened to record"
say "history 200" "call"
say "KEL2" "you are with KEL 2"
say "help" "Ctrl-C ends it"
say "xml" "</kel>"
say "files" "refused and removed"
say "body 100000" "9999999999999999999999"
say "hidden 50000" "50000 bytes went out unseen"
say "locks" "zor_sim:"
say "dico object" "TEMPO_NOMADIC_ALERTING"
say "threads" "Console 1"
say "key" "press 1 key"
say "k" "key 'k'"
say "bye" "you are console 2"
(watched zor_ask build/dev/zor_ask -p "$port" 127.0.0.1 agents) >"$work/asked" 2>&1
grep "Marin Eva" "$work/asked" >/dev/null
say "stop" "server disconnected!"
wait "$simulator"
kill "$console"
wait "$console" || true
exec 9>&-
for program in zor_sim zor_console zor_ask; do
    [ -e "$work/$program.found" ] || { echo "$program did not run under valgrind" >&2; exit 1; }
    [ -z "$(findings "$work/$program.found")" ] || { cat "$work/$program.found" >&2; exit 1; }
    passed "$program under valgrind: no finding"
done
