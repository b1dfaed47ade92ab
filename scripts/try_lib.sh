# shellcheck shell=bash disable=SC2034  # simulator and port are for the scripts that source this
# What the tries of recipes and programs share: a simulator, a terminal, and waits that end. Sourced
# after lib.sh, with `work` set to a directory of the try's own; everything begun here ends with it.
# shellcheck disable=SC2154

terminal=0 # counts the terminals of a try: a tmux that ends may still hold its socket for a moment
screen() { tmux -S "$work/tmux$terminal" "$@"; }
pane() { screen capture-pane -p; }
# The same with a bar at both ends of each line, which tells an answer from what was typed for it.
pane_lines() { pane | sed 's/ *$/|/; s/^/|/'; }
end_try() {
    screen kill-server 2>/dev/null || true
    # shellcheck disable=SC2046
    kill $(jobs -p) 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap end_try EXIT
passed() { echo "try: $1"; }

# within TEXT COMMAND...: repeats the command until its output holds the text, `patience` times with
# a tenth of a second between: ten seconds, unless a try that has to fail makes it shorter.
patience=100
within() {
    local text=$1 _
    shift
    for _ in $(seq $patience); do
        "$@" 2>&1 | grep -F -- "$text" >/dev/null && return
        sleep 0.1
    done
    echo "never seen: $text; last:" >&2
    "$@" >&2 || true
    exit 1
}

# Starts a simulator and sets `simulator`, its process, and `port`.
start_simulator() {
    "$tree/build/release/zor_sim" --port 0 >"$work/simulator.log" 2>&1 &
    simulator=$!
    within "listening on port" cat "$work/simulator.log"
    port=$(sed -n 's/.*listening on port \([0-9][0-9]*\).*/\1/p' "$work/simulator.log")
}

# free_port: a port that the kernel has just given to a socket that is closed again.
free_port() {
    perl -MIO::Socket -e 'print IO::Socket::INET->new(Listen => 1, LocalAddr => "127.0.0.1")->sockport'
}

# talk COMMAND... -- LINE ANSWER: runs a console without a terminal, types the line once it is
# connected, waits for the answer, ends the console and gives all that it said.
talk() {
    local command=() console
    while [ "$1" != -- ]; do
        command+=("$1")
        shift
    done
    rm -f "$work/keys"
    mkfifo "$work/keys"
    "${command[@]}" <"$work/keys" >"$work/talk" 2>"$work/talk.errors" &
    console=$!
    exec 9>"$work/keys"
    # In a shell of its own: the console must not outlive a text that never comes.
    (
        within "Press return" cat "$work/talk"
        printf '%s\n' "$2" >&9
        within "$3" cat "$work/talk"
    ) || { kill "$console"; exit 1; }
    kill "$console"
    exec 9>&-
    wait "$console" 2>/dev/null || true
    cat "$work/talk"
}
