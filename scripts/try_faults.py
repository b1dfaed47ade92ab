#!/usr/bin/env python3
"""Lets calls of the system fail under the real zor_console and zor_sim, one call at a time.

For each function the first, second, ... call fails, falls short or is interrupted, until the story
of a run makes no further call. What must hold each time: the program doesn't crash and doesn't
hang; behind the fault a whole session works; no descriptor is lost. A program may also end, but
only with a message and an exit status of its own, never by a signal.

    scripts/try_faults.py BUILD_DIR [--short] [--only PROGRAM:FUNCTION:CALL:FAULT] [--jobs N]
"""

import argparse
import concurrent.futures
import os
import queue
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time

PATIENCE = 20.0  # seconds for anything that must come
HEADER = 132
TEXT, JOIN = (10, 5), (10, 6)

# Which faults each function shows, and for how many calls at the most.
FAULTS = {
    "read": (["EIO", "EINTR", "ECONNRESET", "short"], 12),
    "send": (["EIO", "EINTR", "ECONNRESET", "short"], 8),
    "select": (["EINTR", "ENOMEM"], 6),
    "socket": (["EMFILE"], 3),
    "connect": (["ECONNREFUSED", "EINTR"], 3),
    "accept": (["EMFILE", "EINTR", "ECONNRESET"], 3),
    "fopen": (["EMFILE"], 2),
    "fdopen": (["ENOMEM"], 2),
    "fwrite": (["ENOSPC", "short"], 6),
    "pthread_create": (["EAGAIN"], 6),
    "sem_init": (["ENOSPC"], 6),
    "sem_wait": (["EINTR"], 8),
    "malloc": (["ENOMEM", "after"], 400),
}
BATCH = 6  # calls tried side by side before a run that makes fewer ends its series
SHORT_CALLS = 2  # of each function in the short run
SHORT_STRIDE = 29  # of all calls of malloc, the short run lets one in so many fail


class Failure(Exception):
    pass


def frame(kind, body=b""):
    kind_type, op = kind
    head = struct.pack("<IhhihhhhHHhh", 0x11224488, kind_type, op, len(body), -1, -1, -1, -1, 0, 0,
                       -1, 29)
    return head + bytes(104) + body


def receive(link, size):
    got = b""
    while len(got) < size:
        piece = link.recv(size - len(got))
        if not piece:
            raise Failure("the connection ended")
        got += piece
    return got


def receive_frame(link):
    head = receive(link, HEADER)
    return struct.unpack_from("<hh", head, 4), receive(link, struct.unpack_from("<i", head, 8)[0])


class Program:
    """A program under test with one fault in wait; what it prints is gathered as it comes."""

    def __init__(self, command, fault, library, work):
        self.mark = os.path.join(work, "struck")
        environment = dict(os.environ, LD_PRELOAD=library, ZOR_FAULT=fault, ZOR_FAULT_MARK=self.mark)
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, cwd=work, env=environment)
        self.said = b""
        self.pieces = queue.Queue()
        threading.Thread(target=self._gather, daemon=True).start()

    def _gather(self):
        while piece := os.read(self.process.stdout.fileno(), 65536):
            self.pieces.put(piece)
        self.pieces.put(b"")

    def struck(self):
        return os.path.exists(self.mark)

    def ended(self):
        return self.process.poll() is not None

    def type(self, text):
        self.process.stdin.write(text)
        self.process.stdin.flush()

    def wait_for(self, text, limit=PATIENCE):
        """The output up to and with `text`; it is taken."""
        end = time.monotonic() + limit
        while text not in self.said:
            try:
                piece = self.pieces.get(timeout=max(end - time.monotonic(), 0.01))
            except queue.Empty:
                raise Failure(f"never said: {text!r}; said: {self.said[-300:]!r}") from None
            if not piece:
                raise Failure(f"ended instead of: {text!r}; said: {self.said[-300:]!r}")
            self.said += piece
        place = self.said.index(text) + len(text)
        taken, self.said = self.said[:place], self.said[place:]
        return taken

    def drain(self):
        while not self.pieces.empty():
            self.said += self.pieces.get()
        return self.said

    def descriptors(self, expected):
        """How many are open; those of a session that is just ending get a moment to go."""
        for _ in range(50):
            count = len(os.listdir(f"/proc/{self.process.pid}/fd"))
            if count <= expected:
                break
            time.sleep(0.1)
        return count

    def kill(self):
        if not self.ended():
            self.process.kill()
        self.process.wait()


