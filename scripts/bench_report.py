"""Keeps what benchmarks measured, and shows it: bench_report.py [--whole] [--anew] [--run run.csv] docs

Adds one run to docs/performance.csv, and makes the chart docs/performance.svg and the tables in
docs/performance.md of what is there. Without a run it checks that they still are what it would make. In the chart a bar shows how many times better than its peer a
figure is, on a logarithmic scale; the tick is the goal. The environment says when the run started
(QZ_BENCH_START) and what load the machine had before it (QZ_BENCH_LOAD).
"""
import argparse
import csv
import math
import os
import pathlib
import re
import statistics
from xml.sax.saxutils import escape

HEADER = ["run", "processor", "load", "program", "measured", "peer", "figure", "value", "peer_value",
          "sense", "goal"]
RUN_FIELDS = 3
MOST_RUNS = 9  # of one figure that are kept

MARKS = re.compile(r"(?P<head><!-- results: (?P<name>\w+) -->)\n.*?(?P<tail><!-- end of results -->)",
                   re.DOTALL)

ROW_HEIGHT = 18
HEAD = 64
LABELS = 440
PLOT = 320
GAP = 28
WIDTH = LABELS + PLOT + GAP + 150

# Written out twice, because not everything that shows pictures knows variables of styles.
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
    """One figure of one run, beside its peer's."""

    def __init__(self, run, fields):
        self.run = run
        self.program, self.measured, self.peer, self.figure = fields[:4]
        # Rounded as in the file, so that the pages are the same whenever they are made.
        self.value, self.peer_value = rounded(fields[4]), rounded(fields[5])
        self.sense, self.goal = fields[6], rounded(fields[7])

    def key(self):
        return self.program, self.measured, self.peer, self.figure

    def fields(self):
        return [*self.run, *self.key(), f"{self.value:.4g}", f"{self.peer_value:.4g}", self.sense,
                f"{self.goal:.4g}"]


class Comparison:
    """What all runs say of one figure: what it is and its goal are those of the last."""

    def __init__(self, rows):
        last = rows[-1]
        self.program, self.measured, self.peer, self.figure = last.key()
        self.sense, self.goal = last.sense, last.goal
        self.ratios = sorted(row.value / row.peer_value for row in rows if row.peer_value)
        self.ratio = statistics.median(self.ratios) if self.ratios else math.nan
        self.value = statistics.median(row.value for row in rows)
        self.peer_value = statistics.median(row.peer_value for row in rows)

    def outcome(self):
        if not self.sense:
            return ""
        is_met = self.ratio <= self.goal if self.sense == "<=" else self.ratio >= self.goal
        return "met" if is_met else "missed"

    def better(self, ratio):
        """How many times better than the peer somebody with this ratio is."""
        return ratio if self.sense == ">=" else 1 / ratio

    def label(self):
        """The name without the segments that say whose it is."""
        own = "/".join(part for part in self.measured.split("/") if part not in ("qz", "ours"))
        return (own or self.program.removesuffix("_bench")) + self.figure_suffix()

    def figure_suffix(self):
        return "" if self.figure in ("time", "each") else f", {self.figure}"

    def short_peer(self):
        """The peer's name without the segments that the measured one's has in the same places."""
        mine, its = self.measured.split("/"), self.peer.split("/")
        if len(mine) != len(its):
            return self.peer
        return "/".join(b for a, b in zip(mine, its) if a != b) or self.peer

    def shown_goal(self):
        return f"{'≤' if self.sense == '<=' else '≥'} {self.goal:.3g}" if self.sense else ""

    def shown_ratio(self):
        if len(self.ratios) < 2:
            return f"{self.ratio:.3g}"
        return f"{self.ratio:.3g} ({self.ratios[0]:.3g}–{self.ratios[-1]:.3g})"

    def shown(self, value):
        """With the figure's unit, where it is known."""
        if self.figure in ("time", "each"):
            return with_unit(value * (1e-9 if self.figure == "time" else 1),
                             [(size, size, unit) for size, unit in
                              ((1, "s"), (1e-3, "ms"), (1e-6, "µs"), (1e-9, "ns"), (1e-12, "ps"))])
        return with_unit(value, [(1e9, 1e9, "G"), (1e6, 1e6, "M"), (1e4, 1e3, "k")])


