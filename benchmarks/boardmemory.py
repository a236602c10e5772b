#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Shows what an application takes of the emulated board's memory; ./bench --board calls it."""

import argparse
import sys

from report import Broken, replace_between

MARK_BEGIN = "<!-- made by ./bench --board --record: begin -->"
MARK_END = "<!-- made by ./bench --board --record: end -->"
MOST_GROWTH = 1000  # kB of anonymous memory in an hour
ROWS = {
    "VmHWM": "the most that was resident",
    "RssAnon": "anonymous memory",
    "RssFile": "pages of files: the program and its libraries",
    "MemAvailable": "what the board has left",
}


def read_values(path):
    with open(path, encoding="utf-8") as file:
        rows = [line.rstrip("\n").split("\t") for line in file]
    if not all(len(row) == 3 and row[2].isdigit() for row in rows):
        raise Broken("the board has measured nothing, but said: " + " ".join(sum(rows, [])))
    values = {(when, what): int(value) for when, what, value in rows}
    if not all((when, what) in values for when in ("start", "warm", "hour") for what in ROWS):
        raise Broken("the board has not measured everything")
    return values


def table(values, memory):
    lines = [f"A board with {memory} MB; kB.", "",
             "| what | at the start | after ten minutes | an hour later |",
             "| --- | ---: | ---: | ---: |"]
    lines += [f"| {text} ({what}) | {values['start', what]} | {values['warm', what]} | "
              f"{values['hour', what]} |"
              for what, text in ROWS.items()]
    return "\n".join(lines)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("values", help="what the board has printed")
    parser.add_argument("memory", help="the board's memory in MB")
    parser.add_argument("--record", metavar="DOCUMENT", help="put the table there")
    arguments = parser.parse_args()

    values = read_values(arguments.values)
    text = table(values, arguments.memory)
    print(text)
    if arguments.record:
        replace_between(arguments.record, MARK_BEGIN, MARK_END, text)
    growth = values["hour", "RssAnon"] - values["warm", "RssAnon"]
    if growth > MOST_GROWTH:
        print(f"bench: an hour takes {growth} kB of anonymous memory", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Broken as error:
        sys.exit(f"bench: {error}")