class ConsoleStory:
    """A server that the console meets twice; the operator records and types a line in each."""

    def __init__(self, build, fault, library, work):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.listener.settimeout(PATIENCE)
        port = str(self.listener.getsockname()[1])
        self.program = Program([os.path.join(build, "zor_console"), "127.0.0.1", port], fault,
                               library, work)
        self.work = work

    def session(self, name, link):
        program = self.program
        program.type(b">> record_%s\n" % name)
        program.wait_for(b"file record_%s is opened to record" % name)
        link.sendall(frame(TEXT, b"news of %s\n\0" % name))
        program.wait_for(b"news of %s\n" % name)
        program.type(b"line of %s\n" % name)
        if receive_frame(link) != (TEXT, b"line of %s\n\0" % name):
            raise Failure("another text than typed")
        with open(os.path.join(self.work, f"record_{name.decode()}"), "rb") as record:
            if record.read() != b"news of %s\n" % name:
                raise Failure("the recording isn't what was shown")

    def join(self):
        """The next session, once what was typed in the one before has come."""
        link, _ = self.listener.accept()
        link.settimeout(PATIENCE)
        if receive_frame(link) != (JOIN, b""):
            raise Failure("no join frame")
        self.program.type(b"\nready\n")
        while not receive_frame(link)[1].endswith(b"ready\n\0"):
            pass
        return link

    def disturbed(self):
        """A session in which anything may go wrong but a hang; quick, since nobody waits for it."""
        link, _ = self.listener.accept()
        link.settimeout(4)
        try:
            receive_frame(link)
            self.program.type(b">> first\n")
            link.sendall(frame(TEXT, b"first news\n\0"))
            self.program.wait_for(b"first news\n", 4)
            self.program.type(b"first line\n")
            receive_frame(link)
        except (Failure, OSError):
            pass
        link.close()

    def proven(self, descriptors):
        """A perfect session; the fault may still have been in wait for the first one's end."""
        for name in (b"proof", b"second", b"third"):
            link = None
            try:
                link = self.join()
                self.session(name, link)
                break
            except (Failure, OSError):
                if name == b"third" or self.program.ended():
                    raise
                if link:
                    link.close()
        count = self.program.descriptors(descriptors)
        link.close()
        return count

    def close(self):
        self.listener.close()


class SimStory:
    """Two consoles that one zor_sim serves, one after the other."""

    def __init__(self, build, fault, library, work):
        self.program = Program([os.path.join(build, "zor_sim"), "--port", "0"], fault, library, work)
        self.port = None  # known once the program has told it

    def connect(self):
        if self.port is None:
            self.program.wait_for(b"listening on port ")
            self.port = int(self.program.wait_for(b"\n"))
        link = socket.create_connection(("127.0.0.1", self.port), PATIENCE)
        link.sendall(frame(JOIN))
        return link

    @staticmethod
    def ask(link, line, expected):
        link.sendall(frame(TEXT, line + b"\n\0"))
        got = b""
        while expected not in got:
            got += receive_frame(link)[1]
        return got

    def disturbed(self):
        link = self.connect()
        link.settimeout(4)
        try:
            self.ask(link, b"echo first", b"first")
            self.ask(link, b"files", b"bytes")
            self.ask(link, b"body 100000", b"9" * 20)
        except (Failure, OSError):
            pass
        link.close()

    def proven(self, descriptors):
        for attempt in range(3):
            try:
                link = self.connect()
                self.ask(link, b"echo all is well", b"all is well")
                break
            except (Failure, OSError):
                if attempt == 2 or self.program.ended():
                    raise
        count = self.program.descriptors(descriptors)
        link.close()
        return count

    def close(self):
        pass


class PlainConsole:
    """A console in its first session, started by the shell with `redirections`."""

    def __init__(self, build, redirections):
        with socket.create_server(("127.0.0.1", 0)) as listener:
            listener.settimeout(PATIENCE)
            self.process = subprocess.Popen(
                ["sh", "-c", f'exec "$0" "$@" {redirections}', os.path.join(build, "zor_console"),
                 "127.0.0.1", str(listener.getsockname()[1])])
            self.link, _ = listener.accept()
        self.link.settimeout(PATIENCE)
        receive_frame(self.link)

    def processor_time(self):
        """In seconds, since its start."""
        with open(f"/proc/{self.process.pid}/stat", encoding="ascii") as stat:
            fields = stat.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def end(self):
        self.link.close()
        self.process.kill()
        self.process.wait()


