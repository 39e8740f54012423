#!/usr/bin/env python3
"""What the console shows, answers and passes on, byte for byte.

  console_test.py PROBE [CASE...]

The probe does what its arguments say (its head tells how). A transcript is all that it writes, standard error included,
with its input in a file; a play is what a terminal shows, and what is typed when so much has come.
"""
import os
import re
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../support"))
from session import PATIENCE, Session, run_all  # noqa: E402

PROBE, *WANTED = sys.argv[1:]
BLANK = b"\r" + b" " * 79 + b"\r"
PROMPT = b"[Press any key to continue]"
BIG = b"b" * 1024 * 1024


def x(count):
    return b"x" * count


# Name: what the probe does, its input, what it writes.
TRANSCRIPTS = {
    # --- Where text goes
    "an output function gets complete lines, or more than 200 characters": (
        ["function", b"put " + x(200), "say 200 wait", "put y", "put one\ntwo", b"put \xFF", "put \n", "put rest", "put a\1b\n",
         b"line " + x(200), b"line " + x(200) + b"z"], b"",
        b"<200 wait>(" + x(200) + b"y)(one\ntwo\xFF\n)(resta\0b\n)(" + x(200) + b"\n)(" + x(200) + b"z)(\n)"),
    "an output function may use the console, and there is no page for it": (
        ["function line no lock is held", "line first", "init 65", "repeat 40 newline", "need 100", "clear 0", "size"],
        b"", b"(first\n)(no lock is held\n)" + b"(\n)" * 40 + b"<0><0><0><40>"),
    "a copy gets each piece and is flushed by the column": (
        ["screen 0", "copy 1", "copy 0", "put a\nb", "put c\r", "put d", "put \n", b"put " + x(79), "column", "key 0",
         b"put " + x(79), b"put " + x(79), "put y"], b"k",
        b"<1><0>[a\nb][c\r]![d][\n]![" + x(79) + b"]<79>[k]!<107>[" + x(79) + b"][" + x(79) + b"]![y]"),
    "the function comes before the copy": (["screen 0", "copy 1", "function", "line z"], b"", b"<1>[z](z\n)[\n]!"),
    "a copy that leads back ends": (["function", "copy 1", "back", "put a\n"], b"", b"<1>(a\n)(a\n)!"),
    "standard output gets the line before the copy does": (["copy 1", "line z"], b"", b"<1>z\n[z][\n]!"),
    "the log gets complete lines, or 64 KiB": (
        ["log 1", "put 50%", "put s\nb\n", "put c", b"put " + x(65535), b"put " + x(65535), "line \n"], b"",
        b"{6%s50%s\nb\n}{6%sc" + x(65535) + b"}{6%s" + x(65535) + b"\n}{6%s\n}"),
    "a console that logs": (["init 16", "line 1", "key 0"], b"k", b"{probe10}{6%s1\n}<-1>"),
    "exact bytes": ([b"put a\1%d\xFF" + x(100_000), "null"], b"", b"a\0%d\xFF" + x(100_000) + b"<7>"),
    # --- Lifetime: whoever writes after the service finds the buffer as new
    "the buffer lives as long as its service": (
        ["service 0", "function", "attach", "existing", "repeat 2 service 1", "put first", "repeat 2 service 0", "existing",
         "put , second", "own print , third", "function", "put , last", "existing", "repeat 2 destroy", "existing"],
        b"", b"<0><1><1>(first)<1><0><0>, second, third<1><1><0>(, last)<0><1><0>"),
    "what nobody took is gone with the buffer": (
        ["service 1", "function", "put lost", "functionless", "service 0", "function", "put kept\n"], b"", b"(kept\n)"),
    "what the last call of the function adds is gone with the buffer": (
        ["service 1", "function print lost", "put a", "service 0", "existing", "function", "put kept\n"], b"", b"(a)<1><0><0>(kept\n)"),
    # --- Input
    "words and keys from one input": (
        ["copy 1", "poll 0", "word", "key 0", *["word"] * 5, "key 0", "poll 0"],
        b"\xFF \n one\x03two\va\0b\n" + BIG + b"cd  ",
        b"<1>[\xFF]<255><7 one\x03two>[\v]<11><3 a\0b><1048576 bbbbbbbbb><2 cd><0 ><0 ><-1><-1>"),
    "Ctrl-C is a key": (["key 0"], b"\x03", b"<3>"),
    "Ctrl-C aborts": (["try key 4", "on 8", "try key 4"], b"\x03\x03", BLANK + b"<11>^C\n<11>"),
    "flags": (["key 0", "init 64", "on 24", "poll 0", "ask Nyn", "off 26", "key 0", "newline", "size", "own init 64", "put nowhere"],
              b"xy", b"<120><-1>{6%sGo (yn) [N]\r\n}<n><121>\n<0><80><24><1>"),
    # --- Formats
    "no text": (["unwritable"], b"", b"<4>"),
}
for size in (0, 1, 511, 512, 513, 100_000):
    TRANSCRIPTS[f"formats {size} characters"] = ([b"print " + x(size), b"line " + x(size) + b"|"], b"", x(2 * size) + b"|\n")
