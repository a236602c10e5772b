#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Runs a program on the emulated board; ./board calls it."""

import signal

signal.signal(signal.SIGINT, signal.SIG_DFL)  # whoever interrupts so early wants to read nothing

# pylint: disable=wrong-import-position
import argparse
import os
import re
import select
import selectors
import shlex
import subprocess
import sys
import termios
import time
import tty

from files import Archive, Collection, Refused, check_program, hidden
from machine import ARCHIVE_LIMIT, INSTRUCTION, LINES, Gone, Machine, receive

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
BUILD = os.path.join(ROOT, "build")
BOOT_LIMIT = 180  # seconds; two are enough where nothing else runs
OUTPUT_INTERVAL = 0.005  # seconds between two looks at the outputs
LONGEST_WAIT = 3600  # seconds; any number that select() takes
END_OF_INPUT = b"\4"  # for a terminal
BROKEN = 125  # the status of a board that does not work
HANGING = 124
COUNTED_DATE = 1709298245  # when counted, all is the same each time


class Interrupted(Exception):
    """A signal has come that ends this program."""


def say(text):
    print(f"board: {text}", file=sys.stderr, flush=True)


class Parser(argparse.ArgumentParser):
    """Refuses in one line."""

    def error(self, message):
        say(f"{message}; see ./board --help")
        sys.exit(2)


def parse_arguments():
    parser = Parser(prog="./board", add_help=False, allow_abbrev=False)
    parser.add_argument("--memory", type=int, default=64)
    parser.add_argument("--limit", type=float, default=600)
    parser.add_argument("--with", action="append", default=[], dest="others")
    parser.add_argument("--set", action="append", default=[], dest="variables")
    parser.add_argument("--count", action="store_true")
    parser.add_argument("--gpio", action="store_true")
    parser.add_argument("--shell", action="store_true")
    parser.add_argument("command", nargs=argparse.REMAINDER)
    arguments = parser.parse_args()
    if arguments.shell == bool(arguments.command):
        parser.error("a program or --shell is needed" if not arguments.shell else
                     "a program and --shell do not go together")
    if arguments.gpio and (arguments.count or arguments.shell):
        parser.error("--gpio goes neither with --count nor with --shell")
    if arguments.count and arguments.shell:
        parser.error("--count and --shell do not go together")
    if any(not re.match(r"[A-Za-z_]\w*=", variable) for variable in arguments.variables):
        parser.error("--set takes NAME=VALUE")
    if not arguments.limit >= 0:
        parser.error("--limit is 0 or more")
    if not 64 <= arguments.memory <= 480:
        parser.error("--memory is between 64 and 480")
    return arguments


def prepare(*command, stdout=sys.stderr):
    """
    Runs a script that makes something unless it is there. An interruption is for all of its
    processes. @return what it prints, if that is asked for
    """
    with subprocess.Popen(command, cwd=ROOT, stdout=stdout, text=True,
                          start_new_session=True) as process:
        try:
            output = process.communicate()[0]
        except Interrupted:
            os.killpg(process.pid, signal.SIGTERM)
            raise
    if process.returncode != 0:
        raise Refused(f"{command[0]} failed")
    return output


def sysroot_folder():
    return os.path.abspath(os.environ.get("QVCOMMON_SYSROOT") or os.path.join(BUILD, "sysroot-armel"))


def collect(arguments, folder):
    sysroot = sysroot_folder()
    with open(os.path.join(folder, "root.list"), encoding="utf-8") as file:
        there = file.read().split()
    libraries = [os.path.join(BUILD, "armel/src"),
                 os.path.join(sysroot, "usr/lib/arm-linux-gnueabi"),
                 os.path.join(sysroot, "usr/lib")]
    collection = Collection(there, libraries)
    for path in arguments.command[:1] + arguments.others:
        collection.add(path)
    return collection.files


