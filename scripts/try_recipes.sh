#!/usr/bin/env bash
# Runs the recipes of docs/recipes.md against a simulator on this machine.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_build[@]}" rlwrap expect tmux socat openssl moreutils
build release zor_console zor_sim
console=$tree/build/release/zor_console
work=$(mktemp -d)
cleanup() {
    tmux -S "$work/tmux" kill-server 2>/dev/null || true
    # shellcheck disable=SC2046
    kill $(jobs -p) 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
cd "$work"

# within TEXT COMMAND...: repeats the command, for ten seconds, until its output holds the text.
within() {
    local text=$1 _
    shift
    for _ in $(seq 100); do
        "$@" 2>&1 | grep -F -- "$text" >/dev/null && return
        sleep 0.1
    done
    echo "never seen: $text; last:" >&2
    "$@" >&2
    exit 1
}
passed() { echo "recipe: $1"; }

"$tree/build/release/zor_sim" --port 0 >sim.log 2>&1 &
within "listening on port" cat sim.log
port=$(sed -n 's/.*listening on port \([0-9][0-9]*\).*/\1/p' sim.log)

{ sleep 2; echo "echo all is well"; sleep 3; } | timeout 8 "$console" 127.0.0.1 "$port" >one || true
grep -q "^all is well" one
passed "one command and out"

{ sleep 2; echo "echo stamped"; sleep 3; } | timeout 8 "$console" 127.0.0.1 "$port" |
    ts '%F %T' >log || true
grep -qE '^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8} stamped' log
{ sleep 2; echo "echo stamped"; sleep 3; } | timeout 8 "$console" 127.0.0.1 "$port" |
    while IFS= read -r line; do printf '%(%F %T)T %s\n' -1 "$line"; done >log || true
grep -qE '^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8} stamped' log
passed "a log with time stamps"

pane() { tmux -S "$work/tmux" capture-pane -p -t maint; }
tmux -S "$work/tmux" new-session -d -s maint "rlwrap '$console' 127.0.0.1 $port"
within "Press return" pane
tmux -S "$work/tmux" send-keys -t maint "echo frox" BSpace "m tmux" Enter
within "from tmux" pane
tmux -S "$work/tmux" send-keys -t maint C-p Enter
within "$(printf 'from tmux\nfrom tmux')" pane
passed "line editing and history in tmux"

cat >script.exp <<EOF
set timeout 10
spawn "$console" 127.0.0.1 $port
expect timeout { exit 1 } "Press return"
send "help\r"
expect timeout { exit 1 } "Commands" { send "echo all is well\r" }
expect timeout { exit 1 } -re "\nall is well"
EOF
expect script.exp >expect.log || { cat expect.log; exit 1; }
passed "a scripted session"

for end in server console; do
    openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=localhost \
        -keyout $end.key -out $end.crt 2>/dev/null
    cat $end.key $end.crt >$end.pem
done
# Free ports: the kernel gives them to two sockets that are closed again at once.
read -r tls plain < <(perl -MIO::Socket -e \
    'my @s = map { IO::Socket::INET->new(Listen => 1, LocalAddr => "127.0.0.1") } 1, 2;
     print join(" ", map { $_->sockport } @s), "\n"')
socat "OPENSSL-LISTEN:$tls,bind=127.0.0.1,reuseaddr,fork,cert=server.pem,cafile=console.crt" \
    "TCP:127.0.0.1:$port" 2>socat1.log &
socat "TCP-LISTEN:$plain,bind=127.0.0.1,reuseaddr,fork" \
    "OPENSSL:localhost:$tls,cert=console.pem,cafile=server.crt,commonname=localhost" 2>socat2.log &
mkfifo keys
timeout 30 "$console" 127.0.0.1 "$plain" <keys >tls.log &
exec 7>keys
within "Press return" cat tls.log
echo "echo over tls" >&7
within "over tls" cat tls.log
passed "an encrypted road"
