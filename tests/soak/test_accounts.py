# SPDX-License-Identifier: LGPL-2.1-or-later
"""The accounts notice what is missing, comes twice or is wrong."""

import unittest

import accounts

JOURNAL = """\
1	connected	l	1	
1	sent	l-1-1	subscribe	1
2	sent	l-1-2	edit	2
2	refused	d-0-2	edit	2
3	answer	l-1-1	ok	
3	answer	l-1-2	ok	
3	change	l-1-1	/soak/l/value	2
4	sent	l-1-3	value	3
5	answer	l-1-3	value	2
6	sent	l-1-4	table	4
7	disconnected	l	1	
8	device	chip	7	7
9	connected	l	2	
9	sent	l-2-5	value	5
9	answer	l-2-5	value	0
9	sent	l-2-6	wrong	6
9	answer	l-2-6	error	application
10	thread	1	2	
10	lines	3		
"""

DAEMON = """\
kivsim: client 1 ->   encode:xml
kivsim: client 1 -> <request><ref>l-1-1</ref><rpc><subscribe>
kivsim: client 1 <- ack:session_info  <reply><ref>l-1-1</ref>
kivsim: client 1 -> <request><ref>l-1-2</ref><rpc><edit>
kivsim: client 1 <- <notify><ref>l-1-1</ref><event><change><op>patch</op><spath>/soak</spath>\
<rpath>/soak/l/value</rpath><data><value>2</value></data>
kivsim: client 1 -> <request><ref>l-1-3</ref><rpc><get>
kivsim: client 1 -> <request><ref>l-1-4</ref><rpc><get>
kivsim: client 2 -> <request><ref>l-2-5</ref><rpc><get>
kivsim: client 2 -> <request><ref>l-2-6</ref><rpc><get>
"""


def entry(number, message, kind="line"):
    return {"number": str(number), "class": "Soak", "message": message, "kind": kind}


ENTRIES = [entry(1, "thread 1 line 1 length 27 x"), entry(2, "thread 1 line 2 length 28 xx"),
           {"number": "3", "class": "Gpio", "message": "open", "kind": "line"}]


class Accounts(unittest.TestCase):
    def faults(self, journal=JOURNAL, daemon=DAEMON, entries=None):
        """What is not as it should be, as "what: column number"."""
        result = accounts.account(accounts.Journal(journal.splitlines()),
                                  accounts.DaemonLog(daemon.splitlines()),
                                  ENTRIES if entries is None else entries)
        return [f"{row.what}: {column} {getattr(row, column)}" for row in result
                for column in ("under_way", "lost", "twice", "wrong") if getattr(row, column)]

    def without(self, text, start):
        lines = text.splitlines(keepends=True)
        self.assertEqual(1, sum(start in line for line in lines))
        return "".join(line for line in lines if start not in line)

    def test_excuses_only_the_end_of_a_connection(self):
        under_way = "answers over the Unix socket: under_way 1"
        self.assertEqual([under_way], self.faults())
        self.assertEqual(["requests over the Unix socket: under_way 1"],
                         self.faults(daemon=self.without(DAEMON, "<request><ref>l-1-4")))
        self.assertEqual([under_way, "answers over the Unix socket: lost 1"],
                         self.faults(self.without(JOURNAL, "answer\tl-1-2")))
        self.assertEqual([under_way, "answers over the Unix socket: lost 1"],
                         self.faults(self.without(JOURNAL, "answer\tl-2-6")))

    def test_counts_a_lost_request(self):
        self.assertIn("requests over the Unix socket: lost 1",
                      self.faults(daemon=self.without(DAEMON, "<request><ref>l-1-2")))

    def test_counts_lost_notifications(self):
        journal = JOURNAL.replace("7\tdisconnected", "7\tconnected")
        self.assertIn("notifications over the Unix socket: lost 1",
                      self.faults(self.without(journal, "change\t")))

    def test_counts_what_comes_twice(self):
        for start, row in (("answer\tl-1-2", "answers"), ("change\t", "notifications")):
            line = next(line for line in JOURNAL.splitlines(keepends=True) if start in line)
            self.assertIn(f"{row} over the Unix socket: twice 1",
                          self.faults(JOURNAL.replace(line, line + line)))

    def test_counts_wrong_answers(self):
        for right, wrong in (("value\t2\n", "value\t1\n"), ("error\tapp", "ok\tapp"),
                             ("answer\tl-1-2", "answer\tl-1-9")):
            self.assertTrue(any("wrong 1" in fault
                                for fault in self.faults(JOURNAL.replace(right, wrong))))

    def test_counts_wrong_readings(self):
        self.assertIn("reads and writes of GPIO and ADC: wrong 1",
                      self.faults(JOURNAL.replace("chip\t7\t7", "chip\t7\t6")))

    def test_counts_lines(self):
        self.assertIn("log lines: lost 1", self.faults(entries=ENTRIES[:2]))
        self.assertIn("log lines: lost 1", self.faults(entries=ENTRIES[1:]))
        self.assertIn("log lines: twice 1", self.faults(entries=ENTRIES[:1] + ENTRIES))
        for damaged in (entry(2, "thread 1 line 2 length 28 x"), entry(2, "thread 1 li"),
                        entry(2, "thread 1 line 3 length 28 xx"),
                        entry(2, "thread 1 line 2 length 28 xx", "cut")):
            faults = self.faults(entries=[ENTRIES[0], damaged, ENTRIES[2]])
            self.assertTrue(any(fault.startswith("log lines: wrong") for fault in faults))


if __name__ == "__main__":
    unittest.main()
