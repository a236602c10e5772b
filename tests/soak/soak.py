#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Runs an application and the stand-in for the daemon for a while; ./soak calls it."""

import argparse
import collections
import contextlib
import csv
import datetime
import os
import random
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time

import accounts
import chart

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "benchmarks"))
from report import Broken, replace_between  # noqa: E402

MARK_BEGIN = "<!-- made by ./soak --record: begin -->"
MARK_END = "<!-- made by ./soak --record: end -->"
FIRST_RESTART, NEXT_RESTART, QUIET_END = 8, 15, 13  # s
LOOK, SAMPLE = 0.25, 1  # s
PATIENCE = 30  # s
INTERRUPTIONS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
ANSWER_DELAY = 30  # ms, so that something is under way whenever the daemon goes
MOST_MEMORY = 1024  # kB that the application may grow
MOST_DESCRIPTORS = 4  # those that come and go with connections, files and devices

TABLE = "<table>" + "".join(
    f"<entry><name>n{number}</name><reading>{number * 7}</reading></entry>"
    for number in range(1000)) + "</table>"
DOCUMENT = f"""<?xml version="1.0"?>
<device><soak><l><value>0</value></l><d><value>0</value></d>{TABLE}</soak>
<state><sys_messages></sys_messages></state></device>
"""

Sample = collections.namedtuple(
    "Sample", "time memory descriptors daemon_memory daemon_descriptors lines rotations")


def look_at(pid):
    """Resident memory in kB and the number of descriptors of a process, or None when it has gone."""
    try:
        with open(f"/proc/{pid}/status", encoding="ascii") as file:
            memory = [line.split()[1] for line in file if line.startswith("VmRSS:")]
        return (int(memory[0]), len(os.listdir(f"/proc/{pid}/fd"))) if memory else None
    except (FileNotFoundError, ProcessLookupError):
        return None


def interrupt(number, _):
    """Ends this program, and all that it has started; once is enough."""
    for each in INTERRUPTIONS:
        signal.signal(each, signal.SIG_IGN)
    print("soak: interrupted", file=sys.stderr)
    sys.exit(128 + number)


@contextlib.contextmanager
def uninterrupted():
    """An interruption has to wait until it is known what has been started."""
    came = []
    for number in INTERRUPTIONS:
        signal.signal(number, lambda number, _: came.append(number))
    try:
        yield
    finally:
        for number in INTERRUPTIONS:
            signal.signal(number, interrupt)
    if came:
        interrupt(came[0], None)


class Daemon:
    """The stand-in, on the same socket and port however often it is killed and started."""

    def __init__(self, program, folder):
        self.socket_folder = tempfile.mkdtemp()
        self.socket = os.path.join(self.socket_folder, "kivd")
        self.log_name = os.path.join(folder, "daemon.log")
        document = os.path.join(folder, "document.xml")
        write(document, DOCUMENT)
        self.command = [program, "--socket", self.socket, "--data", document, "--verbose",
                        "--misbehave", f"delay:{ANSWER_DELAY}"]
        self.port = 0
        self.process = None

    def start(self):
        with open(self.log_name, "ab") as log, uninterrupted():
            self.process = subprocess.Popen(self.command + ["--port", str(self.port)],
                                            stdout=subprocess.PIPE, stderr=log)
        line = self.process.stdout.readline().decode()
        if not line.startswith("kivsim: listening"):
            raise Broken("kivsim does not start; see " + self.log_name)
        self.port = int(line.rpartition(":")[2])

    def kill(self):
        if not self.process:
            return
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()

    def restart(self, by_itself):
        if by_itself:
            self.process.send_signal(signal.SIGHUP)
        else:
            self.kill()
            self.start()

    def end(self):
        self.kill()
        shutil.rmtree(self.socket_folder)


