#!/usr/bin/env bash
# The lines of each reader that its fuzz target reaches, with its seeds and, if a folder is named,
# with the inputs that the fuzzer has found there: scripts/fuzz_coverage.sh [FOLDER]
set -euo pipefail
. "$(dirname "$0")/lib.sh"

need "${packages_test[@]}" gcovr

# Each reader of outside bytes, and the targets that go through it.
readers=(
    "norba/i_msg_reader.cpp frame_reader"
    "util/i_cnxsock_buffer.cpp frame_reader"
    "norba/i_msg_frame.cpp read_header"
    "util/i_msg_stream.h msg_stream"
    "util/i_charstr_scan.cpp charstr_cut charstr_extract"
    "util/i_charstr_xml.cpp charstr_xml"
    "util/i_os_file_buffer.cpp checksummed_file"
    "serv_cli/i_tools_analyse.cpp analyser"
    "serv_cli/i_tools_optional.cpp optional"
    "serv_cli/i_tools_value.cpp value_tools"
    "console_input.cpp console_input"
    "simulator/sim_settings.cpp sim_settings"
    "simulator/sim_console.cpp sim_commands sim_frames"
    "simulator/sim_commands.cpp sim_commands"
    "simulator/sim_session.cpp sim_frames"
)

found=${1:-}
targets=()
for target in fuzz/fuzz_*.cpp; do
    target=${target#fuzz/fuzz_}
    targets+=("fuzz_replay_${target%.cpp}")
done
build coverage "${targets[@]}"
for reader in "${readers[@]}"; do
    read -r source names <<<"$reader"
    find build/coverage -name '*.gcda' -delete
    for name in $names; do
        replay=(build/coverage/tests/fuzz_replay_"$name")
        "${replay[@]}" >/dev/null 2>&1
        [ ! -d "$found/$name" ] || "${replay[@]}" "$found/$name" >/dev/null 2>&1
    done
    gcovr --root . --object-directory build/coverage --gcov-ignore-parse-errors \
        --filter "^$source\$" build/coverage 2>/dev/null |
        awk -v source="$source" -v names="$names" '$1 == "TOTAL" {
            printf "%-32s %4d of %4d lines, %4s, by %s\n", source, $3, $2, $4, names }'
done
