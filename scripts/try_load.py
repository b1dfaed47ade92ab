#!/usr/bin/env python3
"""Puts load on the real programs and watches what they use.

    scripts/try_load.py flood BUILD_DIR [--small N] [--large MB]
        N small frames, then MB megabytes in large ones, into a console that records. What the
        screen gets is exact, and the console needs no more memory, threads or descriptors behind
        it than a moment after its start.

    scripts/try_load.py crowd BUILD_DIR [--consoles N]
        N consoles join one zor_sim, each asks and is answered, all leave. Told is the memory for
        each, and behind it descriptors and threads are what they were. --under "COMMAND" runs
        zor_sim under an emulator, --each KB allows more for a console than usual.
"""

import argparse
import contextlib
import hashlib
import os
import resource
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time

PATIENCE = 60.0  # seconds for anything that must come
TEXT, JOIN = (10, 5), (10, 6)
SMALL = b"%07d: a line such as a server prints while it works\n"
LARGE_SIZE = 1_000_000  # bytes of a body, the most that a frame may have
CHUNK = 10_000  # bytes of a body that the console handles at a time
FILE_LIMIT = 50_000_000  # bytes; a recording above it starts over
NOTICE = b"\n\n......  FILE record IS FULL ...... REWINDING !!!\n"
FLAT = 1024  # kilobytes that the console may grow by in a flood


def frame(kind, body=b""):
    return struct.pack("<IhhihhhhHHhh", 0x11224488, *kind, len(body), -1, -1, -1, -1, 0, 0, -1,
                       29) + bytes(104) + body


def usage(pid):
    """Resident kilobytes, threads, descriptors."""
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        fields = dict(line.split(":", 1) for line in status if ":" in line)
    return int(fields["VmRSS"].split()[0]), int(fields["Threads"]), len(
        os.listdir(f"/proc/{pid}/fd"))


def settled(pid, expected):
    """The usage, once threads and descriptors have come down to `expected`, or in the end."""
    for _ in range(int(PATIENCE * 10)):
        now = usage(pid)
        if now[1:] <= expected[1:]:
            break
        time.sleep(0.1)
    return now


class Screen:
    """Takes all that a program prints, and knows its size and digest."""

    def __init__(self, stream):
        self.stream, self.size, self.digest = stream, 0, hashlib.sha256()
        self.start = b""
        self.thread = threading.Thread(target=self._take, daemon=True)
        self.thread.start()

    def _take(self):
        while piece := os.read(self.stream.fileno(), 1 << 20):
            self.digest.update(piece)
            self.start = (self.start + piece)[:4096] if len(self.start) < 4096 else self.start
            self.size += len(piece)

    def wait_for_size(self, size):
        last, since = -1, time.monotonic()
        while self.size < size:
            if self.size != last:
                last, since = self.size, time.monotonic()
            elif time.monotonic() - since > PATIENCE:
                sys.exit(f"the screen stands still at {self.size} of {size} bytes")
            time.sleep(0.01)


def receive(link, size):
    got = b""
    while len(got) < size:
        piece = link.recv(size - len(got))
        if not piece:
            sys.exit("a connection ended")
        got += piece
    return got


class Model:
    """What screen and recording have to hold, chunk by chunk as the console takes them."""

    def __init__(self):
        self.digest, self.size = hashlib.sha256(), 0
        self.file, self.position = bytearray(), 0

    def _write(self, text):
        self.file[self.position:self.position + len(text)] = text
        self.position += len(text)

    def _show(self, text):
        self.digest.update(text)
        self.size += len(text)

    def add(self, body):
        for at in range(0, len(body), CHUNK):
            chunk = body[at:at + CHUNK]
            full = self.position > FILE_LIMIT
            if full:
                self._write(NOTICE)
                self.position = 0
            self._write(chunk)
            self._show(chunk)
            if full:
                self._show(NOTICE)