def guest_command(arguments):
    """The shell commands for what is to be run, after which "status" is the exit status."""
    # Without the descriptor that the start-up script keeps open.
    environment = "3>&- env -i HOME=/tmp PATH=/bin:/usr/bin LANG=C.UTF-8 TERM=\"$TERM\""
    for variable in arguments.variables:
        environment += " " + shlex.quote(variable)
    folder = "/"
    if arguments.shell:
        what = "setsid -c sh -l"
        tail = " </dev/ttymxc0 >/dev/ttymxc0 2>&1"
    else:
        folder = os.path.dirname(arguments.command[0])
        what = " ".join(map(shlex.quote, arguments.command))
        tail = " </dev/null"
        # Called by env itself, a program with an = in its name would be a variable.
        what = f"/count {what}" if arguments.count else f"setpriv {what}"
    date = COUNTED_DATE if arguments.count else int(time.time())
    terminal = shlex.quote(os.environ.get("TERM", "dumb"))
    return (f"date -s @{date} >/dev/null\n"
            f"TERM={terminal}\n"
            f"{'stty -F /dev/ttymxc0 sane onlcr' if arguments.shell else ''}\n"
            f"cd {shlex.quote(folder)}\n"
            "echo up >$outside\n"
            "status=0\n"
            f"{environment} {what}{tail} || status=$?\n")


def make_archive(arguments, kernel, files):
    archive = Archive()
    archive.file("init", os.path.join(HERE, "init"))
    archive.file("i2c-stub.ko", os.path.join(kernel, "i2c-stub.ko"))
    archive.file("bin/busybox", os.path.join(sysroot_folder(), "usr/bin/busybox"))
    archive.link("lib/ld-linux.so.3", "/usr/lib/ld-linux.so.3")
    archive.folder("tmp")
    archive.text("etc/passwd", "root::0:0:root:/tmp:/bin/sh\n")
    archive.link("etc/localtime", "/usr/share/zoneinfo/UTC")
    archive.text("command", guest_command(arguments))
    if arguments.count:
        archive.file("count", os.path.join(BUILD, "board/count"))
    for place, path in files.items():
        if place.lstrip("/") in archive.names:
            raise hidden(path)
        archive.file(place, path)
    content = archive.content()
    if len(content) > ARCHIVE_LIMIT:
        raise Refused(f"the programs and their libraries have {len(content) >> 20} MiB, of "
                      f"{ARCHIVE_LIMIT >> 20} that have room")
    return content


