#!/usr/bin/env python3
"""What dates refuse, how their halves, zones and texts go together, and other clocks. The calendar and the zones of the
host stand in tests/differential.

  time_test.py PROBE LOCALES
"""
import os
import random
import re
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../differential"))
from probe import ask, compare, finish  # noqa: E402

EPOCH = 11644473600  # seconds from 1601 to 1970
LAST = 1833017126399  # of the year 60055
BERLIN = {"TZ": "Europe/Berlin"}


def answers(steps, **environment):
    """What the steps tell (see Answers.cpp), in one line."""
    before = dict(os.environ)
    os.environ.update({"TZ": "UTC", **environment})
    try:
        return ask([b"d" + b"".join(step.encode() + b"\0" for step in steps)])[0].removeprefix(b"=").decode()
    finally:
        os.environ.clear()
        os.environ.update(before)


def check(name, steps, wanted, **environment):
    compare(name, answers(steps, **environment), wanted)


def refused(*texts):
    return "".join(f"!1313:{text}|" for text in texts)


SOME = "v 2024 2 28 1 2 3 4 0"
for bad in ("2200-02-29", "2024-02-30", "2023-04-31", "2024-00-01", "2024-13-01", "2024-12-00", "1600-12-31", "60056-01-01",
            "2024-65537-01"):
    date = bad.replace("-", " ")
    check(bad, [SOME, f"d {date}", f"v {date} 0 0 0 0", f"v {date} 0 0 0 0 0", "R"],
          refused(bad, bad, bad) + "2024-02-28T01:02:03.004Z|", **BERLIN)
for bad in ("24:00:00.000", "65548:00:00.000", "-1:00:00.000", "00:60:00.000", "23:59:60.000", "00:00:00.1000"):
    parts = re.sub("[:.]", " ", bad)
    check(bad, [SOME, f"t {parts}", f"s 2023 1 0 1 {parts}", "R"], refused(bad, bad) + "2024-02-28T01:02:03.004Z|")

for name, steps, wanted in (
        ("not set", ["H", "F", "K", "U", "R", "P", "L"], refused(*["not set"] * 7)),
        ("the time alone", ["t 10 11 12 13", "F", "K", "R"], "0 0 0 10 11 12 13 0 |" + refused("0000-00-00", "0000-00-00")),
        ("before the range in its zone", ["v 1601 1 1 0 59 0 0 60", "G"], refused("1601-01-01")),
        ("after the range in its zone", ["v 60055 12 31 23 0 0 0 -60", "G"], refused("60055-12-31")),
        ("before the range in another zone", [f"u {-EPOCH} -1", "F", "U"], refused("0") + f"{-EPOCH}|"),
        ("a second before the range", [f"u {-EPOCH - 1}", "U"], refused(-EPOCH - 1, "not set")),
        ("a second after the range", [f"u {LAST + 1}", f"u {LAST}", "U"], refused(LAST + 1) + f"{LAST}|"),
        ("ticks after the range", ["k -1"], refused(2**64 - 1)),
        ("five digits", ["v 10000 1 1 0 0 0 0 0", "R"], refused("10000-01-01")),
        # --- Halves are replaced alone.
        ("a date gets midnight", ["z 0", "d 2024 5 6", "R"], "2024-05-06T00:00:00Z|"),
        ("a time gets a date", ["z 0", "t 10 11 12 13", "d 2024 2 29", "R"], "2024-02-29T10:11:12.013Z|"),
        # A change of zone leaves ticks alone: each setter has to work the fields out.
        ("a date in another zone", ["v 2024 2 29 10 11 12 13 0", "c -90", "d 2025 12 31", "R"], "2025-12-31T08:41:12.013-01:30|"),
        ("a time in another zone", ["v 2025 12 31 10 11 12 13 0", "c 840", "t 1 2 3 4", "R"], "2026-01-01T01:02:03.004+14:00|"),
        ("a Friday, whatever is given", ["z 840", "s 2024 3 6 15 4 5 6 7", "F", "R"],
         "2024 3 15 4 5 6 7 5 |2024-03-15T04:05:06.007+14:00|"),
        # --- 32 bits.
        ("the base", ["O 0", "T 4294967295"], "4294967295|0|"),
        ("offsets", ["O 1", "O 4294967293", "T 4294967294"], "1|4294967293|4294967294|"),
        ("the last one for all others", ["O 4294967295", "O -1"], "4294967294|4294967294|")):
    check(name, steps, wanted)

# --- The zone of the host.

