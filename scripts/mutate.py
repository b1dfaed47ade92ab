#!/usr/bin/env python3
"""Sets small faults in the product's sources, one at a time, and tells which ones the tests see.

  scripts/mutate.py util/l_univ            60 faults of the list, drawn by seed 1
  scripts/mutate.py --seed 7 norba console the same of two rooms, another draw
  scripts/mutate.py --only util/l_univ_list.cpp:41   all faults of one line
  scripts/mutate.py --only 3f9a01bc        one fault again, by its id
  scripts/mutate.py --again build/mutate/last.json   what survived the last run

A fault counts as caught by its room when a test program of the room's own (the table below) fails,
crashes or hangs, else as caught by another test. One that makes the same machine code as the
original is equal and counts nowhere. The work is done on a copy of the tree in build/mutate; the
tree itself is only read. Slow tests are never run.
"""

import argparse
import fcntl
import filecmp
import fnmatch
import hashlib
import json
import os
import random
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from mutate_faults import find_faults, in_template

# Room, its sources, its tests. A source belongs to the first room that names it; a test may serve
# several rooms. A test that no room names runs with "the others".
ROOMS = [
    ("assert", ["util/i_assert*"], ["util/test_assert*"]),
    ("string", ["util/i_charstr*"],
     ["util/test_charstr*", "util/test_overloads*", "fuzz/replay_charstr*"]),
    ("connection", ["util/i_cnxsock*"],
     ["util/test_connection*", "util/test_host*", "norba/test_reader*"]),
    ("messages", ["util/i_msg*"], ["util/test_message*", "util/test_msg*"]),
    ("locks", ["util/i_os_deadlock*", "util/i_os_mutex*", "util/i_os_frames*",
               "util/i_os_traceback*"],
     ["util/test_deadlock*", "util/test_dead_lock*", "util/test_mutex*", "util/test_lock*",
      "util/test_frames*", "util/test_traceback*"]),
    ("files", ["util/i_os_file*"], ["util/test_file*", "fuzz/replay_checksummed*"]),
    ("threads", ["util/i_os_thread*", "util/i_os_table*", "util/i_os_task*", "util/i_os_sync*"],
     ["util/test_thread*", "util/test_table*", "util/test_mutex*", "util/test_sync*",
      "util/test_gate*"]),
    ("time", ["util/i_os_time*"], ["util/test_time*"]),
    ("trace", ["util/i_trace*"], ["util/test_trace*"]),
    ("list", ["util/l_univ*"], ["util/test_list*", "util/test_l_univ*", "util/test_element*"]),
    ("frames", ["norba/*"], ["norba/*"]),
    ("client", ["serv_cli/i_tools_client*", "serv_cli/client_id*"], ["serv_cli/test_client*"]),
    ("tools", ["serv_cli/i_tools*"], ["serv_cli/*"]),
    ("dictionaries", ["serv_cli/dicos*"], ["serv_cli/test*dico*"]),
    ("console", ["console*", "main.cpp"], ["console/*"]),
    ("simulator", ["simulator/*"], ["simulator/*"]),
    ("ask", ["ask/*", "zor_ask*"], ["ask/*", "console/test_ask*"]),
]
NO_FAULTS_IN = ["serv_cli/dicos_tables.h", "standard_descriptors.h"]
NO_SOURCES_IN = {"build", "tests", "bench", "fuzz", "examples", "tools", "docs", "scripts", "cmake"}

FLAGS = "-O0 -g0 -w"  # what is wanted is a quick build
SANITIZERS = {
    "asan": ("clang++", "-fsanitize=address,undefined -fno-sanitize-recover=undefined"),
    "tsan": ("g++", "-fsanitize=thread"),
}
PATIENCE_FACTOR, PATIENCE_SECONDS = 5, 5  # times what the test takes unharmed, plus
MEMORY_LIMIT = 8 << 30  # bytes of address space: a fault may ask for more and more of it
OUTPUT_LIMIT = 4 << 30  # bytes of a file: a fault may print without end; tests make 3 GiB of holes

