#!/usr/bin/env bash
# Tries every option of tools/zor against a simulator, at a terminal of tmux where it needs one.
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_build[@]}" rlwrap tmux
build release zor_console zor_sim
work=$(mktemp -d)
. scripts/try_lib.sh
export HOME=$work PATH=$tree/build/release:$PATH
unset XDG_CONFIG_HOME XDG_STATE_HOME TMUX
zor=$tree/tools/zor
logs=$work/.local/state/zor
cd "$work"
start_simulator

# is EXPECTED ACTUAL, ends STATUS COMMAND...: what must hold, or the try has failed.
is() { [ "$1" = "$2" ] || { printf 'expected: %s\nthere is: %s\n' "$1" "$2" >&2; exit 1; }; }
ends() {
    local status=0
    "${@:2}" >said 2>&1 || status=$?
    [ "$status" = "$1" ] || { echo "status $status instead of $1: ${*:2}" >&2; cat said >&2; exit 1; }
}
# at_terminal COMMAND: a shell at a terminal of its own, and the command typed there.
at_terminal() {
    screen kill-server 2>/dev/null || true
    terminal=$((terminal + 1))
    screen -f /dev/null new-session -d -s shell -x 120 -y 50 "PS1='\$ ' exec bash --norc"
    within '$' pane
    type_line "$1"
}
typed() { screen send-keys -t shell "$@"; }
type_line() { typed -l -- "$1"; typed Enter; }

is "$(sed -n 's/^project(zor-console VERSION \([0-9.]*\).*/zor \1/p' "$tree/CMakeLists.txt")" \
    "$("$zor" --version)"
ends 0 "$zor" --help
for wrong in "" "-x near" "near abc" "near 65536" "near 0" "near:x" "near 3600 word" "::1"; do
    # shellcheck disable=SC2086  # several words
    ends 2 "$zor" $wrong
done
ends 1 "$zor" no-such-host.invalid
ends 1 "$zor" -w near
passed "wrong command lines are told"

mkdir -p .config/zor
printf '%s\n' "# ours" "near 127.0.0.1 $port -help" "far exchange.example" "bad host 70000" \
    "near other 3600" >.config/zor/servers
is "near             127.0.0.1                $port  -help
far              exchange.example          3595  " "$("$zor" --list 2>complaints)"
is "zor: $work/.config/zor/servers, line 4 isn't: name host [port] [-arguments...]" \
    "$(cat complaints)"
for server in near "127.0.0.1 $port -help" "localhost:$port -help"; do
    # shellcheck disable=SC2086
    talk "$zor" $server -- "echo by name" "by name" >session
    grep -qF "Commands of zor_sim" session
done
passed "servers by name, by host and port, with arguments"

hostile=$'echo \033[31mred\033[0m\033]0;title\007 \033Pstring\033\\end'
talk "$zor" -l near -- "$hostile" "title" >session
grep -qF $'\033[31mred' session
is "-rw------- drwx------" "$(stat -c %A "$logs"/near-*.log "$logs" | xargs)"
grep -qE '^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8} red end$' "$logs"/near-*.log
talk "$zor" -f --log=mine near -- "$hostile" "red end" >session
is "" "$(tr -d '\n\t\40-\176' <session)"
grep -qE '^[-0-9]{10} [0-9:]{8} red end$' "$logs/mine"
passed "a log with stamps and without escape sequences, and a screen without them"

mkdir -m 700 own
mkdir -m 777 common
ln -s elsewhere own/link
echo precious >own/precious
ln own/precious own/second
for place in own/link own/second common/log own/missing/log; do
    ends 1 timeout 10 "$zor" --log="$place" near
    grep -q "^zor: " said
done
is precious "$(cat own/precious)"
[ ! -e own/elsewhere ]
passed "no log through a link or where others write"

at_terminal "$zor -lf near; echo ended with \$?"
within "Press return" pane # no line end behind it
newest_log() { find "$logs" -name "$1-*" | sort | tail -n 1; }
type_line "echo frox"
within "frox" tail -n 1 "$(newest_log near)"
typed C-p BSpace
type_line "m the history"
within "from the history" tail -n 1 "$(newest_log near)"
typed C-c
within "ended with 130" pane
passed "line editing, history, and a prompt without a line end"

# A server that keeps the bytes that come, for keys that no Return follows.
perl -MIO::Socket -e '$| = 1; my $l = IO::Socket::INET->new(Listen => 9, LocalAddr => "127.0.0.1");
    print $l->sockport, "\n";
    while (my $c = $l->accept) { while (sysread $c, my $b, 999) { print $b } }' >bytes &
within 1 grep -c . bytes
for ending in C-c HUP TERM KILL; do
    at_terminal "stty -g >before; $zor -k 127.0.0.1 $(head -n 1 bytes); echo; echo ended; stty -g >after"
    within "Press return" pane
    typed -l "key-$ending"
    for key in k e y - ${ending:0:1} ${ending:2:1}; do
        within "$key" tr -d '\0' <bytes
    done
    front=$(pgrep -P "$(screen display-message -p '#{pane_pid}')")
    case $ending in
        C-c) typed C-c ;;
        KILL) kill -KILL "$(pgrep -P "$front")" ;;
        *) kill -"$ending" "$front" ;;
    esac
    within "|ended|" pane_lines
    within : cat after
    is "$(cat before)" "$(cat after)"
    rm after
done
ends 2 "$zor" -k near
passed "keys go out as they are typed, and the terminal comes back whatever ends the console"

# The demonstration puts one at the console of a simulator of its own, and ends both.
at_terminal "'$tree/scripts/demo.sh' -lines; echo ended"
within "you are with" pane
type_line "echo demonstrated"
within "|demonstrated|" pane_lines
demo_port=$(pane | sed -n 's/^zor_sim listens on port \([0-9]*\),.*/\1/p')
typed C-c
within "|ended|" pane_lines
ends 1 "$tree/build/release/zor_ask" -p "$demo_port" -t 2 127.0.0.1 help
passed "the demonstration"

# `zor -s` calls tmux by its own; here that means the one of this try.
mkdir bin
printf '#!/bin/sh\nexec %s -S %s "$@"\n' "$(command -v tmux)" "$work/sessions" >bin/tmux
chmod +x bin/tmux
ln -s "$zor" bin/zor
export PATH=$work/bin:$PATH
at_terminal "unset TMUX; $zor -s near"
within "Press return" pane
bin/tmux set-option -g assume-paste-time 0 # keys of a script come faster than a hand's
type_line "echo kept"
within "|kept|" pane_lines
typed C-b d
within "[detached" pane
type_line "$zor -w near"
within "|kept|" pane_lines
type_line "echo unseen"
typed C-b d
within "[detached" pane
type_line "clear; $zor -s near"
within "|kept|" pane_lines
type_line "echo again"
within "|again|" pane_lines
is 0 "$(pane_lines | grep -c unseen || true)"
bin/tmux kill-server
passed "a session that one leaves, watches and comes back to"

# Completion offers the options, and the servers behind them.
# shellcheck disable=SC1091
. "$tree/tools/completions/zor"
complete_words() {
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
    "_$1"
    echo "${COMPREPLY[*]}"
}
is "--list --log=" "$(complete_words zor --l)"
is "near" "$(complete_words zor -l ne)"
# shellcheck disable=SC1091
. "$tree/tools/completions/zor_ask"
is "-p -k -t -q -u --help" "$(complete_words zor_ask -)"
passed "completion of servers and options"
