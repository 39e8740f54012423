"""What the comparisons of this folder share.

Each script compares what the libraries answer with what others wrote: a few seconds' sample, and everything with
TVK_LONG=1 in the environment. Its first argument is the program that Probe.cpp makes.
"""
import itertools
import os
import struct
import subprocess
import sys
import time

LONG = os.environ.get("TVK_LONG", "0") != "0"

_started = time.monotonic()
_compared = 0
_different = 0


def sample(items, step):
    """All items in the long form, every so many of them otherwise."""
    items = list(items)
    return items if LONG else items[::step]


def compare(what, got, expected):
    """Counts a comparison, and shows the first ones that fail."""
    global _compared, _different
    _compared += 1
    if got != expected:
        _different += 1
        if _different <= 20:
            if isinstance(got, list):  # the first items that differ
                first = sum(1 for _ in itertools.takewhile(lambda pair: pair[0] == pair[1], zip(got, expected)))
                got, expected = got[first:first + 3], expected[first:first + 3]
            print(f"{repr(what):.300}:\n  library   {repr(got):.300}\n  reference {repr(expected):.300}")


def ask(questions):
    """The answers to a list of questions, each of which begins with the letter of its operation (see Probe.cpp)."""
    text = b"".join(struct.pack("<I", len(each)) + each for each in questions)
    out = subprocess.run([sys.argv[1]], input=text, stdout=subprocess.PIPE, check=True).stdout
    answers = []
    at = 0
    while at < len(out):
        end = at + 4 + struct.unpack_from("<I", out, at)[0]
        answers.append(out[at + 4:end])
        at = end
    if len(answers) != len(questions):
        sys.exit(f"{len(questions)} questions, {len(answers)} answers")
    return answers


def compare_all(questions, expected):
    """Asks many questions, in pieces, and compares with what `expected` answers to each of them."""
    questions = iter(questions)
    while piece := [question for question, _ in zip(questions, range(200000))]:
        for question, got in zip(piece, ask(piece)):
            compare(question, got, expected(question))


def finish(minimum):
    """The result of the script; fewer comparisons than `minimum` are a failure too."""
    print(f"{_compared} compared, {_different} different, {time.monotonic() - _started:.0f} s")
    sys.exit(0 if _different == 0 and _compared >= minimum else 1)
