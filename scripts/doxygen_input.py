#!/usr/bin/env python3
"""What Doxygen reads in the place of the tree.

    doxygen_input.py HEADER             the header as its readers take it: the comment at its top is
                                        the file's own text, and a text above a block of declarations
                                        stands for each of them, up to the next blank line or text;
                                        lines keep their numbers
    doxygen_input.py --start HEADER...  the start page: each room with its first sentence
"""

import re
import sys

OPENS_SCOPE = re.compile(r"^\s*(?:template\b.*)?(?:inline\s+)?(?:class|struct|union|enum|namespace|extern \"C\")\b[^;()]*\{\s*$")
NEEDS_NO_TEXT = re.compile(r"~|= (?:default|delete);|///<")
NO_DECLARATION = re.compile(r"^\s*(?:#|//|\}|public:|protected:|private:|friend\b.*\{$)")


def file_text(lines):
    """The lines with the comment under `#pragma once` as the text of the file."""
    if not lines or lines[0] != "#pragma once":
        return lines
    end = next((i for i, line in enumerate(lines[1:], 1) if not line.startswith("//")), len(lines))
    # What is indented there is a table: it stays as it stands.
    told = ["///" + re.sub("^   ", " " * 8, line[2:]) for line in lines[1:end]]
    return [r"/// \file"] + told + lines[end:]


def code_of(line):
    """The line without its comment and what stands in quotes."""
    return re.sub(r"//.*", "", re.sub(r"\"(?:\\.|[^\"])*\"|'(?:\\.|[^'])*'", "0", line))


def block_texts(lines):
    """The lines with the text of a block in front of each of its declarations that has none."""
    text, taken, start, depth, given = [], False, 0, 0, []
    for number, line in enumerate(lines):
        stripped = line.strip()
        given.append(line)
        if depth == 0:
            if not stripped:
                text = []
            elif stripped.startswith("///"):
                if taken or not text:
                    text, taken = [], False
                text.append(stripped[3:].strip())
                continue
            elif NO_DECLARATION.match(line):
                continue
            elif OPENS_SCOPE.match(line):
                text = []
                continue
            else:
                start = number
        code = code_of(line)
        depth += sum(code.count(c) for c in "({") - sum(code.count(c) for c in ")}")
        if depth > 0 or not re.search(r"[;}]\s*$", code):
            continue
        depth = 0
        if text and taken and not NEEDS_NO_TEXT.search(" ".join(lines[start:number + 1])):
            told = " ".join(part or "<p>" for part in text)
            indent = re.match(r"\s*", given[start]).group()
            given[start] = f"{indent}/** {told} */ {given[start].lstrip()}"
        taken = True
    return given


def first_sentence(header):
    """What the header says of itself first."""
    told = []
    with open(header, encoding="utf-8") as source:
        for line in source.read().split("\n")[1:]:
            if not line.startswith("//"):
                break
            told.append(line[2:].strip())
    sentence = re.match(r"(.*?\.)(?:\s|$)", " ".join(told))
    if not sentence:
        sys.exit(f"{header} doesn't say in a sentence what it is for")
    return sentence.group(1)


START = """# The rooms of the library {#mainpage}

A program includes the faces and links `zor::zor`; [a page](../../docs/library.md) tells how one writes a server
and a client with it, and [another](../../docs/architecture.md) how the rooms stand to each other. What a header
keeps (states, threads, owners, the bytes on the wire) stands at the head of its page.

| Room | What it is |
|---|---|
"""


def start_page(headers):
    rows = (f'| \\ref {header} "{header}" | {first_sentence(header)} |' for header in headers)
    return START + "\n".join(rows) + "\n"


def main(arguments):
    if arguments[0] == "--start":
        print(start_page(arguments[1:]), end="")
        return
    with open(arguments[0], encoding="utf-8") as source:
        print("\n".join(block_texts(file_text(source.read().split("\n")))), end="")


if __name__ == "__main__":
    main(sys.argv[1:])