for keys, default, shown, answer in (
        (b"y", "n", b"[N]", b"y"), (b"?zq", "N", b"[N]", b"Q"), (b"\n", "q", b"[Q]", b"Q"), (b"z\r", "x", b"[X]", b"x"),
        (b"X", "x", b"[X]", b"x"), (b"", "N", b"[N]", b"n"), (b"\n\xF9N", "\1", b"", b"n"), (b"\n", "\1", b"", b"\0")):
    TRANSCRIPTS[f"asks {default} {keys}"] = ([f"ask {default}ynQ"], keys, b"Go (ynQ)" + shown.rjust(len(shown) + bool(shown)) +
                                             b"\r\n<" + answer + b">")

PROGRESS = ["progress one\n10", "progress two", "put line\n", "progress " + "x" * 78 + "\u00E4z", "progressless", "on 264",
            "progress silent", "size", "off 8", "progress end", "destroy"]
TRANSCRIPTS["no progress in a file"] = (PROGRESS, b"", b"line\n<0><80><24><0>")

# Name: the lines and columns, what the probe does, what is shown and typed, what is shown at the end.
PLAYS = {
    "keys and a line": (
        (30, 100), ["poll 4", "key 0", "key 4", "try key 4", "on 8", "try ask nyn", "word", "poll 0"],
        [(b"<0>", b"\xFF"), (b"<255>", b"\xA9"), (b"<169>", b"\x03"), (BLANK + b"<11>Go (yn) [N]", b"\x03"),
         (b"^C\n<11>", b"word\n")], b"<4 word><10>"),
    "full pages": (
        (30, 100), ["init 2", "repeat 23 newline", "size", "off 1", "repeat 22 line ", "need 0", "need 1", "need 22",
                    "need 4000000000", "repeat 30 own newline", "own on 1", "own newline"],
        [(b"\n" * 23 + PROMPT, b"x"), (BLANK + b"<1><80><24><0>" + b"\n" * 22 + PROMPT, b"x"), (BLANK + PROMPT, b"x"),
         (BLANK + b"\n" * 31 + b"more\n", b"x")], BLANK),
    "progress": ((30, 100), PROGRESS, [], b"\rone 10\rtwo   \r   \rline\n\r" + x(78) + "\u00E4".encode() + BLANK +
                 b"<1><100><30><0>\rend\r   \r"),
    "a terminal that does not know its size": ((0, 50), ["on 256", "take", "size"], [], b"<0><1><80><24><0>"),
}


def same(got, wanted):
    at = len(os.path.commonprefix([got, wanted]))
    assert got == wanted, f"{got[at:at + 300]!r} instead of {wanted[at:at + 300]!r}, after {got[:at][-300:]!r}"


def transcript(commands, **options):
    done = subprocess.run([PROBE, *commands], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=PATIENCE, **options)
    assert done.returncode == 0, f"status {done.returncode}: {done.stdout[-300:]!r}"
    return done.stdout


def from_file(commands, keys, wanted):
    with tempfile.TemporaryFile() as file:
        file.write(keys)
        file.seek(0)
        same(transcript(commands, stdin=file), wanted)


def play(size, commands, steps, last):
    os.environ["LC_ALL"] = "C.UTF-8"
    session = Session(PROBE, *commands, plain=True, size=size)
    for shown, keys in steps:
        session.expect_next(shown)
        if not keys.endswith(b"\n"):
            session.wait_single_keys()
        session.type(keys)
    session.ends(0)
    same(session.shown, last)


def no_input():
    same(transcript(["key 0"], preexec_fn=lambda: os.close(0)), b"ICANON: Bad file descriptor\n<-1>")


def stopped_reader():
    """Nothing comes, and the descriptor does not wait."""
    reading, _ = os.pipe()
    os.set_blocking(reading, False)
    same(transcript(["thread after 300 stop", "word", "join"], stdin=reading), b"<0 >")


def whole_lines():
    """To a copy of two consoles, and to another buffer; neither guards anything (tests/stress has standard output)."""
    def crowd(*prefixes):
        return [f"thread {prefix}repeat 300 line {letter * 30}" for prefix, letter in zip(prefixes, "abcd")] + ["join"]
    got = transcript(["screen 0", "copy 1", *crowd("", "", "own ", "own "), "say then", "record", *crowd("", "", "", "")])
    lines = re.sub(rb"\[(\w)\1{29}\]\[\n\]!", rb"\1", got.removeprefix(b"<1>"))
    same(bytes(sorted(lines)), bytes(sorted(b"<then>" + b"abcd" * 600)))


def two_consoles():
    """Each of them gets a key, looks without waiting, and is stopped alone."""
    session = Session(PROBE, "thread own key 0", "after 300 poll 0", "thread key 0", "join",
                      "thread own key 0", "thread after 300 key 0", "after 600 stop", "join", plain=True)
    session.expect_next(b"<0>")
    for keys, answer in ((b"a", b"<97>"), (b"b", b"<98><-1>"), (b"c", b"<99>")):
        session.wait_single_keys()
        session.type(keys)
        session.expect_next(answer)
    session.ends(0)
    same(session.shown, b"")


def main():
    os.environ.update({"LANG": "C", "LC_ALL": "C", "TERM": "xterm"})
    cases = {"no standard input": no_input, "a reader that does not wait is stopped": stopped_reader,
             "lines of several threads stay whole": whole_lines, "two consoles": two_consoles}
    cases |= {name: lambda row=row: from_file(*row) for name, row in TRANSCRIPTS.items()}
    cases |= {name: lambda row=row: play(*row) for name, row in PLAYS.items()}
    run_all(cases, WANTED)


main()