def rounded(text):
    return float(f"{float(text):.4g}")


def with_unit(value, units):
    """In the first unit, of (from which value on, its size, its name), that fits."""
    for least, size, unit in units:
        if value >= least:
            return f"{plain(value / size)} {unit}"
    return plain(value)


def plain(value):
    """Three digits, without an exponent."""
    return f"{value:.0f}" if value >= 100 else f"{value:.3g}"


def read_rows(path):
    if not path.exists():
        return []
    with path.open(newline="", encoding="utf-8") as file:
        return [Row(fields[:RUN_FIELDS], fields[RUN_FIELDS:]) for fields in list(csv.reader(file))[1:]]


def read_run(path, run):
    with path.open(newline="", encoding="utf-8") as file:
        return [Row(run, fields) for fields in csv.reader(file)]


def merged(rows, new, is_whole, is_anew):
    """The newest runs of each figure. A whole run has all figures, so what it lacks is gone; after
    a change that made something faster, what was measured before says nothing (anew)."""
    added = {row.key() for row in new}
    def is_kept(row):
        return not is_anew if row.key() in added else not is_whole
    kept = filter(is_kept, rows)
    by_key = {}
    for row in [*kept, *new]:
        by_key.setdefault(row.key(), []).append(row)
    return {key: group[-MOST_RUNS:] for key, group in by_key.items()}


def write_rows(path, groups):
    """In one step: a run that is interrupted keeps what others have measured."""
    beside = path.with_suffix(".new")
    with beside.open("w", newline="", encoding="utf-8") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(HEADER)
        writer.writerows(row.fields() for group in groups.values() for row in group)
    os.replace(beside, path)


def this_run():
    """When, on which processor, and what else the machine had to do."""
    names = [line.split(":", 1)[1].strip()
             for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines()
             if line.startswith("model name")]
    processor = f"{len(names)} × {names[0]}" if names else "unknown"
    return [os.environ["QZ_BENCH_START"], processor, os.environ["QZ_BENCH_LOAD"]]


def table(comparisons):
    yield "| What | Beside | Measured | The peer's | Ratio | Goal | |"
    yield "|---|---|---|---|---|---|---|"
    for each in comparisons:
        cells = [f"`{each.label()}`", f"`{each.short_peer()}`", each.shown(each.value),
                 each.shown(each.peer_value), each.shown_ratio(), each.shown_goal(), each.outcome()]
        yield "| " + " | ".join(cells) + " |"


def runs_table(groups):
    """Which runs the tables are made of."""
    counts = {}
    for group in groups.values():
        for row in group:
            counts[tuple(row.run)] = counts.get(tuple(row.run), 0) + 1
    yield "| Run | Processor | Load before | Figures |"
    yield "|---|---|---|---|"
    for run, count in sorted(counts.items()):
        yield "| " + " | ".join([*run, str(count)]) + " |"


def maker(row):
    """Of the run's processor: the first word of its name."""
    return row.run[1].split("× ")[-1].split()[0].removesuffix("(R)")


def processors_table(groups):
    """The goals that are met on the processors of one maker and missed on those of another."""
    makers = sorted({maker(row) for group in groups.values() for row in group})
    yield "| What | Beside | Goal | " + " | ".join(makers) + " |"
    yield "|---|---|---|" + "---|" * len(makers)
    for group in groups.values():
        rows = {}
        for row in group:
            rows.setdefault(maker(row), []).append(row)
        by_maker = {name: Comparison(own) for name, own in rows.items()}
        if len({each.outcome() for each in by_maker.values()}) < 2:
            continue
        total = Comparison(group)
        cells = [f"`{total.label()}`", f"`{total.short_peer()}`", total.shown_goal()]
        cells += [f"{by_maker[name].ratio:.3g}" if name in by_maker else "" for name in makers]
        yield "| " + " | ".join(cells) + " |"