def closed_at_start(build):
    """A closed standard descriptor never becomes the connection."""
    console = PlainConsole(build, "<&- >&- 2>&-")
    try:
        for fd in range(3):
            if os.readlink(f"/proc/{console.process.pid}/fd/{fd}") != "/dev/null":
                raise Failure(f"descriptor {fd}, closed at the start, isn't on /dev/null")
    finally:
        console.end()


def without_input(build):
    """The end of the input neither costs the processor nor floods the server."""
    console = PlainConsole(build, "</dev/null >/dev/null")
    try:
        time.sleep(3)
        if console.processor_time() > 0.3:
            raise Failure(f"{console.processor_time()} s of the processor in 3 idle seconds")
        console.link.sendall(frame(TEXT, b"<on-canonique>\n\0"))
        begin = time.monotonic()
        for _ in range(3):
            if receive_frame(console.link) != (TEXT, b"\xff\0"):
                raise Failure("another text than the key of the end")
        if time.monotonic() - begin < 1.8:
            raise Failure("the keys of the end come faster than one in a second")
    finally:
        console.end()


STORIES = {"console": ConsoleStory, "sim": SimStory}


def orderly_end(program):
    """Gives why an end isn't one that may be, or nothing."""
    status = program.process.wait()
    said = program.drain()
    if status == -signal.SIGABRT and b"Assertion <" in said:
        return None
    if status < 0:
        return f"ended by signal {-status}: {said[-300:]!r}"
    return None if said.strip() else "ended without a word"


def run(build, library, story_name, function, call, fault, descriptors=0):
    """Gives (struck, descriptors, complaint). Where memory is gone for good, nothing but an end
    without a word or by a signal is a complaint."""
    with tempfile.TemporaryDirectory() as work:
        story = STORIES[story_name](build, f"{function}:{call}:{fault}", library, work)
        program, count, complaint = story.program, None, None
        try:
            story.disturbed()
            if fault == "after":
                story.disturbed()
            else:
                count = story.proven(descriptors)
        except (Failure, OSError) as error:
            time.sleep(0.2)
            if program.ended():
                complaint = orderly_end(program)
            elif fault != "after":
                complaint = str(error)
        finally:
            program.kill()
            story.close()
        return program.struck(), count, complaint


def plan(short, stories):
    for story in stories:
        for function, (faults, most) in FAULTS.items():
            for fault in faults:
                yield story, function, fault, most if not short else min(
                    most, SHORT_CALLS if function != "malloc" else most)


def try_series(runs, build, library, baselines, short, series):
    """All calls of one function with one fault; gives how many struck, and the complaints."""
    story, function, fault, most = series
    stride = SHORT_STRIDE if short and function == "malloc" else 1
    calls = list(range(1, most + 1, stride))
    struck_count, complaints = 0, []
    for first in range(0, len(calls), BATCH):
        batch = [(call, runs.submit(run, build, library, story, function, call, fault,
                                    baselines[story]))
                 for call in calls[first:first + BATCH]]
        for call, result in batch:
            struck, count, complaint = result.result()
            struck_count += struck
            if count is not None and count > baselines[story]:
                complaint = f"{count} descriptors instead of {baselines[story]}"
            if struck and complaint:
                complaints.append(f"{story}:{function}:{call}:{fault}: {complaint}")
        if not struck:  # of the last one
            break
    return series, struck_count, complaints


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build")
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--only")
    parser.add_argument("--story", choices=STORIES, action="append")
    parser.add_argument("--jobs", type=int, default=12)
    options = parser.parse_args()
    build = os.path.abspath(options.build)
    library = os.path.join(build, "libzor_faults.so")
    if options.only:
        story, function, call, fault = options.only.split(":")
        print(run(build, library, story, function, int(call), fault))
        return 0
    stories = options.story or list(STORIES)
    baselines = {}
    for story in stories:
        _, baselines[story], complaint = run(build, library, story, "none", 0, "EIO")
        if complaint:
            sys.exit(f"{story} without a fault: {complaint}")
    total, complaints = 0, []
    for scene in (closed_at_start, without_input):
        try:
            scene(build)
        except (Failure, OSError) as error:
            complaints.append(f"console: {error}")
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as runs, \
            concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        work = [pool.submit(try_series, runs, build, library, baselines, options.short, series)
                for series in plan(options.short, stories)]
        for done in concurrent.futures.as_completed(work):
            (story, function, fault, _), struck, found = done.result()
            total += struck
            complaints += found
            print(f"{story:8} {function:15} {fault:13} {struck:4} faults, {len(found)} complaints",
                  flush=True)
    print("\n".join(complaints))
    print(f"{total} faults, {len(complaints)} complaints")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
