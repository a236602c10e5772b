# SPDX-License-Identifier: LGPL-2.1-or-later
"""A soak that is interrupted leaves nothing behind."""

import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SOAK = os.path.join(os.path.dirname(os.path.abspath(__file__)), "soak.py")
PROGRAMS = ("tools/kivsim/kivsim", "tools/qvlog/qvlog", "tests/soak/qvcommon_soak")
# In place of a program: tells its process and what is waited for, and stays.
STAY = """#!/bin/sh
echo "kivsim: listening on nothing:1"
echo $$ >"$0.new"
mv "$0.new" "$0.process"
exec sleep 1000
"""


def is_there(process):
    try:
        os.kill(process, 0)
    except ProcessLookupError:
        return False
    return True


class Interruptions(unittest.TestCase):
    def setUp(self):
        # pylint: disable=consider-using-with
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.temporary = os.path.join(self.folder, "tmp")
        os.mkdir(self.temporary)

    def start(self):
        """Starts a soak of programs that do nothing. @return it, when they are all there"""
        programs = [os.path.join(self.folder, "build", program) for program in PROGRAMS]
        for program in programs:
            os.makedirs(os.path.dirname(program))
            with open(program, "w", encoding="ascii") as file:
                file.write(STAY)
            os.chmod(program, 0o755)
        # Not a pipe: those that are left behind would hold it open.
        self.errors = open(os.path.join(self.folder, "errors"), "w+b")
        self.addCleanup(self.errors.close)
        soak = subprocess.Popen(
            [sys.executable, SOAK, os.path.join(self.folder, "build"),
             os.path.join(self.folder, "soak"), "600"],
            env={**os.environ, "TMPDIR": self.temporary}, stderr=self.errors,
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
        self.addCleanup(soak.wait)
        self.addCleanup(soak.kill)
        names = [program + ".process" for program in programs]
        while not all(map(os.path.exists, names)):
            self.assertIsNone(soak.poll())
            time.sleep(0.01)
        self.processes = []
        for name in names:
            with open(name, encoding="ascii") as file:
                self.processes.append(int(file.read()))
        return soak

    def interrupt(self, number):
        soak = self.start()
        try:
            soak.send_signal(number)
            soak.wait()
            left = [process for process in self.processes if is_there(process)]
        finally:
            for process in filter(is_there, self.processes):
                os.kill(process, signal.SIGKILL)
        self.assertEqual(left, [])
        self.errors.seek(0)
        self.assertEqual(self.errors.read(), b"soak: interrupted\n")
        self.assertEqual(soak.returncode, 128 + number)
        self.assertEqual(os.listdir(self.temporary), [])

    def test_interrupt(self):
        self.interrupt(signal.SIGINT)

    def test_termination(self):
        self.interrupt(signal.SIGTERM)

    def test_hangup(self):
        self.interrupt(signal.SIGHUP)


if __name__ == "__main__":
    unittest.main()
