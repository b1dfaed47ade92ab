#!/usr/bin/env bash
# Builds the console and the simulator, starts the simulator on a free loopback port, and puts the
# operator at the console. Ctrl-C ends both. Words given to it are forwarded to the server, which
# takes consoles of this machine only.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_build[@]}"
echo "building ..."
build release zor_console zor_sim

log=$(mktemp)
simulator=""
finish() {
    [ -z "$simulator" ] || kill "$simulator" 2>/dev/null || true
    rm -f "$log"
}
trap finish EXIT
trap 'echo; exit 0' INT
trap 'exit 0' TERM

build/release/zor_sim --port 0 >"$log" 2>&1 &
simulator=$!
port=""
for _ in $(seq 100); do
    port=$(sed -n 's/.*listening on port \([0-9][0-9]*\).*/\1/p' "$log")
    [ -z "$port" ] || break
    kill -0 "$simulator" 2>/dev/null || { cat "$log" >&2; exit 1; }
    sleep 0.1
done
[ -n "$port" ] || { echo "the simulator did not start:" >&2; cat "$log" >&2; exit 1; }

echo "zor_sim listens on port $port, for consoles of this machine; type help, and Ctrl-C to end."
build/release/zor_console 127.0.0.1 "$port" "$@"
