"""Measures pairs of figures in turn, and prints their ratios with their spread.

A row of the table: program | what is compared | figure | peer | goal | cores. Figure and peer are
names of Google Benchmark runs; a peer may also be a number. A run is measured by the processor time
of an iteration, into which nothing else on the machine counts; by its real or manual time if its
name says so; or by a counter ("name@counter"). The goal is like "<= 1.5", or "-" for a ratio that
is only shown. "2 cores" at the end is for figures of several threads or processes; all others run
pinned to one core, where no scheduler moves them.

Each turn measures the figure, then the peer, so that both meet the same minute; each in a process
of its own, so that neither gets a heap that the other has warmed, and that every turn has another
layout of addresses. A row has at least five turns, and up to fifteen while they take no more than
six seconds. The ratio of a row is the median of its turns'.

The verdict of a goal needs three quarters of the turns on the same side of it: "met" or "MISSED".
With fewer the spread reaches over the goal from both sides: "too noisy to tell". The exit status is
1 when a goal was missed.
"""

import functools
import json
import os
import re
import statistics
import subprocess
import sys
import time

QUICK = bool(os.environ.get("BENCH_QUICK"))
FEWEST_TURNS, MOST_TURNS = (3, 3) if QUICK else (5, 15)
SECONDS_OF_A_ROW = 6  # then no turn beyond the fewest begins
SECONDS_OF_A_FIGURE = 0.05 if QUICK else 0.15  # the least that one measure of it takes
SIDE_NEEDED = 0.75  # of the turns, for a verdict
OPERATORS = {"<=": lambda a, b: a <= b, ">=": lambda a, b: a >= b}
MET, MISSED, NOISY = "met", "MISSED", "too noisy to tell"


def rows_of(path):
    with open(path, encoding="utf-8") as table:
        for line in table:
            line = line.split("#")[0].strip()
            if line:
                fields = [field.strip() for field in line.split("|")]
                yield (*fields, "1 core")[:6]


def verdict_of(ratios, goal):
    operator, limit = goal.split()
    good = sum(OPERATORS[operator](ratio, float(limit)) for ratio in ratios) / len(ratios)
    if good >= SIDE_NEEDED:
        return MET
    return MISSED if good <= 1 - SIDE_NEEDED else NOISY


def pin_to(cores):
    """Keeps the calling process to its last cores: the first one serves the devices."""
    usable = sorted(os.sched_getaffinity(0))
    os.sched_setaffinity(0, usable[-int(cores.split()[0]):])


def measure(program, name, cores):
    """One run, as the report tells it."""
    answer = subprocess.run(
        [program, "--benchmark_format=json", f"--benchmark_min_time={SECONDS_OF_A_FIGURE}",
         f"--benchmark_filter=^{re.escape(name)}$"],
        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True,
        preexec_fn=lambda: pin_to(cores))
    # A bench may print what its library prints: the report begins at the first brace of a line.
    text = answer.stdout.decode("utf-8", "replace")
    return json.loads(text[text.index("{\n"):])["benchmarks"][0]


def is_number(text):
    return text.replace(".", "", 1).isdigit()


def value_of(runs, text):
    if is_number(text):
        return float(text)
    name, _, counter = text.partition("@")
    # The report keeps a manual time as a real one.
    return runs[name][counter or ("real_time" if "_time" in name else "cpu_time")]


def ratio_of(runs, figure, peer):
    return value_of(runs, figure) / value_of(runs, peer)


@functools.cache
def turns_of(program, names, cores):
    """The runs of each turn; kept, as several rows may look at the same ones."""
    start, turns = time.monotonic(), []
    while len(turns) < FEWEST_TURNS or (
            len(turns) < MOST_TURNS and time.monotonic() - start < SECONDS_OF_A_ROW):
        turns.append({name: measure(program, name, cores) for name in names})
    return turns


def ratios_of(program, figure, peer, cores):
    names = (text.partition("@")[0] for text in (figure, peer) if not is_number(text))
    return [ratio_of(runs, figure, peer) for runs in turns_of(program, tuple(names), cores)]


def check():
    """The arithmetic against cases worked out by hand; an assertion tells what is wrong."""
    runs = {"a": {"real_time": 99.0, "cpu_time": 30.0, "kib": 48.0},
            "b": {"real_time": 99.0, "cpu_time": 20.0},
            "a/real_time": {"real_time": 10.0, "cpu_time": 99.0}}
    assert ratio_of(runs, "a", "b") == 1.5
    assert ratio_of(runs, "a/real_time", "b") == 0.5
    assert ratio_of(runs, "a@kib", "64") == 0.75
    for ratios, goal, verdict in [
            ([0.9, 1.0, 1.0, 1.0], "<= 1.0", MET),
            ([0.9, 0.9, 0.9, 5.0], "<= 1.0", MET),
            ([0.9, 0.9, 1.1, 1.1], "<= 1.0", NOISY),
            ([0.9, 0.9, 0.9, 1.1, 1.1], "<= 1.0", NOISY),
            ([0.9, 1.1, 1.1, 1.1, 1.1], "<= 1.0", MISSED),
            ([1.1, 1.1, 1.1], ">= 1.0", MET)]:
        assert verdict_of(ratios, goal) == verdict, (ratios, goal)


def main():
    check()
    folder, table, words = sys.argv[1], sys.argv[2], sys.argv[3:]
    counts = {MET: 0, MISSED: 0, NOISY: 0}
    print(f"{'program':<19} {'what':<56} {'median':>7} {'min':>7} {'max':>7} turns  goal")
    for program, what, figure, peer, goal, cores in rows_of(table):
        if words and not any(word in program for word in words):
            continue
        ratios = ratios_of(os.path.join(folder, program), figure, peer, cores)
        verdict = ""
        if goal != "-":
            verdict = verdict_of(ratios, goal)
            counts[verdict] += 1
            verdict = f"  {goal}  {verdict}"
        print(f"{program:<19} {what:<56} {statistics.median(ratios):7.2f} {min(ratios):7.2f}"
              f" {max(ratios):7.2f} {len(ratios):5}{verdict}", flush=True)
    print(", ".join(f"{count} {verdict.lower()}" for verdict, count in counts.items()))
    return 1 if counts[MISSED] else 0


if __name__ == "__main__":
    sys.exit(main())
