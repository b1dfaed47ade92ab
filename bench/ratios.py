"""Runs the Google Benchmark programs named in a table and prints ratios of figures of one run.

A row of the table: program | what is compared | figure | peer | goal. The figure and the peer are
names of benchmarks; the goal is like "<= 1.5", or "-" for a ratio that is only shown. The measure
is the median over the repetitions of the real time per iteration, of runs that are interleaved.
"""

import json
import os
import subprocess
import sys

REPETITIONS = 3 if os.environ.get("BENCH_QUICK") else 5
OPERATORS = {"<=": lambda a, b: a <= b, ">=": lambda a, b: a >= b}


def rows_of(path):
    with open(path, encoding="utf-8") as table:
        for line in table:
            line = line.split("#")[0].strip()
            if line:
                yield [field.strip() for field in line.split("|")]


def medians(program):
    answer = subprocess.run(
        [program, "--benchmark_format=json", f"--benchmark_repetitions={REPETITIONS}",
         "--benchmark_enable_random_interleaving=true", "--benchmark_report_aggregates_only=true"],
        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    # A bench may print what its library prints: the report begins at the first brace of a line.
    text = answer.stdout.decode("utf-8", "replace")
    report = json.loads(text[text.index("{\n"):])
    return {run["run_name"]: run["real_time"] for run in report["benchmarks"]
            if run.get("aggregate_name") == "median"}


def main():
    folder, table, words = sys.argv[1], sys.argv[2], sys.argv[3:]
    measured, missed = {}, 0
    print(f"{'program':<20} {'what':<52} {'ratio':>8}  goal")
    for program, what, figure, peer, goal in rows_of(table):
        if words and not any(word in program for word in words):
            continue
        if program not in measured:
            measured[program] = medians(os.path.join(folder, program))
        times = measured[program]
        ratio = times[figure] / times[peer]
        verdict = ""
        if goal != "-":
            operator, limit = goal.split()
            met = OPERATORS[operator](ratio, float(limit))
            missed += not met
            verdict = goal + ("" if met else "   MISSED")
        print(f"{program:<20} {what:<52} {ratio:8.2f}  {verdict}", flush=True)
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
