#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Draws the charts from the tables recorded in a document; ./bench --draw calls it."""

import os
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402, behind the choice of the backend

OURS, OTHER, LIGHT = "#2a78b5", "#b0b0b0", "#d6d6d6"
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
# What stands in the column "against", as readers of the charts know it.
NAMES = {
    "spdlog": "spdlog",
    "write": "a bare write(2)",
    "arg": "QString::arg, strftime",
    "inlined": "spdlog, inlined",
    "reader": "QXmlStreamReader",
    "pugixml": "pugixml",
    "pugitext": "pugixml, from text",
    "socket": "bare sockets",
}
# Not what one would take instead, but what there is beside it.
LIGHT_PEERS = ("a bare write(2)", "spdlog, inlined", "QXmlStreamReader")


def color_of(name):
    """The same for a name in every chart."""
    if name == "this library":
        return OURS
    return LIGHT if name in LIGHT_PEERS else OTHER


def read_tables(path):
    """Every table of a document, as a list of rows, each of which has its cells by their heads."""
    tables, head = [], None
    with open(path, encoding="utf-8") as file:
        for line in file:
            cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
            if not line.startswith("|"):
                head = None
            elif head is None:
                head = cells
                tables.append([])
            elif set(cells[0]) != {"-"}:
                tables[-1].append(dict(zip(head, cells)))
    return tables


def table_with(tables, head):
    for rows in tables:
        if rows and head in rows[0]:
            return rows
    raise SystemExit(f"charts: no table has a column \"{head}\"")


class Results:
    """The times of the table of ratios."""

    def __init__(self, rows):
        self.rows = {(row["row"], row["against"]): row for row in rows}

    def times(self, label, *peers):
        """Names and nanoseconds: the library's, then those of its peers."""
        chosen = [self.rows[label, peer] for peer in peers]
        return ([("this library", nanoseconds(chosen[0]["ours"]))] +
                [(NAMES[peer], nanoseconds(row["peer"])) for peer, row in zip(peers, chosen)])

    def labels(self, name):
        """The labels of a row that has several sizes, each once and in the table's order."""
        return list(dict.fromkeys(label for label, _ in self.rows if label.split()[0] == name))

    def per_byte(self, label, *peers):
        """The same as times(), for one byte."""
        row = self.rows[label, peers[0]]
        each = 1000 / float(row["rate"].split()[0])  # from MB/s
        times = self.times(label, *peers)
        return [(name, time * each / times[0][1]) for name, time in times]


def nanoseconds(text):
    number, unit = text.split()
    return float(number) * NANOSECONDS[unit]


def time_text(time):
    unit = max((unit for unit in NANOSECONDS if NANOSECONDS[unit] <= time), default="ns",
               key=NANOSECONDS.get)
    return f"{time / NANOSECONDS[unit]:.3g} {unit}"


def strip_frame(axes, *sides):
    for side in ("top", "right", *sides):
        axes.spines[side].set_visible(False)


def draw_bars(axes, title, times):
    """One bar for each name, ours on top, on a scale of their own that begins at 0."""
    names, values = zip(*times)
    places = range(len(times), 0, -1)
    axes.barh(places, values, height=0.75, color=[color_of(name) for name in names])
    for place, value in zip(places, values):
        axes.text(value + max(values) * 0.02, place, time_text(value), va="center")
    axes.set_yticks(places, names)
    axes.set_xticks([])
    axes.tick_params(left=False)
    axes.set_xlim(0, max(values) * 1.3)
    axes.set_title(title, loc="left", fontsize=10, fontweight="bold")
    strip_frame(axes, "bottom")


def draw_sizes(axes, title, groups):
    """For each size of a message a group of bars: nanoseconds for one byte."""
    labels = [label.split(" ", 1)[1] for label, _ in groups]
    names = [name for name, _ in groups[0][1]]
    width = 0.8 / len(names)
    for index, name in enumerate(names):
        places = [group + index * width for group in range(len(groups))]
        values = [times[index][1] for _, times in groups]
        axes.bar(places, values, width, color=color_of(name), label=name)
        if index == 0:
            for place, value in zip(places, values):
                axes.text(place, value, f"{value:.2g}", ha="center", va="bottom", fontsize=8)
    axes.set_xticks([group + 0.4 - width / 2 for group in range(len(groups))], labels)
    axes.set_ylabel("ns for one byte")
    axes.set_title(title, loc="left", fontsize=10, fontweight="bold")
    axes.legend(frameon=False, fontsize=9, ncol=len(names), loc="lower right",
                bbox_to_anchor=(1, 1), borderaxespad=0)
    strip_frame(axes)


