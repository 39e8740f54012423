"""The readers of the command line and of items, text by text. Numbers and bytes are compared with those of the C library
in tests/differential; where the cursor may be, and that the limits hold, is checked in fuzz."""
import os
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parents[1] / "differential"))
from probe import ask, compare, finish

os.environ.update(HOME="/home/u", TZ="XST-3")

# --- Command lines. An answer is "VALUE|REST", or "!CODE:TEXT" for a failure; 2001 also has the argument and the location.


def run(rows):
    """Asks what operations do to command lines. A row is what is expected, the operations, each a tuple of its name and up
    to two parameters, and the arguments."""
    questions = []
    for _, operations, *arguments in rows:
        words = [str(word) for name, *parameters in operations for word in (name, *parameters, "", "")[:3]]
        questions.append(b"a" + "\0".join([*words, "--", *arguments]).encode("latin-1"))
    for (expected, *row), answer in zip(rows, ask(questions)):
        compare(row, answer.decode("latin-1").removeprefix("="), expected)


def check(operation, rows, on_empty="!2003:"):
    """One operation on each argument, and on an empty one."""
    run([(expected, [operation], argument) for argument, expected in {"": on_empty, **rows}.items()])


check(("unsigned max", 0), {"4294967295": "4294967295|"})
check(("signed max", 7), {"7": "7|", "8": "!2005:8"})
check(("signed max", 0), {"2147483647": "2147483647|"})
check(("digits", 8, "err"), {"178": "15|8", "-1": "!2005:err"})
check(("digits", 10), {":5x": "105|x", "\xE9": "185|", "a": "49|"})
check(("char", 1), {" \t\vX": "X|"})
check(("lower", 0), {" X": " |X", "X": "x|"})
check(("expect", "a"), {"Ab": "a|b", "b": "!2023:b"})
check(("one of", ",X"), {"xy": "x|y", "y": "!2023:y"})
check(("keyword", "Jan\tJune\tjun"), {"JAN5": "0|5", "january": "-1|january", "jun-e": "2|-e", "1": "-1|1"})
check(("keyword", "x1\tx\tX12\tx12"), {"X123": "2|3", "xx": "1|x", "y": "-1|y"})

check(("text", -1), {"abc": "abc|null"})
check(("text", 3), {"abc": "abc|", "abcd": "abc|d"})
check(("quoted", -1), {'"a b"c': "a b|c", '""x': "|x", '"ab': '"ab|null', "ab": "ab|null"})
check(("quoted", 2), {'"abc"d': "ab|d", '"a"d': "a|d"})
check(("file",), {"~/data,rest": "/home/u/data;/home/u;data|,rest", '"a,b"': 'a;;a|,b"', '"a b",c': "a b;;a b|,c",
                  '"a/b': "a/b;a;b|null", "/x": "/x;/;x|null", "~bob": "/home/ubob;/home;ubob|null", '"': "!2003:",
                  ",": ";;|,"})
del os.environ["HOME"]
run([("~;;~|null", [("file",)], "~")])
check(("host",), {"127.0.0.1;x": "127.0.0.1|;x", "LOCALHOST#": "127.0.0.1|#", "0:0:1+": "0:0:1::|+",
                  "::1 x": "0:0:1::| x", "::1\tx": "0:0:1::|\tx", "::1\nx": "0:0:1::|\nx", "::1*": "0:0:1::|*",
                  ",": "!2001:,;,;,"})

check(("date",), {"2024-03-15T": "iso 2024-03-15T00:00:00+03:00|T", "2024mAr15,": "2024-03-15T00:00:00+03:00|,",
                  "0x7E8-3-5": "iso 2024-03-05T00:00:00+03:00|", "2024 Mar 15": "!2023:2024 Mar 15",
                  "1999-03-15": "!2005:1999", "2100Jan1": "!2005:2100", "2024": "!2003:", "2024-02-30": "!1313:2024-02-30",
                  "2024-4294967299-1": "!2005:4294967299-1", "2024/1": "!2023:2024/1"})
# Answered with "no" in front when nothing was taken; the time was 01:02:03 UTC before.
check(("time", 1, 1), {
    "T12:30:00Z": "12:30:00Z|", "T12:30:00+02:00": "12:30:00+02:00|", "T12:30:00+02:30": "!2023:30",
    "T12:30:00+13": "!2005:13", "T1:2:3+08": "01:02:03+08:00|", "T1:2:3-12:00": "01:02:03-12:00|",
    "t1:2:3+-5,x": "01:02:03-05:00|,x", "T1:2:3+": "!2003:", "T1:2:3+x": "!2021:x",
    "T1:2:3+4294967298": "!2005:4294967298", "T1:2:3x": "!2005:x", "T25:0:0Z": "!1313:25:0:0Z",
    "T65548:0:0": "!1313:65548:0:0", "T": "!2003:", "/1": "!2023:/1"}, "no 01:02:03Z|")
