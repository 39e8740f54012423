"""Strings, the message table and the texts of exceptions. The arguments: the probe, a module with texts and the folder of
the locales. UTF-8 is compared with others in tests/differential; how placeholders are filled is checked in fuzz."""
import itertools
import os
import random
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parents[1] / "differential"))
from probe import ask, compare, finish

MODULE, CATALOGUE, LOCALES = sys.argv[2:]
for name in [*os.environ]:
    if name == "LANG" or name.startswith("LC_"):
        del os.environ[name]
os.environ["LOCPATH"] = LOCALES


def run(*steps):
    """Asks one process all questions, in their order. A step is a tuple: what is expected, None where there is no answer,
    the name of the question, and its words. Bytes are expected as bytes, other answers as text."""
    words = [[str(word).encode() if not isinstance(word, bytes) else word for word in step[1:]] for step in steps]
    for step, got in zip(steps, ask([b"x" + b"".join(word + b"\0" for word in each) for each in words])):
        expected = step[0] if step[0] is not None else ""
        compare(step[1:], got, b"=" + expected if isinstance(expected, bytes) else
                expected.encode("latin-1") if expected[:1] == "!" else b"=" + expected.encode("latin-1"))


def wide(text):
    return text.encode("utf-32-le", "surrogatepass")


def units(*values):
    return b"".join(value.to_bytes(2, "little") for value in values)


# --- Conversions by the locale.

run(("?", "narrow character", wide("\u4E2D").hex()),
    ("???", "narrow", wide("a\u4E2D\u4E2D").hex()),  # one character that fails spoils all
    ("", "narrow character", wide("\0").hex()),
    ("!1000:", "widen", b"\xE4"),
    ("de_DE.ISO-8859-15", "locale", "de_DE.ISO-8859-15"),
    (wide("\u20AC"), "widen", b"\xA4"),
    (wide("\u20AC"), "widen character", b"\xA4"),
    (b"\xA4", "narrow", wide("\u20AC").hex()),
    ("de_DE.UTF-8", "locale", "de_DE.UTF-8"),
    ("\u4E2D".encode(), "narrow character", wide("\u4E2D").hex()),
    ("\u4E2D\u4E2D".encode(), "narrow", wide(3 * "\u4E2D").hex()),  # 2n + 2 = 8 bytes hold two of nine
    ("ab", "narrow", wide("ab\0cd").hex()),
    ("A\xE4".encode(), "narrow units", units(0x41, 0xE4).hex()),
    ("???", "narrow units", units(0x41, 0xE4, 0xD800).hex()),  # a lone surrogate is no character
    (wide("\uFFFE\uD800"), "widen units", units(0xFFFE, 0xD800).hex()),
    (wide("\u4E2D."), "widen", "\u4E2D."),
    ("!1000:", "widen", b"ok\xFF"),
    ("!1000:", "widen character", b"\xE4"))  # the first byte of several is no character

# --- Copies to the caller's buffer: seven units that hold "#" before. The answer is the count and the buffer.


def copied(answer, size, text, end=""):
    """A count and a buffer whose units have this size; `end` and what is not written are behind the text."""
    filled = [ord(each) for each in text + end]
    return b"%d " % answer + b"".join(value.to_bytes(size, "little") for value in filled + (7 - len(filled)) * [0x23])


for capacity, ends in itertools.product(range(8), (True, False)):
    def copy(expected, which, text):
        return expected, f"copy {which}", capacity, int(ends), text

    text, texts = "abcdef", ("abcdef", wide("abcdef").hex())
    whole = text[:max(capacity - ends, 0)], "\0" if ends and capacity else ""
    length = len(text) if capacity else 0
    fitting = min(capacity, len(text))
    narrow = copied(fitting, 2, text[:capacity], "\0" if ends and capacity > len(text) else "")
    kept = min(fitting, capacity - 1) if ends and capacity else fitting
    wide_units = copied(fitting, 2, text[:kept], whole[1])
    run(*[copy(copied(length, size, *whole), which, texts[which.startswith("wide")])
          for which, size in {"narrow": 1, "narrow ascii": 1, "wide ascii": 1, "wide": 4}.items()],
        copy(narrow, "narrow units", texts[0]), copy(wide_units, "wide units", texts[1]))