def draw_lines(results):
    figure, panels = plt.subplots(4, 1, figsize=(7.6, 5.6), height_ratios=[3, 2, 2, 3])
    draw_bars(panels[0], "A line, flushed to its file", results.times("file", "spdlog", "write"))
    draw_bars(panels[1], "A line, flushed after 400 lines", results.times("unflushed", "spdlog"))
    draw_bars(panels[2], "A line, nothing connected", results.times("line", "arg"))
    draw_bars(panels[3], "A line below the threshold",
              results.times("rejected", "spdlog", "inlined"))
    return figure


def draw_messages(results):
    figure, panels = plt.subplots(3, 1, figsize=(7.6, 8))
    for axes, title, row, peers in (
            (panels[0], "A get reply to its signal", "get", ("pugixml", "reader")),
            (panels[1], "A notification to its signal", "notify", ("reader",)),
            (panels[2], "From the socket to the signal",
             "socket", ("reader",))):
        draw_sizes(axes, title, [(label, results.per_byte(label, *peers))
                                 for label in results.labels(row)])
    return figure


def draw_lookups(results):
    labels = results.labels("lookup")
    figure, panels = plt.subplots(len(labels) + 1, 1, figsize=(7.6, 6.4),
                                  height_ratios=[3] * len(labels) + [2])
    for axes, label in zip(panels, labels):
        draw_bars(axes, f"A look-up in {label.split(' ', 1)[1]}, up to the last element",
                  results.times(label, "pugixml", "reader"))
    draw_bars(panels[-1], "A round trip: a get and its answer over the Unix socket",
              results.times("roundtrip", "socket"))
    return figure


def draw_board(rows):
    """Instructions span seven powers of ten, so a dot on a logarithmic scale shows each."""
    counts = [(row["operation"], int(row["on the board"])) for row in rows
              if row["on the board"] != "-"]
    counts.sort(key=lambda count: -count[1])
    figure, axes = plt.subplots(figsize=(7.6, 0.28 * len(counts) + 0.9))
    names, values = zip(*counts)
    places = range(len(counts))
    axes.hlines(places, 10, values, color=LIGHT, linewidth=1)
    axes.plot(values, places, "o", color=OURS)
    for place, value in zip(places, values):
        axes.text(value * 1.35, place, f"{value:,}".replace(",", " "), va="center")
    axes.set_xscale("log")
    axes.set_xlim(10, max(values) * 20)
    axes.set_yticks(places, [name.replace("-", " ") for name in names])
    axes.tick_params(left=False)
    axes.set_title("Instructions of the board's processor for one operation", loc="left",
                   fontsize=10, fontweight="bold")
    strip_frame(axes, "left")
    return figure


def save(figure, document, name):
    """The same tables give the same file, byte for byte."""
    figure.tight_layout()
    path = f"{os.path.splitext(document)[0]}-{name}.svg"
    figure.savefig(path, metadata={"Date": None, "Creator": None})
    with open(path, encoding="utf-8") as file:
        lines = [line.rstrip() for line in file]
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join(lines) + "\n")


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: charts.py DOCUMENT")
    document = sys.argv[1]
    plt.rcParams.update({"font.family": "DejaVu Sans", "font.size": 9, "svg.fonttype": "none",
                         "svg.hashsalt": "qvcommon"})
    tables = read_tables(document)
    results = Results(table_with(tables, "ratio"))
    save(draw_lines(results), document, "lines")
    save(draw_messages(results), document, "messages")
    save(draw_lookups(results), document, "lookups")
    save(draw_board(table_with(tables, "on the board")), document, "board")


if __name__ == "__main__":
    main()