TREE = Path(__file__).resolve().parent.parent
PLACE = TREE / "build" / "mutate"
COPY = PLACE / "tree"


def room_of(path):
    for room, sources, tests in ROOMS:
        if any(fnmatch.fnmatch(path, pattern) for pattern in sources):
            return room, tests
    return path.split("/")[0], [path.split("/")[0] + "/*"]


# --- The copy of the tree ---------------------------------------------------------------------


def tree_files(root):
    for folder, folders, files in os.walk(root):
        folders[:] = [f for f in folders if f != "build" and not f.startswith(".") and f[0] != "_"]
        for name in files:
            yield (Path(folder) / name).relative_to(root)


def refresh_copy():
    """Makes COPY the same as the tree, touching only what differs."""
    wanted = set(tree_files(TREE))
    for path in wanted:
        source, target = TREE / path, COPY / path
        if not target.exists() or not filecmp.cmp(source, target, shallow=False):
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, target)
    for path in set(tree_files(COPY)) - wanted:
        (COPY / path).unlink()


def fingerprint():
    whole = hashlib.sha1()
    for path in sorted(tree_files(COPY)):
        if path.suffix in (".cpp", ".h", ".txt", ".cmake"):
            whole.update(str(path).encode() + (COPY / path).read_bytes())
    return whole.hexdigest()


def product_sources():
    for path in sorted(tree_files(TREE)):
        if path.suffix in (".cpp", ".h") and path.parts[0] not in NO_SOURCES_IN:
            if str(path) not in NO_FAULTS_IN:
                yield str(path)


# --- One build of the copy --------------------------------------------------------------------


class Build:
    """A build directory of the copy: the ordinary quick one, or one with a sanitizer."""

    def __init__(self, name, compiler, flags, jobs):
        self.directory, self.jobs = PLACE / name, jobs
        linker = "mold" if shutil.which("mold") else "lld" if shutil.which("ld.lld") else ""
        self.configure = [
            "cmake", "-S", COPY, "-B", self.directory, "-G", "Ninja",
            f"-DCMAKE_CXX_COMPILER={compiler}", f"-DCMAKE_CXX_FLAGS={flags}",
            "-DCMAKE_BUILD_TYPE=Debug", f"-DCMAKE_CXX_FLAGS_DEBUG={FLAGS}",
            "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", "-DZOR_TEST_OPTIMIZATION=-O0",
            f"-DCMAKE_EXE_LINKER_FLAGS={'-fuse-ld=' + linker if linker else ''}",
        ]
        self.seconds = {}  # what each test takes unharmed

    def prepare(self, only=None):
        """Builds the unharmed tests and times those that no earlier run has timed."""
        done = subprocess.run(self.configure, capture_output=True, text=True)
        if done.returncode:
            sys.exit(done.stdout + done.stderr)
        self.find_tests()
        names = [name for name in self.tests if only is None or name in only]
        self.build([self.tests[name] for name in names], must=True)
        self.read_times()
        for name in names:
            if name not in self.seconds:
                self.time_unharmed(name)
        self.write_times()

    def find_tests(self):
        listed = subprocess.run(["ctest", "--show-only=json-v1"], cwd=self.directory,
                                capture_output=True, text=True, check=True)
        self.tests = {}
        for test in json.loads(listed.stdout)["tests"]:
            labels = [p["value"] for p in test.get("properties", []) if p["name"] == "LABELS"]
            if not any("slow" in label for label in labels):
                room, _, what = test["name"].partition("/")
                self.tests[test["name"]] = f"{room}_{what}"

    def read_times(self):
        try:
            kept = json.loads((self.directory / "times.json").read_text())
        except (OSError, ValueError):
            return
        if kept["tree"] == fingerprint():
            self.seconds = kept["seconds"]

    def write_times(self):
        kept = {"tree": fingerprint(), "seconds": self.seconds}
        (self.directory / "times.json").write_text(json.dumps(kept))

    def time_unharmed(self, name):
        for _ in range(2):
            started = time.monotonic()
            if self.run(name, 300) is None:
                self.seconds[name] = time.monotonic() - started
                return
        print(f"{name} fails without any fault: left out", flush=True)
        self.tests.pop(name)

    def build(self, targets, must=False):
        """Whether the programs could be built."""
        if not targets:
            return True
        done = run_bounded(["ninja", "-C", self.directory, "-j", str(self.jobs), *targets], 1200)
        if must and done != 0:
            subprocess.run(["ninja", "-C", self.directory, *targets])
            sys.exit("the unharmed tree doesn't build")
        return done == 0

    def run(self, name, patience):
        """None if the test passes, else what went wrong."""
        program = self.directory / "tests" / self.tests[name]
        done = run_bounded([program], patience, cwd=self.directory / "tests")
        return None if done == 0 else "hangs" if done is None else f"fails ({done})"

    def first_failing(self, names):
        """The first test of `names` that fails, with how; the others aren't waited for."""
        names = sorted((n for n in names if n in self.tests), key=lambda n: self.seconds[n])
        if not self.build([self.tests[name] for name in names]):
            return "build"
        with ThreadPoolExecutor(self.jobs) as pool:
            def one(name):
                if failed:
                    return
                wrong = self.run(name, PATIENCE_FACTOR * self.seconds[name] + PATIENCE_SECONDS)
                if wrong:
                    failed.append(f"{name} {wrong}")

            failed = []
            list(pool.map(one, names))
        return failed[0] if failed else None

    def compile_line(self, source):
        """The command that compiles `source`, without its output."""
        for entry in json.loads((self.directory / "compile_commands.json").read_text()):
            if entry["file"] == str(COPY / source):
                words = shlex.split(entry["command"])
                at = words.index("-o")
                return words[:at] + [w for w in words[at + 2 :] if w not in ("-c", entry["file"])]
        return None