run((copied(2, 2, "\uFFA9\x7F"), "copy narrow units", 2, 0, b"\xA9\x7F"),
    (copied(2, 2, "\xA9\u2345"), "copy wide units", 2, 0, wide("\xA9\U00012345").hex()),
    (copied(2, 1, "a?", "\0"), "copy narrow ascii", 7, 1, b"a\xA9"),
    (copied(2, 1, "?z", "\0"), "copy wide ascii", 7, 1, wide("\x80z").hex()),
    ("de_DE.UTF-8", "locale", "de_DE.UTF-8"),  # by the locale: the whole buffer is cleared first
    (copied(1, 4, "\xE4", 3 * "\0"), "copy narrow widened", 4, 1, "\xE4"),
    (copied(4, 4, "abcd"), "copy narrow widened", 4, 1, "abcdef"),  # full: no terminator
    ("!1000:", "copy narrow widened", 4, 1, b"\xFF"),
    (copied(0, 1, "", 4 * "\0"), "copy wide narrowed", 4, 1, ""),
    (copied(3, 1, "\xE4\xB8\xAD", "\0"), "copy wide narrowed", 4, 1, wide("\u4E2D\u4E2D").hex()),  # whole characters
    ("!1000:", "copy wide narrowed", 4, 1, wide("\uD800").hex()))

# --- Bytes as hexadecimal text. Both directions: the text is decoded and encoded again.

random.seed(2)
run(*[(data.hex().upper(), "encode", "".join(map(random.choice, zip(data.hex(), data.hex().upper()))))
      for data in [b"", bytes(range(256)), *map(random.randbytes, range(1, 20))]],
    *[(f"!2005:{text}", "encode", text) for text in ("0", "0G", "g0", "0x12", "12 ")],
    ("!2005:12\xFF\xFF", "encode", b"12\xFF\xFF"))

# --- Messages.

run(("139", "count messages"),
    *[(text, "load", code, 0) for code, text in {
        1001: "file %1 not found", 1038: "remote computer access not suported", 55313: "SuMoTuWeThFrSa",
        55328: "Copyright \xA9 %1 by", 57089: "Module ignored. Embedded English language is used.",
        1023: "none:untouched"}.items()],
    ("none:", "load", 57090, 1),  # emptied when modules were asked in vain
    # The first registration wins.
    ("0", "register", 1001, "other"), ("1", "register", 60001, "first"), ("0", "register", 60001, "second"),
    ("1", "register", 60002, ""), ("file %1 not found", "load", 1001, 0), ("first", "load", 60001, 0),
    ("", "load", 60002, 0),
    *[("1", "register", i << 16, i) for i in range(1, 20001)], *[(str(i), "load", i << 16, 0) for i in range(1, 20001)],
    # Translations stand in front, the newest first.
    (None, "translate", 1, 1001, "Datei %1 fehlt", 1001, "again", 60001, "erster", 60003, "neu", 60003, "again"),
    ("Datei %1 fehlt", "load", 1001, 0), ("erster", "load", 60001, 0), ("neu", "load", 60003, 0),
    (None, "translate", 2, 1001, "newer"), ("newer", "load", 1001, 0),
    (None, "drop translations", 2), ("Datei %1 fehlt", "load", 1001, 0),
    (None, "drop translations", 1), ("file %1 not found", "load", 1001, 0), ("first", "load", 60001, 0),
    ("neu", "load", 60003, 0))

# Translations arrive in the character set of the locale.
for locale, text in {"de_DE.UTF-8": "\xFC\xDF \u20AC".encode(), "de_DE.ISO-8859-15": b"\xFC\xDF \xA4",
                     "C": b"\xFC\xDF \xA4", "ja_JP.EUC-JP": b"\x8F\xAB\xE4\x8F\xA9\xCE ?"}.items():
    run((locale, "locale", locale), (None, "translate", 1, 1002, b"\xFC\xDF \xA4"), (text, "load", 1002, 0))