def flood(options):
    with contextlib.ExitStack() as stack:
        work = stack.enter_context(tempfile.TemporaryDirectory())
        listener = stack.enter_context(socket.create_server(("127.0.0.1", 0)))
        port = str(listener.getsockname()[1])
        console = subprocess.Popen([os.path.join(options.build, "zor_console"), "127.0.0.1", port],
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, cwd=work)
        stack.callback(console.kill)
        screen = Screen(console.stdout)
        link, _ = listener.accept()
        receive(link, 132)
        console.stdin.write(b">> record\n")
        console.stdin.flush()
        while b"file record is opened to record" not in screen.start:
            time.sleep(0.01)
        greeting = screen.size
        # One large frame first: the memory that a long body needs is no growth.
        model, body = Model(), bytes(range(1, 256)) * (LARGE_SIZE // 255)
        screen.digest = hashlib.sha256()
        link.sendall(frame(TEXT, body))
        model.add(body)
        screen.wait_for_size(greeting + model.size)
        before, started = usage(console.pid), time.monotonic()
        for first in range(0, options.small, 1000):
            lines = [SMALL % n for n in range(first, min(first + 1000, options.small))]
            link.sendall(b"".join(frame(TEXT, line + b"\0") for line in lines))
            for line in lines:
                model.add(line)
        large = frame(TEXT, body)
        for _ in range(options.large * 1_000_000 // LARGE_SIZE):
            link.sendall(large)
            model.add(body)
        screen.wait_for_size(greeting + model.size)
        took = time.monotonic() - started
        after = settled(console.pid, before)
        print(f"flood: {options.small} small frames and {options.large} MB in large ones in "
              f"{took:.0f} s; resident {before[0]} kB before, {after[0]} kB behind it; "
              f"threads {after[1]}, descriptors {after[2]}")
        if screen.digest.digest() != model.digest.digest():
            sys.exit("the screen isn't what was sent")
        with open(os.path.join(work, "record"), "rb") as record:
            if record.read() != model.file:
                sys.exit("the recording isn't what was sent")
        if not options.any_size and after[0] > before[0] + FLAT or after[1:] != before[1:]:
            sys.exit(f"the console grew from {before} to {after}")


def answer(link, expected):
    got = b""
    while expected not in got:
        head = receive(link, 132)
        got += receive(link, struct.unpack_from("<i", head, 8)[0])
    return got


def crowd(options):
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    wanted = options.consoles + 200
    resource.setrlimit(resource.RLIMIT_NOFILE, (max(soft, min(wanted, hard)), hard))
    with contextlib.ExitStack() as stack:
        server = subprocess.Popen([*options.under.split(), os.path.join(options.build, "zor_sim"),
                                   "--port", "0", "--consoles", str(options.consoles)],
                                  stdout=subprocess.PIPE)
        stack.callback(server.kill)
        screen = Screen(server.stdout)
        while b"\n" not in screen.start:
            time.sleep(0.01)
        port = int(screen.start.split(b"listening on port ")[1].split()[0])
        before = usage(server.pid)
        links = []
        for number in range(options.consoles):
            link = socket.create_connection(("127.0.0.1", port), PATIENCE)
            link.sendall(frame(JOIN))
            link.sendall(frame(TEXT, b"echo here is %d.\n\0" % number))
            links.append(link)
        for number, link in enumerate(links):
            answer(link, b"here is %d." % number)
        crowded = usage(server.pid)
        each = (crowded[0] - before[0]) / options.consoles
        for link in links:
            link.close()
        after = settled(server.pid, before)
        print(f"crowd: {options.consoles} consoles, {each:.1f} kB resident for each; behind them "
              f"{after[1]} threads and {after[2]} descriptors, as before")
        if after[1:] != before[1:]:
            sys.exit(f"not given back: {before} before, {after} behind them")
        if each > options.each and not options.any_size:
            sys.exit(f"more than {options.each} kB for a console")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parts = parser.add_subparsers(required=True)
    for name, part in (("flood", flood), ("crowd", crowd)):
        command = parts.add_parser(name)
        command.set_defaults(part=part)
        command.add_argument("build")
    parts.choices["flood"].add_argument("--small", type=int, default=1_000_000)
    parts.choices["flood"].add_argument("--large", type=int, default=1_000, help="megabytes")
    parts.choices["crowd"].add_argument("--consoles", type=int, default=1_000)
    parts.choices["crowd"].add_argument("--each", type=int, default=64, help="kilobytes")
    parts.choices["crowd"].add_argument("--under", default="", help="what runs zor_sim")
    for command in parts.choices.values():
        command.add_argument("--any-size", action="store_true",
                             help="under a sanitizer: memory isn't judged")
    options = parser.parse_args()
    options.build = os.path.abspath(options.build)
    options.part(options)


if __name__ == "__main__":
    main()