def run_bounded(command, patience, cwd=None):
    """The exit status, or None after `patience` seconds. Ends whatever the command has started."""

    def limits():
        os.setsid()
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(resource.RLIMIT_FSIZE,
                           (OUTPUT_LIMIT, resource.getrlimit(resource.RLIMIT_FSIZE)[1]))
        limit_memory(command)

    environment = dict(os.environ, GTEST_FAIL_FAST="1")
    child = subprocess.Popen([str(word) for word in command], cwd=cwd, preexec_fn=limits,
                             stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                             stderr=subprocess.DEVNULL, env=environment)
    try:
        return child.wait(patience)
    except subprocess.TimeoutExpired:
        return None
    finally:
        try:
            os.killpg(child.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        child.wait()


def limit_memory(command):
    # The sanitizers reserve address space by the terabyte.
    if not any(name in str(command[0]) for name in SANITIZERS):
        hard = resource.getrlimit(resource.RLIMIT_AS)[1]
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, hard))


# --- One fault --------------------------------------------------------------------------------


class Original:
    """Puts faults into the copy and takes them out again."""

    def __init__(self):
        self.texts = {}

    def text(self, path):
        if path not in self.texts:
            self.texts[path] = (COPY / path).read_text()
        return self.texts[path]

    def set(self, fault):
        (COPY / fault.path).write_text(fault.applied(self.text(fault.path)))

    def restore(self, path):
        (COPY / path).write_text(self.text(path))


