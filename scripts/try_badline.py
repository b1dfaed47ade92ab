#!/usr/bin/env python3
"""Runs the real zor_sim and zor_console, with a recording, over a line that loses, delays, repeats
and reorders packets, is cut, and swallows everything.

Two network namespaces are made for it, with tools/badline between them; nothing leaves them, and
they go at the end. Where they can't be made, this says so, and has the console lose its sessions
with a scripted peer on this machine instead.

    scripts/try_badline.py BUILD_DIR [--short] [PART...]

Parts: loss1, loss5, loss20, delay, cut, broken, vanished_typing, vanished_idle, vanished_console,
vanished_reader, spoiled. Without a part all of them, in the order of their names here; --short runs
loss5, cut, broken and spoiled in small. The last one is for the others: it changes two bytes on the
way, and they must be seen.
"""

import argparse
import os
import signal
import socket
import subprocess
import sys
import tempfile
import time

SERVER, CONSOLE = "10.9.0.1", "10.9.0.2"
PORT = "3595"
PATIENCE = 240.0  # seconds for an answer; twenty in a hundred lost makes a line slow
VANISHED = 600.0  # seconds for what takes minutes by the system's defaults


def wait_for(what, happened, patience=PATIENCE):
    """Seconds until `happened`; an error if that is never."""
    begin = time.monotonic()
    while not happened():
        if time.monotonic() - begin > patience:
            raise AssertionError(f"never seen within {patience:.0f} s: {what}")
        time.sleep(0.02)
    return time.monotonic() - begin


def content(path):
    try:
        with open(path, "rb") as file:
            return file.read()
    except FileNotFoundError:
        return b""


def run(*words):
    subprocess.run(words, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)


