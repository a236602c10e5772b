#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Compares the emulated board's counts with the recorded ones; ./bench --count calls it."""

import argparse
import os
import sys

from counts import MARK_BEGIN, MARK_END, Count, compare
from report import Broken, replace_between


def read_counts(lines):
    rows = [line.rstrip("\n").split("\t") for line in lines if not line.startswith("#")]
    if not all(len(row) == 2 and row[1].isdigit() for row in rows):
        raise Broken("the board has not counted, but said: " + " ".join(sum(rows, [])))
    return {name: int(count) for name, count in rows}


def read_file(path):
    if not os.path.exists(path):
        return {}
    with open(path, encoding="utf-8") as file:
        return read_counts(file)


def write_recorded(path, counts):
    with open(path, "w", encoding="utf-8") as file:
        file.write("# Instructions of the emulated board for one operation, from ./bench --count "
                   "--record.\n")
        file.writelines(f"{name}\t{count}\n" for name, count in counts.items())


def cells(line):
    return [cell.strip() for cell in line.strip().strip("|").split("|")]


def with_column(text, counts):
    """A table of operations, with the board's counts as its last column."""
    lines = text.strip().split("\n")
    first = next(i for i, line in enumerate(lines) if line.startswith("|"))
    columns = len(cells(lines[first]))
    result = lines[:first] + [f"{lines[first]} on the board |", f"{lines[first + 1]} ---: |"]
    left = dict(counts)
    for line in lines[first + 2:]:
        result.append(f"{line} {left.pop(cells(line)[0], '-')} |")
    for name, count in left.items():
        result.append("| " + " | ".join([name] + ["-"] * (columns - 1) + [str(count)]) + " |")
    return "\n".join(result)


def add_column(document, counts):
    """The table that counts.py has written into the document gets another column."""
    with open(document, encoding="utf-8") as file:
        text = file.read().partition(MARK_BEGIN)[2].partition(MARK_END)[0]
    if "|" not in text:
        raise Broken(f"{document} has no table of counts")
    replace_between(document, MARK_BEGIN, MARK_END, with_column(text, counts))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("counts", help="what the board has printed")
    parser.add_argument("recorded", help="the file of recorded counts")
    parser.add_argument("--record", metavar="DOCUMENT", help="record instead of comparing")
    arguments = parser.parse_args()

    counts = read_file(arguments.counts)
    if not counts:
        raise Broken("the board has counted nothing")
    wrong = compare({name: Count(count, 0) for name, count in counts.items()},
                    read_file(arguments.recorded), " on the board")
    if arguments.record:
        write_recorded(arguments.recorded, counts)
        add_column(arguments.record, counts)
        return 0
    for text in wrong:
        print(f"bench: {text}", file=sys.stderr)
    return 1 if wrong else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Broken as error:
        sys.exit(f"bench: {error}")