class Comparison:
    """Tells whether a fault makes the very code of the original, optimised as in a release."""

    def __init__(self, build, original):
        self.build, self.original, self.unharmed = build, original, {}

    def equal(self, fault):
        if fault.path.endswith(".h") and in_template(self.original.text(fault.path), fault):
            return False
        harmed = self.code(fault.path)
        if fault.path not in self.unharmed:
            self.original.restore(fault.path)
            self.unharmed[fault.path] = self.code(fault.path)
            self.original.set(fault)
        return harmed is not None and harmed == self.unharmed[fault.path]

    def code(self, path):
        if path.endswith(".h"):
            # Every inline function of the header gets its code, also without a caller.
            line = self.build.compile_line(next(p for p in product_sources() if p.endswith(".cpp")))
            line += ["-fkeep-inline-functions", "-x", "c++"]
        else:
            line = self.build.compile_line(path)
        if line is None:
            return None
        target = PLACE / "compared.o"
        target.unlink(missing_ok=True)
        line = [word for word in line if word != "-O0"] + ["-O2", "-frandom-seed=0"]
        subprocess.run([*line, "-c", str(COPY / path), "-o", str(target)],
                       cwd=self.build.directory, capture_output=True)
        return target.read_bytes() if target.exists() else None


class Run:
    def __init__(self, options):
        self.options = options
        self.build = Build("quick", "g++", "", options.jobs)
        self.original = Original()
        self.comparison = Comparison(self.build, self.original)
        self.results = []

    def room_tests(self, path, build):
        _, patterns = room_of(path)
        return [n for n in build.tests if any(fnmatch.fnmatch(n, p) for p in patterns)]

    def other_tests(self, path):
        """All but the room's own, those of the same folder first."""
        own = self.room_tests(path, self.build)
        return [name for name in self.build.tests if name not in own]

    def outcome(self, fault):
        """(result, what told it) of a fault that stands in the copy."""
        room = self.room_tests(fault.path, self.build)
        told = self.build.first_failing(room)
        if told == "build":
            return "not compiled", ""
        if told:
            return "room", told
        if self.comparison.equal(fault):
            return "equal", ""
        if not self.options.room_only:
            told = self.build.first_failing(self.other_tests(fault.path))
            if told == "build":
                return "not compiled", ""
            if told:
                return "other", told
        return "survived", ""

    def try_one(self, number, total, fault):
        self.original.set(fault)
        try:
            result, told = self.outcome(fault)
        finally:
            self.original.restore(fault.path)
        print(f"[{number}/{total}] {one_line(fault)}: {result}{told and ' by ' + told}", flush=True)
        self.results.append([fault, result, told])

    def all(self, faults):
        only = None
        if self.options.room_only:
            self.build_list()
            only = {n for f in faults for n in self.room_tests(f.path, self.build)}
        self.build.prepare(only)
        for number, fault in enumerate(faults, 1):
            self.try_one(number, len(faults), fault)
        for name in self.options.sanitize:
            self.sanitize(name)

    def build_list(self):
        subprocess.run(self.build.configure, capture_output=True, check=True)
        self.build.find_tests()

    def sanitize(self, name):
        """Repeats what survived with the room's tests under a sanitizer."""
        left = [entry for entry in self.results if entry[1] == "survived"]
        if not left:
            return
        build = Build(name, *SANITIZERS[name], self.options.jobs)
        subprocess.run(build.configure, capture_output=True, check=True)
        build.find_tests()
        build.prepare({n for f, _, _ in left for n in self.room_tests(f.path, build)})
        for entry in left:
            fault = entry[0]
            self.original.set(fault)
            try:
                told = build.first_failing(self.room_tests(fault.path, build))
            finally:
                self.original.restore(fault.path)
            if told and told != "build":
                entry[1:] = ["sanitizer", f"{name}: {told}"]
                print(f"{one_line(fault)}: seen by {name}: {told}", flush=True)


# --- What is told -----------------------------------------------------------------------------


def one_line(fault):
    before, after = " ".join(fault.before.split()), " ".join(fault.after.split())
    return f"{fault.id} {fault.path}:{fault.line} {fault.kind}: {before} -> {after}"


