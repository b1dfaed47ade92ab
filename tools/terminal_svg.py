"""Draws a terminal's text, from standard input, as an SVG picture on standard output."""

import sys
from html import escape

LINE, LETTER, MARGIN = 18, 8.4, 16
COLOURS = {"ground": "#1e2127", "text": "#d7dae0", "typed": "#98c379", "bar": "#2c313a"}


def main():
    lines = sys.stdin.read().rstrip().split("\n")
    width = max(len(line) for line in lines) * LETTER + 2 * MARGIN
    height = (len(lines) + 1) * LINE + 2 * MARGIN
    print(f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:.0f}" height="{height}" '
          f'viewBox="0 0 {width:.0f} {height}" role="img" aria-label="A session of zor_console">')
    print(f'<rect width="100%" height="100%" rx="8" fill="{COLOURS["ground"]}"/>')
    for number, dot in enumerate(("#e06c75", "#e5c07b", "#98c379")):
        print(f'<circle cx="{MARGIN + 4 + 18 * number}" cy="{MARGIN}" r="5" fill="{dot}"/>')
    print(f'<g font-family="DejaVu Sans Mono, Menlo, Consolas, monospace" font-size="14" '
          f'fill="{COLOURS["text"]}" xml:space="preserve">')
    for number, line in enumerate(lines):
        if line.strip():
            y = 2 * MARGIN + LINE * (number + 1)
            colour = f' fill="{COLOURS["typed"]}"' if line.startswith("$ ") else ""
            print(f'<text x="{MARGIN}" y="{y}"{colour}>{escape(line.rstrip())}</text>')
    print("</g></svg>")


if __name__ == "__main__":
    main()