check(("time", 0, 0), {
    "/1:2:3CET": "01:02:03+01:00|", ",1:2:3hst;": "01:02:03-10:00|;", "T1:2:3msk": "01:02:03+03:00|",
    "T1:2:3,": "01:02:03+03:00|,", "T1:2:3xyz": "!2005:xyz", "/abc": "no 01:02:03Z|/abc", "x": "!2023:x"},
      "no 01:02:03Z|")
run([("!1313:1:2:3", [("no date",), ("time", 1, 1)], "T1:2:3")])

PARSE = [("parse",), ("where",)]
run([(";1 last|", PARSE, "-x"), (";1 last|", PARSE, "-"), (";1 last|", PARSE, "-X \t"),
     (";0 last|x", PARSE, "x"), (";0 last|", PARSE, ""), (";0|null", PARSE),
     ("!2001:y;-y;-y", PARSE, "-y"), ("!2001:yz;-xyz;-xyz", PARSE, "-xyz"),
     ("v;4|file", PARSE, "-x", "-b", "value", "-bv", "file", "-x")])

run([(";1;0;0|  ", [("advance", 2), ("at end", 1), ("at end", 0), ("at end of all", 1)], "ab  ", "c"),
     ("1;0;0;1 last|c", [("next",), ("at end of all", 0), ("next",), ("where",)], "ab  ", "c"),
     ("1;0;1|c", [("digit for", 16), ("digit for", 10), ("digit for", 7)], "c"),
     (";;1;;0|b", [("advance", 1), ("mark",), ("next",), ("restore",), ("where",)], "ab", "c"),
     (";;1;;;1|", [("mark",), ("clear mark",), ("next",), ("advance", 1), ("restore",), ("at end of all", 0)], "ab", "c"),
     ("1;0|null", [("at end of all", 0), ("next",)]),
     ("!2003:", [("advance", 0)]), ("!2005:ab", [("advance", 3)], "ab")])

# --- A table of options


def options(rows):
    lines = [line.split(" ") for line in rows]
    answers = ask([("o" + "\0".join(line)).encode() for line in lines])
    for line, answer, expected in zip(lines, answers, rows.values()):
        compare(line, answer.decode().removeprefix("="), expected)


options({
    "-must": "|", "--MUST -Quiet a -q": "quiet=1 | a -q", "-mu -q --q -quiet": "quiet=1 |", "-must -- -quiet": "| -quiet",
    "-must --": "|", "-must -": "!2001:;-;-", "-must ---q": "!2001:--q;---q;---q (did you mean -q?)", "-must -sice -q": "quiet=1 |", "-must -sice=1": "!2001:=1;-sice=1;-sice=1",
    "-must -count=64": "count=64 |", "-must --count:0x40 x": "count=64 | x", "-must -count 64 x": "count=64 | x",
    "-must -c=1": "!2025:-c=1 (-count, -call)", "-must -ca=7": "call=7 |", "-must -count=65": "!2005:65;-count=65",
    "-must -count=1 -count=1": "!2026:-count=1", "-must -count=": "!2003:;-count=", "-must -count": "!2003:;-count",
    "-must -count=6x": "!2002:x;-count=6x", "-must -size=x": "!2021:x;-size=x", "-must -count,1": "!2001:count,1;-count,1;-count,1 (did you mean -count?)",
    "-must -least=-5 -size=18446744073709551615": "least=-5 size=18446744073709551615 |",
    "-must -least=-6": "!2005:-6;-least=-6", "-must -size=-1": "!2005:-1;-size=-1",
    "-must -mode=SLOW": "mode=1 |", "-must -mode slow-down": "mode=2 |",
    "-must -mode=slower": "!2023:slower (fast, slow, slow-down);-mode=slower",
    "-must -mode=\t": "!2023: (fast, slow, slow-down);-mode=\t",
    "-must -wide=-9223372036854775808": "wide=-9223372036854775808 |",
    "-must -wide=-9223372036854775809": "!2005:-9223372036854775809;-wide=-9223372036854775809",
    "-must -call=128": "!2005:128;-call=128", "-must -vers": "own=v |",
    "-must -name=abc -name d": "name=abc name=d |", "-must -name=abcd": "!2007:d;-name=abcd",
    "-must -file=a,b": "file=a,b |", '-must -file="~,b"': "file=~,b |", '-must -file="a"b': '!2002:b;-file="a"b',
    "-must -bytes=0aFF": "bytes=0AFF |", "-must -bytes=0a0b0c": "!2005:0a0b0c;-bytes=0a0b0c",
    "-must -since=2024Mar15,12:00:00UTC": "since=2024-03-15T12:00:00Z |", "-must -host=127.0.0.1": "host=127.0.0.1 |",
    "-must -host=,": "!2023:,;-host=,", "-must -own-kind=X": "own=x |", "-must -own-kind=z": "!2023:z;-own-kind=z",
    "-must -quiet=1": "!2002:1;-quiet=1", "-must -quiet\t1": "!2002:\t1;-quiet\t1",
    "-quiet": "!2024:;-must", "": "!2024:;-must", "-must -cuont=3": "!2001:cuont=3;-cuont=3;-cuont=3 (did you mean -count?)",
    "-must -xyz": "!2001:xyz;-xyz;-xyz"})

