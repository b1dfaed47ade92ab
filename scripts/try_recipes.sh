#!/usr/bin/env bash
# Runs the recipes of docs/recipes.md against a simulator on this machine.
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

# A server that takes everyone and never answers: no recipe may pass with it.
perl -MIO::Socket -e '$| = 1; my $l = IO::Socket::INET->new(Listen => 9, LocalAddr => "127.0.0.1");
    print $l->sockport, "\n"; my @all; while (my $c = $l->accept) { push @all, $c }' >silent &
within 1 grep -c . silent
silent=$(cat silent)
# fails COMMAND...: runs what must not succeed.
fails() { if "$@" >failed 2>&1; then echo "it passes without an answer: $*" >&2; exit 1; fi; }

[ "$("$ask" -p "$port" 127.0.0.1 echo all is well)" = "all is well" ]
printf 'echo one\necho two\n' | "$ask" -p "$port" 127.0.0.1 - >both
[ "$(cat both)" = $'one\ntwo' ]
"$ask" -p "$port" -u ping 127.0.0.1 echo ping >/dev/null
fails "$ask" -p "$silent" -t 2 127.0.0.1 echo all is well
fails "$ask" -p "$port" -u never -t 2 127.0.0.1 echo ping
passed "one command and out"

# relay_listens PORT...: says LISTEN once every port is taken.
relay_listens() {
    local one
    for one in "$@"; do
        grep -qiE "^ *[0-9]+: [0-9A-F]+:$(printf %04X "$one") [0-9A-F:]+ 0A" /proc/net/tcp /proc/net/tcp6 2>/dev/null || return 0
    done
    echo LISTEN
}

talk "$console" 127.0.0.1 "$port" -- "echo stamped" "stamped" | ts '%F %T' >log
grep -qE '^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8} stamped$' log
talk "$console" 127.0.0.1 "$port" -- "echo stamped" "stamped" |
    while IFS= read -r line; do printf '%(%F %T)T %s\n' -1 "$line"; done >log
grep -qE '^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8} stamped$' log
passed "a log with time stamps"

screen -f /dev/null new-session -d -s maint "rlwrap '$console' 127.0.0.1 $port"
within "Press return" pane
screen send-keys -t maint "echo frox" BSpace "m tmux" Enter
within "|from tmux|" pane_lines
passed "line editing in tmux"

script() { # PORT
    cat <<EOF
set timeout 5
spawn "$console" 127.0.0.1 $1
expect timeout { exit 1 } "Press return"
send "help\r"
expect timeout { exit 1 } "Commands of zor_sim"
send "echo all is well\r"
expect timeout { exit 1 } -re "\nall is well"
EOF
}
script "$port" >script.exp
expect script.exp >expect.log || { cat expect.log; exit 1; }
script "$silent" >script.exp
fails expect script.exp
passed "a scripted session"

for end in server console; do
    openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=localhost \
        -keyout $end.key -out $end.crt 2>/dev/null
    cat $end.key $end.crt >$end.pem
done
tls=$(free_port)
plain=$(free_port)
socat "OPENSSL-LISTEN:$tls,bind=127.0.0.1,reuseaddr,fork,cert=server.pem,cafile=console.crt" \
    "TCP:127.0.0.1:$port" 2>socat1.log &
socat "TCP-LISTEN:$plain,bind=127.0.0.1,reuseaddr,fork" \
    "OPENSSL:localhost:$tls,cert=console.pem,cafile=server.crt,commonname=localhost" 2>socat2.log &
within LISTEN relay_listens "$plain" "$tls"
[ "$("$ask" -p "$plain" 127.0.0.1 echo over tls)" = "over tls" ]
# A stranger's certificate opens nothing.
openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=stranger -keyout stranger.key \
    -out stranger.crt 2>/dev/null
cat stranger.key stranger.crt >stranger.pem
strange=$(free_port)
socat "TCP-LISTEN:$strange,bind=127.0.0.1,reuseaddr,fork" \
    "OPENSSL:localhost:$tls,cert=stranger.pem,cafile=server.crt,commonname=localhost" 2>socat3.log &
within LISTEN relay_listens "$strange"
fails "$ask" -p "$strange" -t 3 127.0.0.1 echo over tls
passed "an encrypted road"

# Where this machine has no IPv6, the road back stands in for it: it isn't tried here.
if [ -e /proc/net/if_inet6 ] && grep -q lo /proc/net/if_inet6; then
    six=$(free_port)
    near=$(free_port)
    socat "TCP6-LISTEN:$six,bind=[::1],reuseaddr,fork" "TCP:127.0.0.1:$port" &
    socat "TCP-LISTEN:$near,bind=127.0.0.1,reuseaddr,fork" "TCP6:[::1]:$six" &
    within LISTEN relay_listens "$near" "$six"
    [ "$("$ask" -p "$near" 127.0.0.1 echo over six)" = "over six" ]
    passed "a server with IPv6 alone"
else
    echo "not tried: a server with IPv6 alone (no IPv6 on this machine)"
fi

# The server that stops answers nobody, and one that is gone refuses.
watch_server() { "$ask" -p "$1" -t 2 127.0.0.1 echo alive >/dev/null || echo "it is silent: $?"; }
[ "$(watch_server "$port" 2>/dev/null)" = "" ]
kill -STOP "$simulator"
[ "$(watch_server "$port" 2>/dev/null)" = "it is silent: 3" ]
kill -CONT "$simulator"
[ "$(watch_server "$(free_port)" 2>/dev/null)" = "it is silent: 1" ]
passed "noticing a dead server"

# A recording goes on in a new file by a second command.
mkfifo recorder
"$console" 127.0.0.1 "$port" <recorder >recording.log &
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
fails grep after first.txt
passed "rotation of a recording"
