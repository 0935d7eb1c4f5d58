"""Draws the ratios that benchmarks append to a file: bench_chart.py ratios.csv chart.svg

Each bar shows how many times better a row is than its peer, on a logarithmic scale; the tick is the goal.
If the file has several lines for one row, the last one counts, and the others are removed from the file.
"""
import csv
import math
import os
import pathlib
import sys
from xml.sax.saxutils import escape

ROW_HEIGHT = 18
HEAD = 64
LABELS = 440
PLOT = 320
GAP = 28
WIDTH = LABELS + PLOT + GAP + 150

# The colours are written out twice, because not every viewer supports CSS variables.
COLOURS = """
.paper {{ fill: {paper}; }}
text {{ fill: {ink}; }}
text.faint {{ fill: {faint}; }}
.goal {{ stroke: {ink}; }}
.even {{ stroke: {faint}; }}
.grid {{ stroke: {grid}; }}
.met {{ fill: {met}; }}
.missed {{ fill: {missed}; }}
"""
LIGHT = COLOURS.format(paper="#ffffff", ink="#1f2328", faint="#6a737d", grid="#d8dee4",
                       met="#1a7f5a", missed="#bc5b00")
DARK = COLOURS.format(paper="#0d1117", ink="#e6edf3", faint="#8b949e", grid="#30363d",
                      met="#3fb68b", missed="#e8912d")
STYLE = f"""
text {{ font: 12px system-ui, sans-serif; }}
.title {{ font-size: 15px; font-weight: 600; }}
.family {{ font-weight: 600; }}
.right {{ text-anchor: end; }}
.middle {{ text-anchor: middle; }}
.goal {{ stroke-width: 2; }}
{LIGHT}
@media (prefers-color-scheme: dark) {{ {DARK} }}
"""


class Row:
    def __init__(self, fields):
        self.fields = fields
        self.program, self.measured, self.peer, self.figure = fields[:4]
        self.ratio, self.sense, self.goal = float(fields[4]), fields[5], float(fields[6])

    def key(self):
        return tuple(self.fields[:4])

    def is_met(self):
        return self.ratio <= self.goal if self.sense == "<=" else self.ratio >= self.goal

    def better(self, ratio):
        """How many times better a row with this ratio is than its peer."""
        return 1 / ratio if self.sense == "<=" else ratio

    def label(self):
        return self.measured + ("" if self.figure == "time" else f", {self.figure}")

    def short_peer(self):
        """The peer's name without the segments that equal the measured row's at the same place."""
        mine, its = self.measured.split("/"), self.peer.split("/")
        if len(mine) != len(its):
            return self.peer
        return "/".join(b for a, b in zip(mine, its) if a != b) or self.peer


def read_rows(path):
    """The rows by program, in the order of their first lines."""
    rows = {}
    if path.exists():
        with path.open(newline="", encoding="utf-8") as file:
            for fields in csv.reader(file):
                row = Row(fields)
                rows[row.key()] = row
    programs = list(dict.fromkeys(row.program for row in rows.values()))
    return sorted(rows.values(), key=lambda row: programs.index(row.program))


def write_rows(path, rows):
    """Replaces the file in one step: an interrupted run keeps what others have measured."""
    beside = path.with_suffix(".new")
    with beside.open("w", newline="", encoding="utf-8") as file:
        csv.writer(file, lineterminator="\n").writerows(row.fields for row in rows)
    os.replace(beside, path)


class Scale:
    """Maps factors to positions; both ends are powers of two."""

    def __init__(self, factors):
        exponents = [math.log2(factor) for factor in [*factors, 0.5, 2.0]]
        self.least, self.most = math.floor(min(exponents)), math.ceil(max(exponents))

    def place(self, factor):
        part = (math.log2(factor) - self.least) / (self.most - self.least)
        return LABELS + part * PLOT

    def steps(self):
        stride = 1 + (self.most - self.least) // 12  # as many ticks as have room
        return [2.0 ** exponent for exponent in range(self.least, self.most + 1)
                if exponent % stride == 0]


def text(x, y, content, style=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" class="{style}">{escape(content)}</text>'


def line(x, top, bottom, style):
    return f'<line x1="{x:.1f}" x2="{x:.1f}" y1="{top:.1f}" y2="{bottom:.1f}" class="{style}"/>'


def draw_scale(scale, bottom):
    for step in scale.steps():
        x = scale.place(step)
        name = f"{step:g}×" if step >= 1 else f"1/{1 / step:g}"
        yield line(x, HEAD - 12, bottom, "even" if step == 1 else "grid")
        yield text(x, HEAD - 18, name, "faint middle")


def draw_row(row, scale, y):
    outcome = "met" if row.is_met() else "missed"
    start, end = sorted((scale.place(1), scale.place(row.better(row.ratio))))
    middle = y + ROW_HEIGHT / 2 + 4
    yield text(12, middle, row.label())
    yield text(LABELS - GAP, middle, row.short_peer(), "faint right")
    yield (f'<rect x="{start:.1f}" y="{y + 4:.1f}" width="{max(end - start, 1):.1f}" '
           f'height="{ROW_HEIGHT - 8}" class="{outcome}"/>')
    yield line(scale.place(row.better(row.goal)), y + 2, y + ROW_HEIGHT - 2, "goal")
    sense = "≤" if row.sense == "<=" else "≥"
    yield text(LABELS + PLOT + GAP, middle, f"{row.ratio:.3g} ({sense} {row.goal:g}) {outcome}")


def draw_rows(rows, scale):
    """All lines, and their height."""
    lines, y, program = [], HEAD, None
    for row in rows:
        if row.program != program:
            program = row.program
            lines.append(text(12, y + ROW_HEIGHT - 4, program.removesuffix("_bench"), "family"))
            y += ROW_HEIGHT
        lines += draw_row(row, scale, y)
        y += ROW_HEIGHT
    if not rows:
        lines.append(text(12, y + ROW_HEIGHT, "Nothing was measured yet.", "faint"))
        y += 2 * ROW_HEIGHT
    return lines, y


def chart(rows):
    # No measurement is 0; rows that are must not stop the drawing.
    rows = [row for row in rows if row.ratio > 0 and row.goal > 0 and math.isfinite(row.ratio)]
    scale = Scale([row.better(value) for row in rows for value in (row.ratio, row.goal)])
    body, bottom = draw_rows(rows, scale)
    title = "Times better than the peer, on a logarithmic scale"
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {bottom + 12}" '
        f'width="{WIDTH}" height="{bottom + 12}" role="img">',
        f"<title>{title}</title>",
        f"<style>{STYLE}</style>",
        f'<rect width="{WIDTH}" height="{bottom + 12}" class="paper"/>',
        text(12, 24, title, "title"),
        text(LABELS - GAP, HEAD - 18, "peer", "faint right"),
        text(LABELS + PLOT + GAP, HEAD - 18, "ratio (goal, the tick)", "faint"),
        *draw_scale(scale, bottom),
        *body,
        "</svg>", ""])


def main():
    ratios, image = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    rows = read_rows(ratios)
    if rows:
        write_rows(ratios, rows)
    image.write_text(chart(rows), encoding="utf-8")


main()
