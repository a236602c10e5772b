#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Compares instruction counts with the recorded ones; ./bench --count calls it."""

import argparse
import glob
import os
import sys
from typing import NamedTuple

from report import Broken, replace_between

TIMES = 100  # how often benchmarks/hotoperations.h lets each operation be counted
TOLERATED = 0.05
MARK_BEGIN = "<!-- made by ./bench --count --record: begin -->"
MARK_END = "<!-- made by ./bench --count --record: end -->"


class Count(NamedTuple):
    """The instructions of one operation, and the characters that it has to do with, or 0."""
    instructions: int
    characters: int

    def each(self):
        """Instructions for one character, as a text."""
        return f"{self.instructions / self.characters:.1f}" if self.characters else "-"


def read_part(path):
    """The name and the count of one part of callgrind's output; None for one without a name."""
    trigger = "desc: Trigger: Client Request: "
    name = total = None
    with open(path, encoding="utf-8") as file:
        for line in file:
            if line.startswith(trigger):
                name, _, characters = line[len(trigger):].strip().partition(" ")
            elif line.startswith("totals: "):
                total = int(line.split()[1])
    return (name, Count(round(total / TIMES), int(characters or 0))) if name else None


def read_parts(folder):
    paths = glob.glob(os.path.join(folder, "callgrind.out.*"))
    paths.sort(key=lambda path: int(path.rpartition(".")[2]))
    return dict(filter(None, map(read_part, paths)))


def read_recorded(path):
    if not os.path.exists(path):
        return {}
    with open(path, encoding="utf-8") as file:
        rows = [line.split("\t") for line in file if not line.startswith("#")]
    return {row[0]: int(row[1]) for row in rows}


def write_recorded(path, machine, counts):
    with open(path, "w", encoding="utf-8") as file:
        file.write("# From ./bench --count --record: operation, instructions, and instructions for "
                   "each character.\n")
        file.write(f"# {machine}\n")
        file.writelines(f"{name}\t{count.instructions}\t{count.each()}\n"
                        for name, count in counts.items())


def table(counts, machine):
    lines = [machine, "", "| operation | instructions | a character |", "| --- | ---: | ---: |"]
    lines += [f"| {name} | {count.instructions} | {count.each()} |"
              for name, count in counts.items()]
    return "\n".join(lines)


def compare(counts, recorded, place=""):
    """Prints all counts. @return what is worse than recorded, or recorded on one side alone"""
    wrong = [f"{name} is not counted{place} any more" for name in recorded if name not in counts]
    for name, count in counts.items():
        if name not in recorded:
            print(f"{name:24} {count.instructions:9} {count.each():>6}  not recorded")
            wrong.append(f"{name} is not recorded{place}: ./bench --count --record")
            continue
        change = count.instructions / recorded[name] - 1
        print(f"{name:24} {count.instructions:9} {count.each():>6}  recorded {recorded[name]:9}"
              f"  {change:+.1%}")
        if change > TOLERATED:
            wrong.append(f"{name} takes {change:.1%} more instructions{place} than recorded")
    return wrong


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("folder", help="where callgrind has written its output")
    parser.add_argument("recorded", help="the file of recorded counts")
    parser.add_argument("--record", metavar="DOCUMENT", help="record instead of comparing")
    parser.add_argument("--machine", default="", help="what is recorded as measured on")
    arguments = parser.parse_args()

    counts = read_parts(arguments.folder)
    if not counts:
        raise Broken("callgrind has counted nothing")
    wrong = compare(counts, read_recorded(arguments.recorded))
    if arguments.record:
        write_recorded(arguments.recorded, arguments.machine, counts)
        replace_between(arguments.record, MARK_BEGIN, MARK_END, table(counts, arguments.machine))
        return 0
    for text in wrong:
        print(f"bench: {text}", file=sys.stderr)
    return 1 if wrong else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Broken as error:
        sys.exit(f"bench: {error}")
