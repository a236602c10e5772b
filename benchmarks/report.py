#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Compares what the benchmark programs have measured with the targets; ./bench calls it."""

import argparse
import glob
import json
import os
import statistics
import sys
from collections import namedtuple

HERE = os.path.dirname(os.path.abspath(__file__))
MARK_BEGIN = "<!-- made by ./bench --record: begin -->"
MARK_END = "<!-- made by ./bench --record: end -->"

Target = namedtuple("Target", "row side peer clock sense limit what against")
# cost and peer_cost are nanoseconds for one unit of work; a unit may have a size in bytes.
Result = namedtuple("Result", "target label bytes cost peer_cost low middle high")


class Broken(Exception):
    """What has been measured is incomplete or was not what it should be."""


def read_targets(path=os.path.join(HERE, "targets.tsv")):
    with open(path, encoding="utf-8") as file:
        rows = [line.rstrip("\n").split("\t") for line in file if not line.startswith("#")]
    targets = []
    for row in rows:
        limit = None if row[5] == "-" else float(row[5])
        targets.append(Target(*row[:5], limit, *row[6:]))
    return targets


def read_round(path):
    """The entries of one round by their names."""
    with open(path, encoding="utf-8") as file:
        entries = json.load(file)["benchmarks"]
    for entry in entries:
        if entry.get("error_occurred"):
            raise Broken(f"{entry['name']}: {entry['error_message']}")
    return {entry["name"]: entry for entry in entries}


def read_values(paths):
    """Lines of "name, tab, value" by their names; a value is a number, or why there is none."""
    values = {}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            values.update(line.rstrip("\n").split("\t") for line in file)
    return values


def cost_of(entry, clock):
    """Nanoseconds for one unit of work."""
    assert entry["time_unit"] == "ns"
    time = entry["cpu_time" if clock == "cpu" else "real_time"]
    return time / entry.get("units", 1)


def size_label(count):
    for unit, factor in (("MB", 1000000), ("kB", 1000)):
        if count >= 0.9 * factor:
            return f"{count / factor:.0f} {unit}"
    return f"{count} B"


def compare(target, suffix, rounds):
    """The ratio of both sides over all rounds, each round against itself."""
    names = [f"{target.row}/{side}{suffix}" for side in (target.side, target.peer)]
    missing = [name for name in names if any(name not in entries for entries in rounds)]
    if missing:
        raise Broken(f"not measured: {', '.join(missing)}")
    costs = [[cost_of(entries[name], target.clock) for entries in rounds] for name in names]
    ratios = [ours / peer for ours, peer in zip(*costs)]
    if target.sense == "least":  # of a throughput
        ratios = [1 / ratio for ratio in ratios]
    low, middle, high = statistics.quantiles(ratios, n=4, method="inclusive")
    size = rounds[0][names[0]].get("bytes")
    label = target.row + (" " + size_label(int(suffix[1:])) if suffix else "")
    ours, peer = (statistics.median(side) for side in costs)
    return Result(target, label, size, ours, peer, low, middle, high)


def sizes_of(target, entries):
    """The endings "/size" that a row's names have; one empty ending if it has no sizes."""
    prefix = f"{target.row}/{target.side}"
    return [name[len(prefix):] for name in sorted_by_size(entries, prefix)]


def sorted_by_size(entries, prefix):
    names = [name for name in entries if name == prefix or name.startswith(prefix + "/")]
    if not names:
        raise Broken(f"not measured: {prefix}")
    return sorted(names, key=lambda name: int(name[len(prefix) + 1:] or 0))


def single_value(target, text):
    """A value counts as it is printed, so that a verdict never contradicts its figure."""
    try:
        value = float(f"{float(text):.3g}")
    except ValueError:
        value = text
    return Result(target, target.row, None, None, None, value, value, value)


def evaluate(targets, rounds, values):
    results = []
    for target in targets:
        if target.side != "-":
            if rounds:
                results += [compare(target, suffix, rounds)
                            for suffix in sizes_of(target, rounds[0])]
        elif target.row not in values:
            raise Broken(f"not measured: {target.row}")
        else:
            results.append(single_value(target, values[target.row]))
    return results