class Follower:
    """qvlog, which reads the log files along before they are rotated away."""

    def __init__(self, program, log):
        self.entries = []
        self.process = subprocess.Popen([program, "--follow", "--output", "csv", log],
                                        stdout=subprocess.PIPE, encoding="latin-1")
        self.thread = threading.Thread(target=self.read)
        self.thread.start()

    def read(self):
        self.entries.extend(csv.DictReader(self.process.stdout))

    def wait_for(self, number):
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline and self.count() < number:
            time.sleep(LOOK)

    def count(self):
        return int(self.entries[-1]["number"] or 0) if self.entries else 0

    def end(self):
        self.process.terminate()
        self.process.wait()
        self.thread.join()
        self.process.stdout.close()


def write(name, content):
    with open(name, "w", encoding="utf-8") as file:
        file.write(content)


def read_lines(name):
    with open(name, encoding="utf-8") as file:
        return file.readlines()


class Run:
    """One soak: its processes, and what is seen of them from outside."""

    def __init__(self, build, folder, seconds):
        self.build, self.folder, self.seconds = build, folder, seconds
        self.samples, self.restarts, self.rotations = [], [], 0
        self.log = os.path.join(folder, "log", "soak")
        self.file_zero = None

    def program(self, *path):
        return os.path.join(self.build, *path)

    def go(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        os.makedirs(os.path.join(self.folder, "log"))
        write(os.path.join(self.folder, "table"), TABLE)
        self.daemon = Daemon(self.program("tools", "kivsim", "kivsim"), self.folder)
        self.application = self.follower = None
        try:
            self.daemon.start()
            self.attend()
        finally:
            if self.application:
                self.application.kill()
                self.application.wait()
            if self.follower:
                self.follower.end()
            self.daemon.end()

    def attend(self):
        with open(os.path.join(self.folder, "output"), "wb") as output, uninterrupted():
            self.application = subprocess.Popen(
                [self.program("tests", "soak", "qvcommon_soak"), self.folder, self.daemon.socket,
                 str(self.daemon.port), str(self.seconds)],
                stdout=output, stderr=subprocess.STDOUT)
        self.start = time.monotonic()
        with uninterrupted():
            self.follower = Follower(self.program("tools", "qvlog", "qvlog"), self.log)
        due = FIRST_RESTART
        chance = random.Random(1)
        while self.application.poll() is None:
            now = time.monotonic() - self.start
            if now > self.seconds + 2 * PATIENCE:
                raise Broken("the application does not end")
            if now >= due and due < self.seconds - QUIET_END:
                self.restart_daemon(now)
                due += NEXT_RESTART
                time.sleep(chance.random() * LOOK)  # no rhythm in common with the requests
            self.look(now)
            time.sleep(LOOK)
        if self.application.returncode != 0:
            raise Broken(f"the application ended with status {self.application.returncode}; see "
                         f"{self.folder}/output")
        self.journal = accounts.Journal(read_lines(os.path.join(self.folder, "journal")))
        self.follower.wait_for(int(self.journal.of("lines")[0][1]))

    def restart_daemon(self, now):
        by_itself = len(self.restarts) % 2 == 1
        self.daemon.restart(by_itself)
        self.restarts.append((now, "restarted" if by_itself else "killed"))

    def look(self, now):
        try:
            file_zero = os.stat(self.log + "0.log").st_ino
        except FileNotFoundError:  # in the middle of a rotation
            file_zero = self.file_zero
        self.rotations += self.file_zero not in (None, file_zero)
        self.file_zero = file_zero
        if self.samples and now < self.samples[-1].time + SAMPLE:
            return
        of_application, of_daemon = look_at(self.application.pid), look_at(self.daemon.process.pid)
        if of_application and of_daemon:
            self.samples.append(Sample(now, *of_application, *of_daemon, self.follower.count(),
                                       self.rotations))

    def accounts(self):
        daemon = accounts.DaemonLog(read_lines(self.daemon.log_name))
        return accounts.account(self.journal, daemon, self.follower.entries)

    def refused(self):
        return len(self.journal.of("refused"))


def growth(samples):
    """How much memory and descriptors have grown from the second quarter of a run to its last."""
    quarter = len(samples) // 4
    second, last = samples[quarter:2 * quarter], samples[-quarter:]
    return (statistics.median(s.memory for s in last) - statistics.median(s.memory for s in second),
            max(s.descriptors for s in last) - max(s.descriptors for s in second))


def table(head, rows):
    return "\n".join(["| " + " | ".join(head) + " |",
                      "| --- |" + " ---: |" * (len(head) - 1)] +
                     ["| " + " | ".join(map(str, row)) + " |" for row in rows] + [""])


def account_table(result):
    return table(("what", "sent", "arrived", "under way at a restart", "lost", "twice", "wrong"),
                 result)


def time_table(run):
    rows = []
    for part in range(10):
        begin, end = run.seconds * part / 10, run.seconds * (part + 1) / 10
        samples = [sample for sample in run.samples if begin <= sample.time < end]
        if not samples:
            continue
        last = samples[-1]
        restarts = sum(begin <= when < end for when, _ in run.restarts)
        rows.append((f"{end / 60:.1f}", last.lines, last.rotations, restarts,
                     *(f"{statistics.median(s.memory for s in samples):.0f}",
                       max(s.descriptors for s in samples)),
                     f"{statistics.median(s.daemon_memory for s in samples):.0f}",
                     max(s.daemon_descriptors for s in samples)))
    return table(("minutes", "lines so far", "changes of files so far", "restarts",
                  "application: kB", "descriptors", "stand-in: kB", "descriptors"), rows)


def failures(run, result):
    """What must not be, as sentences."""
    found = [f"{row.what}: {row.lost} lost, {row.twice} twice, {row.wrong} wrong"
             for row in result if row.lost or row.twice or row.wrong]
    found += [f"{row.what}: there were none" for row in result if not row.arrived]
    if len(run.restarts) < 2 or run.rotations < 2:
        found.append(f"only {len(run.restarts)} restarts and {run.rotations} changes of files")
    memory, descriptors = growth(run.samples)
    if memory > MOST_MEMORY:
        found.append(f"the application has grown by {memory:.0f} kB")
    if descriptors > MOST_DESCRIPTORS:
        found.append(f"the application has {descriptors} descriptors more than before")
    return found


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        names = [line.partition(":")[2].strip() for line in file if line.startswith("model name")]
    return (f"{datetime.datetime.now(datetime.timezone.utc):%Y-%m-%d}; {os.cpu_count()} x "
            f"{names[0] if names else os.uname().machine}")


def report(run, result):
    memory, descriptors = growth(run.samples)
    killed = sum(how == "killed" for _, how in run.restarts)
    return "\n".join([
        f"Within {run.seconds / 60:g} min there were {len(run.restarts)} restarts of the stand-in, "
        f"{killed} of them by SIGKILL, and {run.rotations} changes of log files. The library refused "
        f"{run.refused()} requests, as there was no connection.", "",
        account_table(result), time_table(run),
        f"From the second quarter to the last the application's memory has changed by {memory:+.0f} "
        f"kB (allowed: {MOST_MEMORY}), and the most descriptors by {descriptors:+d} "
        f"(allowed: {MOST_DESCRIPTORS})."])


def main():
    for number in INTERRUPTIONS:
        signal.signal(number, interrupt)
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", help="where the programs were built")
    parser.add_argument("folder", help="gets all that is written; emptied first")
    parser.add_argument("seconds", type=int)
    parser.add_argument("--record", metavar="DOCUMENT", help="put the report and the chart there")
    arguments = parser.parse_args()

    run = Run(arguments.build, os.path.abspath(arguments.folder), arguments.seconds)
    run.go()
    result = run.accounts()
    text = report(run, result)
    print(text)
    chart.draw(run.samples, run.restarts, os.path.join(arguments.folder, "soak.svg"))
    if arguments.record:
        shutil.copy(os.path.join(arguments.folder, "soak.svg"),
                    os.path.splitext(arguments.record)[0] + ".svg")
        replace_between(arguments.record, MARK_BEGIN, MARK_END, f"{machine()}\n\n{text}")
    found = failures(run, result)
    for failure in found:
        print(f"soak: {failure}", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except Broken as error:
        sys.exit(f"soak: {error}")
