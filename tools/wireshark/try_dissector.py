"""Runs the dissector over a capture of hand-made TCP segments and compares the fields it shows."""

import os
import struct
import subprocess
import sys
import tempfile

SCRIPT = os.path.join(os.path.dirname(__file__), "zor.lua")
FIELDS = ["zor.type", "zor.op", "zor.lg", "zor.kel_id", "zor.version", "zor.header_length",
          "zor.text", "zor.control", "zor.body.text", "zor.junk", "_ws.expert.message"]


def frame(kind, op, body=b"", kel_id=-1, version=29, lg=None, text=b""):
    head = struct.pack("<Ihhihhhhhhhh", 0x11224488, kind, op, len(body) if lg is None else lg,
                       -1, -1, -1, kel_id, 0, 0, -1, version)
    return (head + text).ljust(48 if version <= 27 else 132, b"\0") + body


def capture(path, segments):
    """Writes a capture (link type raw IP) of one TCP connection, from the server's port."""
    with open(path, "wb") as out:
        out.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 101))
        sequence = 1
        for number, payload in enumerate(segments):
            tcp = struct.pack(">HHIIBBHHH", 3595, 40000, sequence, 1, 0x50, 0x18, 8192, 0, 0)
            ip = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 40 + len(payload), number, 0, 64, 6, 0,
                             bytes([127, 0, 0, 1]), bytes([127, 0, 0, 1]))
            packet = ip + tcp + payload
            out.write(struct.pack("<IIII", number, 0, len(packet), len(packet)) + packet)
            sequence += len(payload)


def shown(path):
    command = ["tshark", "-r", path, "-X", "lua_script:" + SCRIPT, "-T", "fields",
               "-E", "separator=|", "-E", "aggregator=;"]
    for name in FIELDS:
        command += ["-e", name]
    answer = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=True)
    assert b"Lua" not in answer.stderr, answer.stderr.decode()
    return answer.stdout.decode().splitlines()


LONG = frame(10, 5, b"lines: 3 free\n\0")
CASES = [  # what it is, segments, what the last one shows for each field
    ("a text", [LONG], r"10|5|15|-1|29|132|||lines: 3 free\n||"),
    ("a short header of version 27", [frame(10, 5, b"ok\0", kel_id=3, version=27)],
     "10|5|3|3|27|48|||ok||"),
    ("a header text that fills its short field", [frame(10, 5, b"ok\0", version=27, text=b"t" * 20)],
     "10|5|3|-1|27|48|" + "t" * 20 + "||ok||"),
    ("a header text that fills its long field", [frame(10, 5, text=b"t" * 104)],
     "10|5|0|-1|29|132|" + "t" * 103 + "||||"),
    ("a keep-alive", [frame(8, 5)], "8|5|0|-1|29|132|||||"),
    ("a control text", [frame(10, 5, b"<clear-screen>\n\0")],
     r"10|5|16|-1|29|132||clear the screen|<clear-screen>\n||Control text: clear the screen"),
    ("a body not for display", [frame(10, 6, b"<clear-screen>\n\0")], "10|6|16|-1|29|132|||||"),
    ("a frame over three segments", [LONG[:3], LONG[3:140], LONG[140:]],
     r"10|5|15|-1|29|132|||lines: 3 free\n||"),
    ("two frames in a segment", [frame(8, 5) + frame(10, 7, kel_id=2)],
     "8;10|5;7|0;0|-1;2|29;29|132;132|;||||"),
    ("junk in front of a frame", [b"junkjunk" + frame(8, 5)],
     "8|5|0|-1|29|132||||6a756e6b6a756e6b|Begin marker expected"),
    ("a length out of range", [frame(10, 5, lg=1000001)],
     "10|5|1000001|-1|29|132|||||Body length out of range: 1000001"),
    ("a negative length", [frame(10, 5, lg=-1)],
     "10|5|-1|-1|29|132|||||Body length out of range: -1"),
]


def main():
    failed = 0
    with tempfile.TemporaryDirectory() as folder:
        for what, segments, expected in CASES:
            path = os.path.join(folder, "frames.pcap")
            capture(path, segments)
            lines = shown(path)
            if not lines or lines[-1] != expected:
                failed += 1
                print(f"{what}:\n  expected {expected}\n  got      {lines}")
    print(f"dissector: {len(CASES) - failed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
