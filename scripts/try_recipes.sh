#!/usr/bin/env bash
# Runs the recipes of docs/recipes.md against a simulator on this machine. Each check must pass with
# it, and must fail with a server that takes everyone and never answers, and with none at all: a check
# that passes there says nothing.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_build[@]}" rlwrap expect tmux socat openssl moreutils
build release zor_console zor_sim zor_ask
console=$tree/build/release/zor_console
ask=$tree/build/release/zor_ask
work=$(mktemp -d)
. scripts/try_lib.sh
cd "$work"
start_simulator

perl -MIO::Socket -e '$| = 1; my $l = IO::Socket::INET->new(Listen => 9, LocalAddr => "127.0.0.1");
    print $l->sockport, "\n"; my @all; while (my $c = $l->accept) { push @all, $c }' >silent &
within 1 grep -c . silent
silent=$(cat silent)
nobody=$(free_port)

# attempt CHECK PORT: runs it in a shell of its own, in a folder of its own, and gives its status. What
# it begins ends with it.
attempt() {
    local status
    terminal=$((terminal + 1))
    set +e
    (
        set -e
        # shellcheck disable=SC2046
        trap '{ screen kill-server; kill $(jobs -p); wait; } 2>/dev/null || true' EXIT
        mkdir "$work/attempt$terminal"
        cd "$work/attempt$terminal"
        "$1" "$2"
    ) >"$work/attempt.log" 2>&1
    status=$?
    set -e
    return $status
}

recipe() { # CHECK TITLE
    local port_of_none
    patience=100 seconds=10
    attempt "$1" "$port" || { cat "$work/attempt.log" >&2; echo "failed: $2" >&2; exit 1; }
    patience=15 seconds=2
    for port_of_none in "$silent" "$nobody"; do
        if attempt "$1" "$port_of_none"; then
            echo "it passes without a server that answers: $2" >&2
            exit 1
        fi
    done
    passed "$2"
}

one_command() {
    [ "$("$ask" -t $seconds -p "$1" 127.0.0.1 echo all is well)" = "all is well" ]
}
several_commands() {
    printf 'echo one\necho two\n' | "$ask" -t $seconds -p "$1" 127.0.0.1 - >both
    [ "$(cat both)" = $'one\ntwo' ]
}
one_command_until() {
    "$ask" -t $seconds -p "$1" -u ping 127.0.0.1 echo ping
}
recipe one_command "one command and out"
recipe several_commands "several commands on one connection"
recipe one_command_until "an answer that ends with a text"

stamped_by_ts() {
    talk "$console" 127.0.0.1 "$1" -- "echo stamped" "stamped" | ts '%F %T' >log
    grep -qE '^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8} stamped$' log
}
stamped_by_shell() {
    talk "$console" 127.0.0.1 "$1" -- "echo stamped" "stamped" |
        while IFS= read -r line; do printf '%(%F %T)T %s\n' -1 "$line"; done >log
    grep -qE '^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8} stamped$' log
}
recipe stamped_by_ts "a log with time stamps"
recipe stamped_by_shell "a log with time stamps without ts"

line_editing() {
    screen -f /dev/null new-session -d -s maint "rlwrap '$console' 127.0.0.1 $1"
    within "Press return" pane
    screen send-keys -t maint "echo frox" BSpace "m tmux" Enter
    within "|from tmux|" pane_lines
}
recipe line_editing "line editing"

scripted_session() {
    cat >script.exp <<END
set timeout $seconds
spawn "$console" 127.0.0.1 $1
expect timeout { exit 1 } "Press return"
send "help\r"
expect timeout { exit 1 } "Commands of zor_sim"
send "echo all is well\r"
expect timeout { exit 1 } -re "\nall is well"
END
    expect script.exp
}
recipe scripted_session "a scripted session"

# listens PORT...: says LISTEN once every port is taken.
listens() {
    local one
    for one in "$@"; do
        grep -qiE "^ *[0-9]+: [0-9A-F]+:$(printf %04X "$one") [0-9A-F:]+ 0A" /proc/net/tcp \
            /proc/net/tcp6 2>/dev/null || return 0
    done
    echo LISTEN
}
# A relay of its own port: relay FROM TO, as socat has them, with PORT for that port.
relay() {
    near=$(free_port)
    socat "${1/PORT/$near}" "$2" 2>>relay.log &
    within LISTEN listens "$near"
}

for end in server console stranger; do
    openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=localhost \
        -keyout $end.key -out $end.crt 2>/dev/null
    cat $end.key $end.crt >$end.pem
done
# tls PORT END: asks through a relay on each side; the certificate of END is shown to the server.
tls() {
    relay "OPENSSL-LISTEN:PORT,bind=127.0.0.1,reuseaddr,fork,cert=../server.pem,cafile=../console.crt" \
        "TCP:127.0.0.1:$1"
    relay "TCP-LISTEN:PORT,bind=127.0.0.1,reuseaddr,fork" \
        "OPENSSL:localhost:$near,cert=../$2.pem,cafile=../server.crt,commonname=localhost"
    [ "$("$ask" -t $seconds -p "$near" 127.0.0.1 echo over tls)" = "over tls" ]
}
over_tls() { tls "$1" console; }
as_a_stranger() { tls "$1" stranger; }
recipe over_tls "an encrypted road"
patience=100 seconds=3
if attempt as_a_stranger "$port"; then
    echo "a stranger's certificate opens the encrypted road" >&2
    exit 1
fi
passed "a stranger's certificate opens nothing"

over_ipv6() {
    relay "TCP6-LISTEN:PORT,bind=[::1],reuseaddr,fork" "TCP:127.0.0.1:$1"
    relay "TCP-LISTEN:PORT,bind=127.0.0.1,reuseaddr,fork" "TCP6:[::1]:$near"
    [ "$("$ask" -t $seconds -p "$near" 127.0.0.1 echo over six)" = "over six" ]
}
if [ -e /proc/net/if_inet6 ] && grep -q lo /proc/net/if_inet6; then
    recipe over_ipv6 "a server with IPv6 alone"
else
    echo "not tried: a server with IPv6 alone (no IPv6 on this machine)"
fi

rotation() {
    mkfifo recorder
    "$console" 127.0.0.1 "$1" <recorder >recording.log &
    exec 8>recorder
    within "Press return" cat recording.log
    echo ">> first.txt" >&8
    within "first.txt is opened" cat recording.log
    echo "echo before" >&8
    within before cat first.txt
    echo ">> second.txt" >&8
    within "second.txt is opened" cat recording.log
    echo "echo after" >&8
    within after cat second.txt
    [ "$(grep -c after first.txt)" = 0 ]
}
recipe rotation "rotation of a recording"

# What the watch says of a server that answers, one that is stopped, one that is silent, and none.
watch_server() {
    "$ask" -p "$1" -t 2 127.0.0.1 echo alive >/dev/null 2>&1 || echo "it is silent: $?"
}
[ "$(watch_server "$port")" = "" ]
kill -STOP "$simulator"
[ "$(watch_server "$port")" = "it is silent: 3" ]
kill -CONT "$simulator"
[ "$(watch_server "$silent")" = "it is silent: 3" ]
[ "$(watch_server "$nobody")" = "it is silent: 1" ]
passed "noticing a dead server"