def verdict(result):
    """Whether the target is met. What lies within the noise of the rounds is not a miss."""
    limit = result.target.limit
    if limit is None:
        return ""
    if isinstance(result.middle, str):
        return "unknown"
    sign = -1 if result.target.sense == "least" else 1
    if sign * result.middle <= sign * limit:
        return "met"
    best = result.high if sign < 0 else result.low
    return "MISSED" if sign * best > sign * limit else "in noise"


def time_text(nanoseconds):
    for unit, factor in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= factor:
            return f"{nanoseconds / factor:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def rate_text(result):
    per_second = 1e9 / result.cost
    if result.bytes:
        return f"{per_second * result.bytes / 1e6:.0f} MB/s"
    return f"{per_second / 1e3:.0f} k/s" if per_second < 1e7 else f"{per_second / 1e6:.0f} M/s"


def limit_text(target):
    if target.limit is None:
        return "-"
    return f"{'at most' if target.sense == 'most' else 'at least'} {target.limit:g}"


def name_of(result):
    peer = result.target.peer
    return result.label if peer == "-" else f"{result.label} / {peer}"


RATIO_HEAD = ["row", "against", "ours", "rate", "peer", "ratio", "quartiles", "target", "verdict"]
LEGEND_HEAD = ["row", "what is timed", "against", "which is"]
VALUE_HEAD = ["row", "what", "measured", "target", "verdict"]


def ratio_cells(result):
    return [result.label, result.target.peer, time_text(result.cost), rate_text(result),
            time_text(result.peer_cost), f"{result.middle:.2f}",
            f"{result.low:.2f} .. {result.high:.2f}", limit_text(result.target), verdict(result)]


def value_cells(result):
    measured = result.middle
    if not isinstance(measured, str):
        measured = f"{measured:g} {result.target.against}".strip()
    return [result.label, result.target.what, measured, limit_text(result.target), verdict(result)]


def tables(results):
    """The head and the rows of each table."""
    ratios = [ratio_cells(result) for result in results if result.cost is not None]
    values = [value_cells(result) for result in results if result.cost is None]
    return [(head, rows) for head, rows in ((RATIO_HEAD, ratios), (VALUE_HEAD, values)) if rows]


def print_tables(results):
    for head, rows in tables(results):
        widths = [max(len(row[i]) for row in [head] + rows) for i in range(len(head))]
        for row in [head] + rows:
            print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
        print()


def legend(targets):
    """What the rows of the ratios mean."""
    return LEGEND_HEAD, [[target.row, target.what, target.peer, target.against]
                         for target in targets if target.side != "-"]


def markdown_tables(results, targets):
    lines = []
    for head, rows in [legend(targets)] + tables(results):
        lines += ["| " + " | ".join(head) + " |", "|" + " --- |" * len(head)]
        lines += ["| " + " | ".join(row) + " |" for row in rows]
        lines.append("")
    return "\n".join(lines)


def replace_between(path, begin, end, text):
    """Puts a text between two marks of a document."""
    with open(path, encoding="utf-8") as file:
        content = file.read()
    before, found_begin, rest = content.partition(begin)
    _, found_end, behind = rest.partition(end)
    if not found_begin or not found_end:
        raise Broken(f"{path} has not both marks: {begin} {end}")
    with open(path, "w", encoding="utf-8") as file:
        file.write(f"{before}{begin}\n{text}\n{end}{behind}")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--rounds", metavar="FOLDER", help="holds one .json file per round")
    parser.add_argument("--values", metavar="FILE", nargs="*", default=[], help="single values")
    parser.add_argument("--record", metavar="DOCUMENT", help="the document to put the tables in")
    parser.add_argument("--machine", default="", help="what the document says it was measured on")
    arguments = parser.parse_args()

    paths = sorted(glob.glob(os.path.join(arguments.rounds, "*.json"))) if arguments.rounds else []
    rounds = [read_round(path) for path in paths]
    targets = read_targets()
    results = evaluate(targets, rounds, read_values(arguments.values))
    print_tables(results)
    if arguments.record:
        text = f"{arguments.machine}\n\n{markdown_tables(results, targets)}"
        replace_between(arguments.record, MARK_BEGIN, MARK_END, text)
    missed = [name_of(result) for result in results if verdict(result) == "MISSED"]
    if missed:
        print(f"bench: targets are missed: {', '.join(missed)}", file=sys.stderr)
    return 1 if missed else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Broken as error:
        sys.exit(f"bench: {error}")
