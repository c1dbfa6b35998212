"""The results as a picture: for each row how far it is on the good side of its bar."""

import math
from collections.abc import Sequence
from html import escape

from rows import Row

LEFT, PLOT, RIGHT = 420, 420, 220
TOP, HEIGHT, BOTTOM = 64, 26, 40
LEAST, MOST = 0.5, 100.0  # margins beyond are drawn at the edge
MARKS = (0.5, 1, 2, 5, 10, 20, 50, 100)
MET, MISSED, GREY = "#2e7d4f", "#c0392b", "#666"


def svg(rows: Sequence[Row], title: str) -> str:
    width, height = LEFT + PLOT + RIGHT, TOP + HEIGHT * len(rows) + BOTTOM
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
        'font-family="sans-serif" font-size="12">',
        f'<rect width="{width}" height="{height}" fill="white"/>',
        text(16, 26, title, size=16),
        *(mark(value, height) for value in MARKS),
        *(bar(row, TOP + HEIGHT * number) for number, row in enumerate(rows)),
        text(LEFT + PLOT / 2, height - 8, "times as good as the bar asks", anchor="middle"),
        "</svg>",
    ]
    return "\n".join(parts) + "\n"


def place(margin: float) -> float:
    part = math.log(min(max(margin, LEAST), MOST) / LEAST) / math.log(MOST / LEAST)
    return LEFT + PLOT * part


def mark(value: float, height: int) -> str:
    at, end = place(value), height - BOTTOM
    colour, width = ("black", 2) if value == 1 else ("#ddd", 1)
    line = f'<line x1="{at:.1f}" y1="{TOP - 8}" x2="{at:.1f}" y2="{end}" stroke="{colour}" ' \
           f'stroke-width="{width}"/>'
    return line + text(at, end + 14, f"{value:g}", anchor="middle", colour=GREY)


def bar(row: Row, top: int) -> str:
    margin = row.margin if row.margin is not None else (MOST if row.met else LEAST)
    start, end = sorted((place(1), place(margin)))
    colour = MET if row.met else MISSED
    shape = f'<rect x="{start:.1f}" y="{top + 4}" width="{max(end - start, 2):.1f}" ' \
            f'height="{HEIGHT - 8}" fill="{colour}"/>'
    middle = top + HEIGHT / 2 + 4
    figures = f"{row.figure_text()} ({row.bar_text()})"
    return shape + text(LEFT - 10, middle, row.what, anchor="end") + \
        text(LEFT + PLOT + 10, middle, figures, colour=colour)


def text(x: float, y: float, content: str, anchor: str = "start", size: int = 12,
         colour: str = "black") -> str:
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}" ' \
           f'fill="{colour}">{escape(content)}</text>'
