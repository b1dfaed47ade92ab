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
REASONS = {
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
    if total.below() or unexplained:
        print("below a goal without a reason:", *(unexplained or ["all of the product"]))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