for name, steps, wanted in (
        ("moments", ["v 2024 3 31 1 30 0 5 0", "U", "u 1711848600 0", "L"], "1711848600|120|"),
        ("fields are read as local time", ["v 2024 3 31 1 30 0 5 0", "L", "c -999", "R"], "60|2024-03-31T02:30:00.005+01:00|"),
        ("settled by the first use", ["s 2024 7 0 1 12 0 0 0", "R", "d 2024 1 1", "R"],
         "2024-07-01T12:00:00+02:00|2024-01-01T12:00:00+02:00|"),
        ("the time of UTC is shown as UTC", ["v 2024 7 15 13 2 3 0 0", "H"], "7/15/2024 13:02:03|"),
        ("but in an hour that the host skips", ["v 2024 3 31 1 59 59 0 0", "H", "v 2024 3 31 2 0 0 0 0", "H", "v 2024 3 31 3 0 0 0 0", "H",
                                                "v 2024 10 27 2 30 0 0 0", "H"],
         "3/31/2024 01:59:59|3/31/2024 01:00:00|3/31/2024 03:00:00|10/27/2024 02:30:00|"),
        ("other times as ours", ["v 2024 3 15 2 2 3 0 300", "H"], "3/15/2024 22:02:03|")):
    check(name, steps, wanted, **BERLIN)
check("as the locale writes it", ["v 2024 3 15 13 2 3 0", "H"], "3/15/2024 01:02:03 PM|", LC_ALL="en_US.UTF-8", LOCPATH=sys.argv[2])

now = time.time()
seconds, ticks, zone, local = map(int, answers(["n", "U", "K", "Z", "L"], **BERLIN).split("|")[:4])
compare("now", (abs(seconds - now) < 60, ticks % 10000, zone), (True, 0, local))

# --- Texts.

for name, text, wanted in (
        *((None, same, same) for same in (
            "2024-02-29T12:00:00.500+01:00", "1601-01-01T00:00:00-00:01", "2024-03-15T12:00:00Z",
            "9999-12-31T23:59:59.9999999-23:59", "1601-01-01T00:00:00.0000001Z")),
        ("a blank, few digits", "2024-03-15 12:00:00.0010-05:30", "2024-03-15T12:00:00.001-05:30"),
        ("small letters, many digits", "2024-03-15t12:00:00.12345678999z", "2024-03-15T12:00:00.1234567Z"),
        ("what stands for the local zone", "2024-03-15T12:00:00-16:39", "2024-03-16T04:39:00Z")):
    check(name or text, ["r" + text, "R"], wanted + "|", **BERLIN)
check("a day or more off", ["v 2024 3 15 12 0 0 0 1440", "R"], "2024-03-14T12:00:00Z|")
for bad in ("", "2024-03-15T12:00:00Zx", "2024-03-15T12:00:00", "2024-03-15", "2024-03-15T12:00Z", "2024-03-15T12:00:60Z",
            "2024-03-15T24:00:00Z", "2023-02-29T00:00:00Z", "2024-03-15T12:00:00.Z", "2024-03-15T12:00:00+0100",
            "2024-03-15T12:00:00+24:00", "2024-03-15T12:00:00+01:60", "2024-3-15T12:00:00Z", "+024-03-15T12:00:00Z",
            "2024-03-15T12:00:00 Z", "1601-01-01T00:00:00+00:01", "1600-12-31T23:59:59-00:01", "2024/03/15T12:00:00Z"):
    check(f"no date: {bad}", ["r" + bad], refused(bad))  # nothing stands for a null pointer



def filled(pattern):
    """One placeholder after the other, up to the first that is missing."""
    for placeholder, part in (("%1", "2024"), ("%2", "3"), ("%3", "15")):
        if placeholder not in pattern:
            break
        pattern = pattern.replace(placeholder, part)
    return pattern


chance = random.Random(3)
patterns = ["", *("-" * (chance.random() < 0.5) * chance.randrange(70) +  # around the room of one pass
                  "".join(chance.choices(["%1", "%2", "%3", "%3", "%2", "%", "4.", "%1%2%3"], k=chance.randrange(10)))
                  for _ in range(3000))]
shown = answers(["v 2024 3 15 13 2 3 0 0", *("Q" + pattern for pattern in patterns)]).split("|")
compare("formats", len(shown) - 1, len(patterns))
for pattern, got in zip(patterns, shown):
    compare(pattern, got, filled(pattern or "%1-%2-%3"))

# --- The clock of the host: nanoseconds around 1970, rounded down to ticks.

for moment in (99, 100, -1, -100, 2100000099, -2**63 + 100, 2**63 - 1):
    check(f"{moment} ns", [f"p {moment} 0", "K", "P"], f"{EPOCH * 10**7 + moment // 100}|{moment // 100 * 100}|")
first, last = (EPOCH * 10**7 + moment // 100 for moment in (-2**63, 2**63 - 1))
check("before the clock begins", [f"p {-2**63} 0", "K"], f"{first}|")
check("not to be told", [f"k {first}", "P", f"k {last + 1}", "P"], refused(first, last + 1))
finish(3050)