def table(results):
    columns = ["room", "other", "sanitizer", "survived", "equal", "not compiled"]
    rows = {}
    for fault, result, _ in results:
        row = rows.setdefault(room_of(fault.path)[0], dict.fromkeys(columns, 0))
        row[result] += 1
    total = {c: sum(row[c] for row in rows.values()) for c in columns}
    print(f"\n{'':14}{'faults':>7}{'by room':>9}{'by other':>9}{'sanitizer':>10}{'survived':>9}"
          f"{'equal':>7}{'not compiled':>13}{'caught':>8}{'by room':>9}")
    for room, row in [*rows.items(), ("all", total)]:
        real = sum(row[c] for c in columns[:4])
        share = (lambda n: f"{100 * n / real:.0f} %" if real else "-")
        print(f"{room:14}{sum(row.values()):7}{row['room']:9}{row['other']:9}{row['sanitizer']:10}"
              f"{row['survived']:9}{row['equal']:7}{row['not compiled']:13}"
              f"{share(real - row['survived']):>8}{share(row['room']):>9}")


def report(run):
    table(run.results)
    survived = [fault for fault, result, _ in run.results if result == "survived"]
    if survived:
        print("\nsurvived:")
    for fault in survived:
        print(f"  {fault.id} {fault.path}:{fault.line} {fault.kind}")
        for sign, text in (("-", fault.before), ("+", fault.after)):
            print("".join(f"      {sign} {line}\n" for line in text.strip().split("\n")), end="")
    kept = [dict(vars(fault), id=fault.id, room=room_of(fault.path)[0], result=result, told=told)
            for fault, result, told in run.results]
    Path(run.options.json).write_text(json.dumps(kept, indent=1))
    print(f"\nall of it: {run.options.json}")


# --- What is tried ----------------------------------------------------------------------------


def parsed():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("where", nargs="*", help="rooms, or beginnings of file names")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--count", type=int, default=60, help="faults to draw; 0: all there are")
    parser.add_argument("--list", action="store_true", help="only list what would be tried")
    parser.add_argument("--only", action="append", default=[], metavar="FILE:LINE|ID")
    parser.add_argument("--again", metavar="FILE.json", help="repeat what survived an earlier run")
    parser.add_argument("--room-only", action="store_true", help="don't run the tests of others")
    parser.add_argument("--sanitize", type=lambda words: words.split(","), default=[],
                        metavar="asan,tsan", help="repeat survivors under these")
    parser.add_argument("--jobs", type=int, default=int(os.environ.get("JOBS", os.cpu_count())))
    parser.add_argument("--json", default=str(PLACE / "last.json"), help="where the results go")
    options = parser.parse_args()
    if unknown := set(options.sanitize) - set(SANITIZERS):
        parser.error(f"no such sanitizer: {' '.join(unknown)}")
    return options


def chosen(options):
    """The faults to try, ordered by file so that each object is rebuilt only while in use."""
    wanted = set(options.only)
    if options.again:
        kept = json.loads(Path(options.again).read_text())
        wanted |= {entry["id"] for entry in kept if entry["result"] == "survived"}
    faults = []
    for path in product_sources():
        if not options.where or any(path.startswith(w) or room_of(path)[0] == w
                                    for w in options.where):
            faults += find_faults(path, (TREE / path).read_text())
    if wanted or options.again:
        return [f for f in faults if f.id in wanted or f"{f.path}:{f.line}" in wanted]
    if options.count and options.count < len(faults):
        drawn = random.Random(options.seed).sample(range(len(faults)), options.count)
        faults = [faults[place] for place in sorted(drawn)]
    return faults


def main():
    options = parsed()
    faults = chosen(options)
    if not faults:
        sys.exit("nothing to set a fault in")
    if options.list:
        print("\n".join(one_line(fault) for fault in faults))
        return
    PLACE.mkdir(parents=True, exist_ok=True)
    lock = open(PLACE / "lock", "w")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except OSError:
        sys.exit("another run is under way in this tree")
    refresh_copy()
    run = Run(options)
    try:
        run.all(faults)
    except KeyboardInterrupt:
        print("\ninterrupted")
    report(run)


if __name__ == "__main__":
    main()