class BadLine:
    """The two namespaces and the relay between them."""

    def __init__(self, build, words):
        self.spaces = [f"zor_badline_{os.getpid()}_{side}" for side in "ab"]
        self.relay = None
        try:
            for space in self.spaces:
                run("ip", "netns", "add", space)
            self.relay = subprocess.Popen([f"{build}/badline", *self.spaces, *words.split()],
                                          stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
            if self.relay.stdout.readline() != "ready\n":
                raise OSError("no tun device")
            for space, own, peer in zip(self.spaces, (SERVER, CONSOLE), (CONSOLE, SERVER)):
                run("ip", "-n", space, "addr", "add", own, "peer", peer, "dev", "bad0")
                run("ip", "-n", space, "link", "set", "bad0", "up")
                run("ip", "-n", space, "link", "set", "lo", "up")
        except (OSError, subprocess.CalledProcessError):
            self.close()
            raise

    def order(self, words):
        self.relay.stdin.write(words + "\n")
        self.relay.stdin.flush()

    def start(self, side, *words, **streams):
        return subprocess.Popen(["ip", "netns", "exec", self.spaces[side], *words], **streams)

    def close(self):
        told = self.relay.communicate()[0].strip() if self.relay else ""
        for space in self.spaces:
            subprocess.run(["ip", "netns", "del", space], stderr=subprocess.DEVNULL)
        return told


class Session:
    """zor_sim at one end of a line, and a console that records at the other."""

    def __init__(self, build, line_words, retries=None):
        self.folder = tempfile.TemporaryDirectory()
        name = self.folder.name
        self.screen, self.record, self.log = (f"{name}/{x}" for x in ("screen", "record", "log"))
        self.programs = []
        self.line = BadLine(build, line_words)
        if retries:
            run("ip", "netns", "exec", self.line.spaces[1], "sysctl", "-w",
                f"net.ipv4.tcp_retries2={retries}")
        self.programs.append(self.line.start(0, f"{build}/zor_sim", "--open", "--pace", "60000",
                                             stdout=open(self.log, "wb")))
        wait_for("a listening server", lambda: b"listening" in content(self.log))
        self.console = self.line.start(1, f"{build}/zor_console", SERVER, PORT,
                                       stdin=subprocess.PIPE, stdout=open(self.screen, "wb"))
        self.programs.append(self.console)
        wait_for("the greeting", lambda: b"you are with" in content(self.screen))
        self.type(f">> {self.record}")
        wait_for("the recording", lambda: b"is opened to record" in content(self.screen))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for program in self.programs:
            program.kill()
            program.wait()
        print("   ", self.line.close())
        self.folder.cleanup()

    def type(self, text):
        self.console.stdin.write(text.encode() + b"\n")
        self.console.stdin.flush()

    def ask(self, text, answer_end):
        before = len(content(self.record))
        self.type(text)
        wait_for(f"the answer to {text}",
                 lambda: content(self.record)[before:].endswith(answer_end))

    def echo(self, numbers):
        for i in numbers:
            self.ask(f"echo number {i}.", b"number %d.\n" % i)

    def disconnected(self):
        return content(self.screen).count(b"server disconnected!")


def body_of(size):
    """What zor_sim sends for "body SIZE": rows of 79 equal digits."""
    rows, row = bytearray(), 0
    while len(rows) < size:
        rows += b"%d" % (row % 10) * 79 + b"\n"
        row += 1
    return bytes(rows[:size - 1] + b"\n")


def expected(numbers):
    return b"".join(b"number %d.\n" % i for i in numbers)


def require(condition, what):
    if not condition:
        raise AssertionError(what)


def exact(build, words, lines, size, pause=0, spoil=False):
    """Both directions are exact, with a cut of `pause` seconds in the middle if there is one."""
    with Session(build, words) as s:
        begin = time.monotonic()
        s.echo(range(lines))
        if pause:
            s.line.order("cut")
            s.type("echo in the cut.")
            time.sleep(pause)
            s.line.order("mend")
            back = wait_for("the line's return",
                            lambda: content(s.record).endswith(b"in the cut.\n"))
            print(f"    a cut of {pause} s: the session goes on {back:.1f} s behind it")
        wanted = expected(range(lines)) + (b"in the cut.\n" if pause else b"") + body_of(size)
        if spoil:
            s.line.order("spoil")
        s.type(f"body {size}")
        wait_for("the body's end", lambda: len(content(s.record)) >= len(wanted))
        require(content(s.record) == wanted, "the recording isn't what the server sent")
        require(wanted in content(s.screen), "the screen isn't what the server sent")
        require(s.disconnected() == 0, "the session ended")
        print(f"    {lines} lines and {size} bytes exact in {time.monotonic() - begin:.1f} s")


def spoiled(build):
    """Two bytes of a body change places on the way: `exact` must say so."""
    try:
        exact(build, "delay 5", 3, 20_000, spoil=True)
    except AssertionError as fault:
        require(str(fault) == "the recording isn't what the server sent", str(fault))
        print(f"    seen: {fault}")
    else:
        raise AssertionError("a change on the way wasn't seen")


def broken(build, retries=3):
    """A cut beyond the system's patience: the session ends, and the next one comes by itself."""
    with Session(build, "delay 20 jitter 10 loss 2", retries) as s:
        s.echo(range(5))
        s.line.order("cut")
        for i in range(5, 10):
            s.type(f"echo number {i}.")
            time.sleep(0.05)
        noticed = wait_for("the end of the session", s.disconnected)
        require(content(s.record) == expected(range(5)), "more was recorded than the server sent")
        s.line.order("mend")
        back = wait_for("the next session",
                        lambda: content(s.screen).count(b"you are with") == 2)
        s.echo(range(10, 15))
        for i in range(15):
            require(content(s.record).count(b"number %d.\n" % i) <= 1, f"line {i} came twice")
        print(f"    tcp_retries2 {retries}: noticed after {noticed:.1f} s,"
              f" a new session {back:.1f} s behind the line's return")


def vanished_typing(build):
    """The line swallows everything while the operator types: when does the console notice?"""
    for retries in (3, 5, 8):
        with Session(build, "delay 5", retries) as s:
            s.echo(range(2))
            s.line.order("cut")
            s.type("echo into the void")
            noticed = wait_for("the end of the session", s.disconnected, VANISHED)
            print(f"    console, typing, tcp_retries2 {retries}: {noticed:.1f} s")


def vanished_idle(build):
    """The same with an operator who types nothing: the keep-alive of 120 s is what notices."""
    with Session(build, "delay 5", 5) as s:
        s.line.order("cut")
        noticed = wait_for("the end of the session", s.disconnected, VANISHED)
        print(f"    console, idle, tcp_retries2 5: {noticed:.1f} s")


def vanished_console(build):
    """A console vanishes that is owed nothing: zor_sim's probes notice."""
    with Session(build, "delay 5") as s:
        s.line.order("cut")
        noticed = wait_for("the end of console 1",
                           lambda: b"console 1: gone" in content(s.log), VANISHED)
        print(f"    zor_sim, idle: {noticed:.1f} s")


def vanished_reader(build):
    """A console vanishes, or stays and reads nothing, that is owed something."""
    with Session(build, "delay 5") as s:
        s.type("body 1000000")
        wait_for("the body's begin", lambda: len(content(s.record)) > 0)
        s.line.order("cut")
        noticed = wait_for("the end of console 1",
                           lambda: b"console 1: gone" in content(s.log), VANISHED)
        print(f"    zor_sim, sending to a vanished console: {noticed:.1f} s")
    with Session(build, "delay 5") as s:
        s.console.send_signal(signal.SIGSTOP)
        s.type("body 1000000")  # taken when the console goes on, so the server must be full by then
        s.console.send_signal(signal.SIGCONT)
        wait_for("the body's begin", lambda: len(content(s.record)) > 0)
        s.console.send_signal(signal.SIGSTOP)
        noticed = wait_for("the end of console 1",
                           lambda: b"console 1: " in content(s.log).split(b"connected", 1)[1],
                           VANISHED)
        print(f"    zor_sim, sending to a console that reads nothing: {noticed:.1f} s")


def without_namespaces(build):
    """The cuts alone: a peer on this machine resets each session, and the console comes again."""
    with socket.create_server(("127.0.0.1", 0)) as listener:
        listener.settimeout(30)
        port = str(listener.getsockname()[1])
        console = subprocess.Popen([f"{build}/zor_console", "127.0.0.1", port],
                                   stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        try:
            for _ in range(3):
                link, _address = listener.accept()
                link.settimeout(30)
                require(link.recv(4) == b"\x88\x44\x22\x11", "a session begins with no frame")
                linger = (1).to_bytes(4, sys.byteorder) + (0).to_bytes(4, sys.byteorder)
                link.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, linger)  # close by a reset
                link.close()
        finally:
            console.kill()
            console.wait()


LONG = {
    "loss1": lambda b: exact(b, "loss 1 delay 20 jitter 10", 100, 1_000_000),
    "loss5": lambda b: exact(b, "loss 5 twice 5 delay 20 jitter 10", 100, 500_000),
    "loss20": lambda b: exact(b, "loss 20 twice 5 delay 20 jitter 10", 40, 30_000),
    "delay": lambda b: exact(b, "delay 100 jitter 50", 40, 300_000),
    "cut": lambda b: exact(b, "loss 1 delay 20 jitter 10", 10, 100_000, 30),
    "broken": lambda b: broken(b, 6),
    "vanished_typing": vanished_typing,
    "vanished_idle": vanished_idle,
    "vanished_console": vanished_console,
    "vanished_reader": vanished_reader,
    "spoiled": spoiled,
}
SHORT = {
    "loss5": lambda b: exact(b, "loss 5 twice 5 delay 20 jitter 10", 8, 20_000),
    "cut": lambda b: exact(b, "loss 1 delay 20 jitter 10", 5, 20_000, 2),
    "broken": broken,
    "spoiled": spoiled,
}


def main():
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("build")
    arguments.add_argument("--short", action="store_true")
    arguments.add_argument("part", nargs="*")
    given = arguments.parse_args()
    parts = SHORT if given.short else LONG
    unknown = [part for part in given.part if part not in parts]
    if unknown:
        arguments.error(f"no such part: {unknown[0]}")
    try:
        BadLine(given.build, "").close()
    except (OSError, subprocess.CalledProcessError) as reason:
        print(f"no namespaces with tun devices here ({reason}): cuts by a scripted peer alone")
        without_namespaces(given.build)
        return
    for part in given.part or parts:
        print(f"badline {part}:", flush=True)
        begin = time.monotonic()
        parts[part](given.build)
        print(f"    passed after {time.monotonic() - begin:.1f} s", flush=True)


if __name__ == "__main__":
    main()
