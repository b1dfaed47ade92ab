#!/usr/bin/env bash
# Makes docs/session.svg anew: the screen of a real session of the console with the simulator.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_build[@]}" tmux python3
build release zor_console zor_sim
work=$(mktemp -d)
screen() { tmux -S "$work/tmux" "$@"; }
trap 'screen kill-server 2>/dev/null || true; kill "$simulator" 2>/dev/null || true; rm -rf "$work"' EXIT

build/release/zor_sim --port 0 >"$work/log" 2>&1 &
simulator=$!

# shown TEXT: waits until the screen (or the simulator's log) holds the text, ten seconds at most.
shown() {
    for _ in $(seq 100); do
        { screen capture-pane -p 2>/dev/null; cat "$work/log"; } | grep -F -- "$1" >/dev/null && return
        sleep 0.1
    done
    echo "never shown: $1" >&2
    screen capture-pane -p >&2
    exit 1
}

shown "listening on port"
port=$(sed -n 's/.*listening on port \([0-9][0-9]*\).*/\1/p' "$work/log")
PATH=$tree/build/release:$PATH screen new-session -d -x 100 -y 50 -c "$work" "PS1='\$ ' exec bash --norc"
# The first line of the picture: what the operator types.
screen send-keys "zor_console 127.0.0.1 $port" Enter
shown "you are with"
while IFS=$'\t' read -r line expected; do
    screen send-keys -l -- "$line"
    screen send-keys Enter
    shown "$expected"
done <"$tree/docs/session.txt"
screen capture-pane -p | python3 tools/terminal_svg.py >docs/session.svg
echo "docs/session.svg is new"