# Loaded modules are asked (see TextModule.cpp).
run((None, "open", MODULE),
    *[(text, "load", code, 1) for code, text in {
        70001: "256", 70300: "301",  # asked a second time
        70256: 256 * "x", 70255: 255 * "x",  # without a terminator, the second time or the first
        70002: "none:",  # claims 4 GiB
        70004: "none:",  # throws
        70006: "none:"}.items()],  # nothing at the second call
    ("none:untouched", "load", 70001, 0),  # not entered into the table
    ("probe: fatal error 70007 - Undocumented/internal (70007).".replace("fatal error", "warning"),
     "message while cancelled", 70007, "", "", "", ""),
    (None, "close"), ("none:", "load", 70001, 1))

# One that was made from a catalogue: translated, as it stands there and too long for the first buffer, unknown.
run((None, "open", CATALOGUE), (b"Gr\xF6\xDFe: %1 \xA4", "load", 70010, 1), (257 * ".", "load", 70011, 1),
    ("none:", "load", 70012, 1), (None, "close"))

# --- Texts of exceptions: the question has the code, three parameters and a location.

run((None, "application", 1, "p"),
    *[(f"p: {text}.", "message", code, *parameters, *(4 - len(parameters)) * [""]) for text, code, *parameters in [
        ("error 2005 - value 12 out of range", 2005, 12),
        ("fatal error 1999 - Undocumented/internal (1999)", 1999),
        ("warning 4003 - file has EXE header", 4003),
        ("error 3999 - Undocumented/internal (3999)", 3999),
        ("warning - xAy", 4000, "x%1y", "A"),
        ("error - disk A gone", 2000, "disk %1 gone", "A"),
        ("fatal error - ", 1000),
        ("fatal error 77 - Undocumented/internal (77, a, %2)", 77, "a", "", "%2"),
        ("fatal error -1 - Undocumented/internal (-1)", -1),
        ("warning 4294968297 - file x not found", 4294968297, "x"),
        ('fatal error 1142 - "k" in registration has bad data (p)', 1142, "k", "p")]])

LONG_LINE = "fatal error 1030 - line too long."


def long_line(start):
    return f"{start}: {LONG_LINE}", "message", 1030, "", "", "", ""


run(long_line("probe"), (None, "application", 1, "p"), (None, "frame", 2, "frame"),
    (None, "prefix", "elevenchars"), ("!2007:", "prefix", "twelve chars"),
    ("p: fatal error elevenchars1030 - line too long.", *long_line("")[1:]), (None, "prefix", ""),
    long_line("p"),  # the application's name wins
    (None, "forget", 3), long_line("p"), (None, "forget", 1), long_line("frame"), (None, "forget", 2), long_line("probe"))

# --- Where a thread is. A scope has a name, and 1 when it is chained.

run((None, "scope", "opening", 1), (None, "scope", "saving", 1), (None, "scope", "copying", 1),
    long_line("probe, opening, saving, copying"),
    (f"probe, opening, saving, copying, extra: {LONG_LINE}", "message", 1030, "", "", "", "extra"),
    (None, "leave", "copying"), (None, "scope", "alone", 0), (None, "scope", "inner", 1), ("alone, inner", "where"),
    (None, "leave", "inner"), (None, "leave", "alone"), ("opening, saving", "where"),
    (None, "leave", "opening"), ("", "where"),  # takes the inner one with it
    (None, "scope", "next", 1), (None, "leave", "saving"), ("next", "where"),  # and does not take the newcomer
    (None, "service up"), ("next", "where"),  # start-up keeps what came before
    (None, "service down"), ("", "where"), (None, "scope", "late", 1), ("late", "where"),
    (None, "leave", "next"), ("late", "where"), (None, "leave", "late"), ("", "where"))

finish(40000)
