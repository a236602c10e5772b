# SPDX-License-Identifier: LGPL-2.1-or-later
"""Compares what one side has sent with what the other side has received."""

import collections
import re

Account = collections.namedtuple("Account", "what made arrived under_way lost twice wrong")

OPERATION_OF_KIND = {"edit": "ok", "subscribe": "ok", "value": "value", "table": "table",
                     "wrong": "error"}
TRANSPORTS = {"l": "the Unix socket", "d": "TCP"}


class Journal:
    """What the application has done and seen."""

    def __init__(self, lines):
        self.events = [line.rstrip("\n").split("\t") for line in lines]
        self.ended = {f"{first}-{second}" for _, what, first, second, _ in self.events
                      if what == "disconnected"}

    def of(self, *kinds):
        return [event[1:] for event in self.events if event[1] in kinds]


class DaemonLog:
    """What the stand-in has received and sent, by its own log."""

    REQUEST = re.compile(r"client \d+ -> .*?<request><ref>([^<]*)</ref>")
    CHANGE = re.compile(r"client \d+ <- *<notify><ref>([^<]*)</ref>.*<rpath>([^<]*)</rpath>"
                        r"<data><value>([^<]*)</value>")

    def __init__(self, lines):
        self.requests = []
        self.changes = []
        for line in lines:
            request = self.REQUEST.search(line)
            change = self.CHANGE.search(line)
            if request:
                self.requests.append(request.group(1))
            elif change:
                self.changes.append(change.groups())


def connection_of(ref):
    """The letter of the transport and the number of the connection, as in "l-3"."""
    return ref.rpartition("-")[0]


def compare(what, made, arrived, ended, wrong=0):
    """
    made is a list of the keys sent on each connection. Everything arrives in the order in which it
    was sent: what is missing at the end of a connection that has ended was under way, and anything
    else that is missing is lost.
    """
    counts = collections.Counter(arrived)
    under_way = lost = unknown = 0
    for connection, keys in made.items():
        received = [key in counts for key in keys]
        last = max((index for index, there in enumerate(received) if there), default=-1)
        before, behind = received[:last + 1].count(False), len(keys) - last - 1
        lost += before + (0 if connection in ended else behind)
        under_way += behind if connection in ended else 0
    known = {key for keys in made.values() for key in keys}
    unknown = sum(1 for key in arrived if key not in known)
    twice = sum(count - 1 for key, count in counts.items() if key in known)
    return Account(what, sum(map(len, made.values())), len(arrived), under_way, lost, twice,
                   wrong + unknown)


def by_connection(keys, ref_of=lambda key: key):
    result = collections.defaultdict(list)
    for key in keys:
        result[connection_of(ref_of(key))].append(key)
    return result


def wrong_answers(journal):
    """How many answers are not what was asked for, or bring another value than the last edit."""
    expected = {}
    values = {}
    for what, ref, kind, number in journal.of("sent"):
        answer = OPERATION_OF_KIND.get(kind)
        if kind == "message":
            answer = "ok" if ref.startswith("l") else "error"
        connection = connection_of(ref)
        if kind == "edit":
            values[connection] = number
        expected[ref] = (answer, values.get(connection) if kind == "value" else "")
    wrong = 0
    for what, ref, kind, value in journal.of("answer"):
        answer, text = expected.get(ref, (None, None))
        if answer == "value" and text is None and value.isdigit():
            text = value  # of an earlier connection's edit, or the document's own
        if answer == "error":
            text = "application"
        wrong += ref in expected and (kind, value) != (answer, text)
    return wrong


def account_requests(journal, daemon):
    accounts = []
    all_wrong = wrong_answers(journal)
    for letter, name in TRANSPORTS.items():
        def mine(refs, letter=letter):
            return [ref for ref in refs if ref.startswith(letter)]

        sent = mine(event[1] for event in journal.of("sent"))
        received = mine(daemon.requests)
        answered = mine(event[1] for event in journal.of("answer"))
        accounts.append(compare(f"requests over {name}", by_connection(sent), received,
                                journal.ended))
        accounts.append(compare(f"answers over {name}", by_connection(received), answered,
                                journal.ended))
    # The content does not depend on the transport, and is counted once.
    accounts[-1] = accounts[-1]._replace(wrong=accounts[-1].wrong + all_wrong)
    return accounts


def account_changes(journal, daemon):
    accounts = []
    for letter, name in TRANSPORTS.items():
        sent = [change for change in daemon.changes if change[0].startswith(letter)]
        received = [tuple(event[1:]) for event in journal.of("change")
                    if event[1].startswith(letter)]
        accounts.append(compare(f"notifications over {name}",
                                by_connection(sent, lambda change: change[0]), received,
                                journal.ended))
    return accounts


def account_devices(journal):
    reads = journal.of("device")
    wrong = sum(expected != found for _, _, expected, found in reads)
    return Account("reads and writes of GPIO and ADC", len(reads), len(reads), 0, 0, 0, wrong)


MESSAGE = re.compile(r"thread (\d+) line (\d+) length (\d+) x*")


def account_lines(journal, entries):
    """entries is what qvlog has read: a dictionary for each entry of the files."""
    last = int(journal.of("lines")[0][1])
    numbers = [int(entry["number"]) for entry in entries if entry["number"]]
    wrong = sum(entry["kind"] not in ("line", "closed") for entry in entries)
    wrong += sum(after != before + 1 for before, after in zip(numbers, numbers[1:]))
    by_thread = collections.defaultdict(list)
    for entry in entries:
        if entry["class"] == "Soak":
            match = MESSAGE.fullmatch(entry["message"])
            if match and len(entry["message"]) == int(match.group(3)):
                by_thread[match.group(1)].append(int(match.group(2)))
            else:
                wrong += 1
    for _, thread, count, _ in journal.of("thread"):
        wrong += by_thread[thread] != list(range(1, int(count) + 1))
    return compare("log lines", {"": list(range(1, last + 1))}, numbers, set(), wrong)


def account(journal, daemon, entries):
    return ([account_lines(journal, entries)] + account_requests(journal, daemon) +
            account_changes(journal, daemon) + [account_devices(journal)])