# --- Items. An answer is "ITEM|REST", or "!CODE:TEXT|REST", and the calls of the hooks behind it.

SKIP, QUOTED, BLANK_ENDS, RAW, LINES = 0x01, 0x20, 0x40, 0x80, 0x100


def item(flags, limit, rows, mode="plain"):
    answers = ask([b"p%d\0%d\0%s" % (flags, limit, mode.encode()) + (b"" if text is None else b"\0" + text.encode("latin-1"))
                   for text in rows])
    for (text, expected), answer in zip(rows.items(), answers):
        compare((flags, limit, mode, text), answer.decode("latin-1"), "=" + expected)


item(0, 99, {"abc def": "abc def|", " abc": " abc|", "": "!2024:|", "a\xE4\x80\"b'": "a\xE4\x80\"b'|",
             "abc\tdef": "!2006:abc\tdef|def", "a\nb": "!2006:a\nb|b"})
item(BLANK_ENDS, 99, {"abc def": "abc| def", "abc\tdef": "abc|\tdef", '"a b"c': "a b|c",
                      '"a\tb"': '!2006:"a\tb"|b"', ' "abc"': '!2024: "abc"| "abc"'})
item(SKIP | BLANK_ENDS, 99, {' \t"abc"': "abc|", "  abc": "!2024:  abc|  abc"})
item(QUOTED, 99, {"abc": "!2023:abc|abc", '"abc"': "abc|"})
# quoted pieces and line breaks
item(0, 99, {'"abc" "def"': 'abc| "def"', '"a""" b': "a| b", '"abc': '!2006:"abc|"abc'})
item(SKIP, 99, {" \tabc": "abc|", "  ": "!2024:|", '"abc" "def" x': "abcdef|x", '"a"\n"b"': 'a|\n"b"'})
item(SKIP, 99, {" \n\r\tabc": "abc|", '"a"\n"b"': "ab|"}, "blank breaks")
item(SKIP | RAW, 99, {'"abc" "def"': '"abc""def"|'})
item(LINES, 99, {"a\r\nb\n\rc\n\nd\re": "a\nb\nc\n\nd\ne|", '"a"\n "b"': 'a\n| "b"'})
item(LINES | RAW, 99, {'"a\nb"': '"a\\nb"|'})
item(LINES | SKIP, 99, {'"a"\r\n "b"': "a\nb|", '"a"\n\n  b': "a\n\n|b"})
item(LINES | SKIP | RAW, 99, {'"a"\r\n "b"': '"a\\nb"|'})
# escapes
item(0, 99, {r"\t\v\b\r\f\a\\\?\'\"\n": "\t\v\b\r\f\a\\?'\"\n|", r"a\x41g\101b\qb\8": "aAgAbqb8|",
             r"\1012\x1F41\xaBz\400": "A2A\xABz\0|", r"a\x": "a\0|", "a\\\tb": "!2006:a\\\tb|b", "a\\": "a|",
             r'"a\"': r'!2006:"a\"|"a\"'})
item(BLANK_ENDS, 99, {r"a\ b": "a| b"})
item(RAW, 99, {"a\\q\\\tb\\": "a\\q\\\tb\\|", r'"a\"b"': r'"a\"b"|'})
# limits
item(0, 3, {"abcdef": "abc|def", "abc": "abc|", '"abcdef"': '!2006:"abcdef"|"abcdef"', '"abc""d"': 'abc|"d"'})
item(RAW, 3, {r"ab\qc": r"ab\q|c"})
item(0, 0, {"abc": "|abc"})
item(RAW, 0, {'"abc"': '!2007:"abc"|abc"'})
item(0, -1, {"abc": "!2007:abc|bc", r"\n": r"!2007:\n|", '""': "|"})
item(LINES, -1, {"\r\na": "!2007:\r\na|\na", '""\r\na': '!2007:""\r\na|a'})
item(LINES, 3, {'"ab"\n\r\n\nx': "ab\n\n\n|x"})
# hooks
item(SKIP, 99, {r'"a\!b\q" rest': 'a<\n>bq|rest begin "7 end a<\n>bq', r"ab\?c": r"!4711:ab\?c|?c begin a7 end ab",
                r"a\$bc": "a<\n>| begin a7 end a<\n>", None: "!2024:| end ", "#ab": "!0:#ab|#ab begin #7 end ",
                "bad": "!2005:bad| begin b7 end bad"}, "hooked")

finish(150)