TABLES_OF_ALL = {"runs": runs_table, "processors": processors_table}


def fill_tables(text, groups):
    """Replaces what stands between the marks of each table; returns the programs without marks too."""
    comparisons = [Comparison(group) for group in groups.values()]
    missing = {each.program for each in comparisons}

    def fill(mark):
        name = mark.group("name")
        missing.discard(name)
        if name in TABLES_OF_ALL:
            lines = TABLES_OF_ALL[name](groups)
        else:
            lines = table(each for each in comparisons if each.program == name)
        return "\n".join([mark.group("head"), *lines, mark.group("tail")])

    return MARKS.sub(fill, text), sorted(missing)


class Scale:
    """From factors to places, with powers of two at either end."""

    def __init__(self, factors):
        exponents = [math.log2(factor) for factor in [*factors, 0.5, 2.0]]
        self.least, self.most = math.floor(min(exponents)), math.ceil(max(exponents))

    def place(self, factor):
        part = (math.log2(factor) - self.least) / (self.most - self.least)
        return LABELS + part * PLOT

    def steps(self):
        stride = 1 + (self.most - self.least) // 12  # as many as have room
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
    outcome = row.outcome()
    start, end = sorted((scale.place(1), scale.place(row.better(row.ratio))))
    middle = y + ROW_HEIGHT / 2 + 4
    yield text(12, middle, row.label())
    yield text(LABELS - GAP, middle, row.short_peer(), "faint right")
    yield (f'<rect x="{start:.1f}" y="{y + 4:.1f}" width="{max(end - start, 1):.1f}" '
           f'height="{ROW_HEIGHT - 8}" class="{outcome}"/>')
    yield line(scale.place(row.better(row.goal)), y + 2, y + ROW_HEIGHT - 2, "goal")
    yield text(LABELS + PLOT + GAP, middle, f"{row.ratio:.3g} ({row.shown_goal()}) {outcome}")


def draw_rows(rows, scale):
    """All lines, and the height that they take."""
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
    # Nothing that was measured is 0; what is must not stop the drawing.
    rows = [row for row in rows if row.sense and row.ratio > 0 and math.isfinite(row.ratio)]
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


def made_of(groups, docs):
    """The pages and what they should hold."""
    page = docs / "performance.md"
    filled, missing = fill_tables(page.read_text(encoding="utf-8"), groups)
    if missing:
        raise SystemExit(f"{page} has no table for {', '.join(missing)}")
    drawn = chart([Comparison(group) for group in groups.values()])
    return {page: filled, docs / "performance.svg": drawn}


def add_run(arguments, results):
    groups = merged(read_rows(results), read_run(arguments.run, this_run()), arguments.whole,
                    arguments.anew)
    write_rows(results, groups)
    for page, content in made_of(groups, arguments.docs).items():
        page.write_text(content, encoding="utf-8")


def check(arguments, results):
    groups = merged(read_rows(results), [], is_whole=False, is_anew=False)
    for page, content in made_of(groups, arguments.docs).items():
        if page.read_text(encoding="utf-8") != content:
            raise SystemExit(f"{page}: not what {results} says; ./dev bench makes it")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--whole", action="store_true", help="the run has all figures")
    parser.add_argument("--anew", action="store_true", help="forget earlier runs of its figures")
    parser.add_argument("--run", type=pathlib.Path, help="results to add; without, check the pages")
    parser.add_argument("docs", type=pathlib.Path)
    arguments = parser.parse_args()
    (add_run if arguments.run else check)(arguments, arguments.docs / "performance.csv")


main()
