#!/usr/bin/env python3
"""Reports what gcovr has counted: by file, in all, and for each file below a goal the reason why.

    coverage_report.py [--lines] FIGURES

With --lines it lists what nothing has reached: line numbers, and b12:1/2 for line 12, of which one
branch of two was taken. Its exit status is 1 when a file is below a goal without a reason."""

import json
import sys

GOAL_LINES = 97
GOAL_BRANCHES = 90

# A file that stays below a goal, and why.
FAILING = "calls of the system that fail; scripts/check.sh faults lets them"
MEMORY = "lack of memory, threads or descriptors; scripts/check.sh faults brings them about"
ASSERTED = "assertions on what the code itself keeps, and pointers that only wrong code leaves null"
WRAPPED = "wrappers of one call each, which the library itself doesn't use"
SHOWN = "texts for an operator's eye that no test reads; scripts/check.sh recipes shows some"
REASONS = {
    "ask/ask_session.cpp": FAILING,
    "ask/main.cpp": FAILING,
    "console_session.cpp": MEMORY,
    "console_workers.cpp": MEMORY,
    "norba/i_msg_frame.h": MEMORY,
    "out_of_memory.h": MEMORY,
    "serv_cli/i_tools_analyse.cpp": "the form that takes a row by new, which shares the other's work",
    "serv_cli/i_tools_client.cpp": ASSERTED,
    "serv_cli/i_tools_client.h": ASSERTED,
    "serv_cli/i_tools_optional.cpp": ASSERTED + "; two traces",
    "serv_cli/i_tools_text.cpp": WRAPPED + "; " + ASSERTED,
    "simulator/main.cpp": SHOWN,
    "simulator/sim_clients.cpp": SHOWN,
    "simulator/sim_commands.cpp": SHOWN,
    "simulator/sim_commands_console.cpp": SHOWN,
    "simulator/sim_commands_lines.cpp": SHOWN,
    "simulator/sim_commands_system.cpp": SHOWN,
    "simulator/sim_console.cpp": MEMORY,
    "simulator/sim_console.h": SHOWN,
    "simulator/sim_deadlock.cpp": MEMORY,
    "simulator/sim_end.cpp": FAILING,
    "simulator/sim_exchange.cpp": MEMORY,
    "simulator/sim_log.cpp": MEMORY,
    "simulator/sim_model.cpp": "calls between lines that aren't there or aren't free",
    "simulator/sim_peer.cpp": FAILING,
    "simulator/sim_server.cpp": MEMORY,
    "simulator/sim_session.cpp": MEMORY,
    "simulator/sim_settings.cpp": "the usage; scripts/check.sh consumer prints it",
    "simulator/sim_thread.cpp": MEMORY,
    "standard_descriptors.h": FAILING,
    "util/i_assert.cpp": "the report of a list that has no name",
    "util/i_charstr.cpp": MEMORY,
    "util/i_cnxsock_connection.cpp": FAILING,
    "util/i_cnxsock_host.cpp": FAILING,
    "util/i_cnxsock_service.cpp": FAILING,
    "util/i_os_file_buffer.cpp": FAILING,
    "util/i_os_file_desc.cpp": "descriptions as text and on a stream, for programs of the family",
    "util/i_os_file_stream.h": FAILING,
    "util/i_os_frames.cpp": "stacks that the system doesn't tell, and chains that lead nowhere",
    "util/i_os_mutex.cpp": FAILING,
    "util/i_os_table.cpp": FAILING,
    "util/i_os_task.cpp": MEMORY,
    "util/i_os_time.cpp": WRAPPED,
    "util/i_os_traceback.cpp": "stacks that the system doesn't tell",
    "util/l_univ_element.cpp": "two operations that are kept for their place alone",
    "util/l_univ_list.cpp": ASSERTED,
}


class Counted:
    def __init__(self):
        self.lines = self.reached = self.branches = self.taken = 0
        self.missing = []

    def add(self, line):
        self.lines += 1
        self.reached += line["count"] > 0
        branches = [branch["count"] > 0 for branch in line["branches"]]
        self.branches += len(branches)
        self.taken += sum(branches)
        if line["count"] == 0:
            self.missing.append(str(line["line_number"]))
        elif not all(branches):
            self.missing.append(f'b{line["line_number"]}:{sum(branches)}/{len(branches)}')

    def join(self, other):
        for name in ("lines", "reached", "branches", "taken"):
            setattr(self, name, getattr(self, name) + getattr(other, name))

    def shares(self):
        return (share(self.reached, self.lines), share(self.taken, self.branches))

    def below(self):
        lines, branches = self.shares()
        return lines < GOAL_LINES or branches < GOAL_BRANCHES


def share(part, whole):
    return 100 * part / whole if whole else 100.0


def row(name, counted):
    lines, branches = counted.shares()
    return (f"{name:36} {lines:6.1f} {counted.reached:6}/{counted.lines:<6}"
            f" {branches:6.1f} {counted.taken:6}/{counted.branches}")


def main(arguments):
    with_lines = arguments[:1] == ["--lines"]
    with open(arguments[-1], encoding="utf-8") as figures:
        files = json.load(figures)["files"]
    total, unexplained = Counted(), []
    print(f"{'in 100':36} {'lines':>6} {'':13} {'branches':>8}")
    for file in sorted(files, key=lambda file: file["file"]):
        counted = Counted()
        for line in file["lines"]:
            if not line.get("gcovr/noncode"):
                counted.add(line)
        if counted.lines == 0:
            continue
        total.join(counted)
        print(row(file["file"], counted))
        if counted.below():
            reason = REASONS.get(file["file"])
            print(f"    below the goal: {reason or 'nobody has said why'}")
            if not reason:
                unexplained.append(file["file"])
        if with_lines and counted.missing:
            print("    not reached:", " ".join(counted.missing))
    print(row("all of the product", total))
    print(f"goals: {GOAL_LINES} lines, {GOAL_BRANCHES} branches")
    if unexplained:
        print("below a goal without a reason:", *unexplained)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