class Session:
    """What goes on between the board, the user and the machine outside."""

    def __init__(self, machine, arguments):
        self.machine = machine
        self.arguments = arguments
        self.selector = selectors.DefaultSelector()
        self.deadline = time.monotonic() + BOOT_LIMIT
        self.running = False
        self.status = None
        self.panic = None
        self.last_line = b""
        self.outputs = {}
        self.reports = []
        self.typed = b""
        self.received = b""
        machine.pins.read_console = self.read_console
        self.watch(machine.console, self.read_console)
        self.watch(machine.control, self.read_control)

    def watch(self, source, reader):
        self.selector.register(source, selectors.EVENT_READ, reader)

    def watch_input(self):
        try:
            self.watch(sys.stdin.fileno(), self.read_input)
        except PermissionError:  # a file, which is always ready
            while self.read_input():
                pass

    def run(self):
        """@return the status of the program"""
        while self.machine.console in self.sources():
            if time.monotonic() > self.deadline:
                return self.give_up()
            try:
                self.turn()
            except Gone:
                break
        if self.status is None:
            complaint = self.machine.stop()
            raise Refused(self.panic or complaint or "the board has stopped before the program ended")
        return self.status

    def turn(self):
        for key, _ in self.selector.select(self.patience()):
            key.data()
        if self.running and self.status is None and self.arguments.gpio:
            self.report_outputs()

    def sources(self):
        return [key.fileobj for key in self.selector.get_map().values()]

    def patience(self):
        left = min(max(0, self.deadline - time.monotonic()), LONGEST_WAIT)
        return min(left, OUTPUT_INTERVAL) if self.arguments.gpio and self.running else left

    def give_up(self):
        if self.running:
            say(f"the program did not end within {self.arguments.limit:g} seconds; it was stopped")
        else:
            say(f"the board did not start within {BOOT_LIMIT} seconds; it was stopped")
        return HANGING

    def read_console(self):
        """@return false at its end"""
        data = receive(self.machine.console)
        if data is None:  # it was read while the pins were asked
            return True
        if not data:
            self.selector.unregister(self.machine.console)
            return False
        if self.status is not None:  # what the kernel says when it is switched off
            return True
        text = self.last_line + data
        panic = re.search(rb"Kernel panic[^\r\n]*", text)
        if panic:
            self.panic = panic[0].decode(errors="replace")
        self.last_line = text.rpartition(b"\n")[2][-200:]
        sys.stdout.buffer.write(data)
        sys.stdout.buffer.flush()
        if not self.last_line:
            self.print_reports()
        return True

    def read_control(self):
        data = receive(self.machine.control)
        if not data:
            self.selector.unregister(self.machine.control)
            return
        *lines, self.received = (self.received + data).split(b"\n")
        for line in lines:
            try:
                self.obey(line.decode(errors="replace").split())
            except (IndexError, ValueError):  # a program may write there, too
                say(f"the board asks for {line}")

    def obey(self, words):
        """Does what the board asks for."""
        if words == ["up"]:
            self.running = True
            if self.arguments.gpio or self.arguments.shell:
                self.watch_input()
            limit = self.arguments.limit if not self.arguments.shell else 0
            self.deadline = time.monotonic() + limit if limit > 0 else float("inf")
        elif words[:1] == ["exit"]:
            self.end(int(words[1]))
        elif words[:1] == ["time"]:
            say(f"{int(words[1]) // INSTRUCTION} instructions")
        elif words[:1] == ["set"]:
            self.machine.pins.drive(int(words[1]), int(words[2]))
            self.machine.answer("ok")
        elif words[:1] == ["get"]:
            self.machine.answer(self.machine.pins.level(int(words[1])))

    def end(self, status):
        """The program has ended; the board is not switched off before it gets an answer."""
        while select.select([self.machine.console], [], [], 0)[0] and self.read_console():
            pass
        if self.arguments.gpio:
            self.report_outputs()
            self.print_reports()
        self.status = status
        self.machine.answer("ok")

    def read_input(self):
        """@return false at its end"""
        data = os.read(sys.stdin.fileno(), 4096)
        if not data:
            if sys.stdin.fileno() in self.sources():
                self.selector.unregister(sys.stdin.fileno())
            if self.arguments.shell:
                self.machine.type(END_OF_INPUT)
            elif self.typed:
                self.drive(self.typed.decode(errors="replace"))
            return False
        if self.arguments.shell:
            self.machine.type(data)
            return True
        *lines, self.typed = (self.typed + data).split(b"\n")
        for line in lines:
            self.drive(line.decode(errors="replace"))
        return True

    def drive(self, text):
        match = re.fullmatch(r"\s*(\d{1,9})\s+([01])\s*", text)
        if not match or int(match[1]) >= LINES:
            say(f"\"{text}\" is not \"LINE LEVEL\", with a line from 0 to {LINES - 1}")
            return
        self.machine.pins.drive(int(match[1]), int(match[2]))

    def report_outputs(self):
        """Level changes that come and go between two looks are not seen."""
        outputs = self.machine.pins.outputs()
        for line, level in outputs.items():
            if self.outputs.get(line) != level:
                self.reports.append(f"board: output {line} is {level}\n")
        self.outputs = outputs
        if not self.last_line:
            self.print_reports()

    def print_reports(self):
        """Not in the middle of a line of the program's."""
        sys.stdout.write("".join(self.reports))
        sys.stdout.flush()
        self.reports = []


def run_session(machine, arguments):
    terminal = arguments.shell and os.isatty(sys.stdin.fileno())
    if not terminal:
        return Session(machine, arguments).run()
    usual = termios.tcgetattr(sys.stdin.fileno())
    try:
        tty.setraw(sys.stdin.fileno())
        return Session(machine, arguments).run()
    finally:
        termios.tcsetattr(sys.stdin.fileno(), termios.TCSADRAIN, usual)


def run(arguments):
    if arguments.command:
        arguments.command[0] = check_program(arguments.command[0])
    prepare("scripts/make-sysroot")
    folder = os.path.join(BUILD, "board")
    prepare("scripts/board/make-root", folder)
    kernel = prepare("scripts/board/build-kernel", stdout=subprocess.PIPE).strip()
    files = collect(arguments, folder)
    archive = make_archive(arguments, kernel, files)
    machine = Machine(kernel, os.path.join(folder, "root.sqfs"), archive, arguments.memory,
                      arguments.count)
    try:
        return run_session(machine, arguments)
    finally:
        machine.stop()


def interrupt(number, _):
    raise Interrupted(number)


def main():
    arguments = parse_arguments()
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, interrupt)
    try:
        return run(arguments)
    except Interrupted as interruption:
        say("interrupted")
        return 128 + interruption.args[0]
    except (Refused, OSError) as error:
        say(error)
        return BROKEN


if __name__ == "__main__":
    sys.exit(main())
