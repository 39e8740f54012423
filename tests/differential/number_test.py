"""The readers of numbers against strtoll and strtoull, and those of bytes and escapes against Python's."""
import binascii
import ctypes
import errno
import itertools
import random
import re

from probe import LONG, compare_all, finish, sample

I32, U32, I64, U64 = 2**31, 2**32, 2**63, 2**64
ANY = {"int64": (-I64, I64 - 1), "uint64": (0, U64 - 1), "signed": (-I32, I32 - 1), "unsigned": (0, U32 - 1)}

libc = ctypes.CDLL(None, use_errno=True)
libc.strtoll.restype = ctypes.c_longlong
libc.strtoull.restype = ctypes.c_ulonglong


class Refused(Exception):
    """Holds the code and the text."""


def converted(function, text):
    """What strtoll or strtoull makes of the text: the value, the rest and whether it was out of range."""
    end = ctypes.c_char_p()
    source = ctypes.create_string_buffer(text)
    ctypes.set_errno(0)
    value = function(source, ctypes.byref(end), 0)
    return value, end.value, ctypes.get_errno() == errno.ERANGE


def read64(function, low, high, text):
    value, rest, is_beyond = converted(function, text)
    if is_beyond and value > 0 or not low <= value <= high:  # below the least number counts as the least number
        raise Refused(2005, text)
    if rest == text:
        raise Refused(2021, text)
    return value, rest


def read_unsigned(text):
    """As strtoull, but without white space and signs, with 2021 for "0x" alone, and with the overflow of 32 bits noticed
    only where the value falls."""
    if text.startswith(b"-"):
        raise Refused(2005, text)
    digits = re.match(rb"0x[0-9a-f]*|0[0-7]*|[1-9][0-9]*", text, re.I)
    if not digits or digits[0].lower() == b"0x":
        raise Refused(2021, text)
    value, rest, _ = converted(libc.strtoull, text)
    base = {b"0x": 16, b"0X": 16}.get(digits[0][:2], 8 if digits[0].startswith(b"0") else 10)
    wrapped = 0
    for digit in re.sub(rb"^0[xX]", b"", digits[0]):
        before, wrapped = wrapped, (wrapped * base + int(chr(digit), 16)) % U32
        if wrapped < before:
            raise Refused(2005, text)
    return value if value < U32 else wrapped, rest


def read32(is_signed, low, high, text):
    digits = text[1:] if is_signed and text.startswith(b"-") else text
    if not digits:
        raise Refused(2003, b"")
    value, rest = read_unsigned(digits)
    if is_signed and value >= I32:
        raise Refused(2005, digits)
    if digits is not text:
        value = -value
    if not low <= value <= high:
        raise Refused(2005, text)
    return value, rest


def read_bytes(text):
    """Pairs of digits, at most eight of them."""
    digits = re.match(rb"(?:0[xX])?((?:[0-9a-fA-F]{2}){1,8})(?![0-9a-fA-F])", text)
    if not digits:
        raise Refused(2005, text)
    return binascii.hexlify(binascii.unhexlify(digits[1])).decode().upper(), text[digits.end():]


def expected(question):
    if question.startswith(ITEM):  # the low eight bits of three octal or any number of hexadecimal digits
        text = question.removeprefix(ITEM).decode()
        digits = text.removeprefix("\\x")
        return b"=%c|" % (int(digits or "0", 16) & 255 if digits != text else int(text[1:], 8) & 255)
    reader, low, high, _, text = question[1:].split(b"\0")
    try:
        if not text:
            raise Refused(2003, b"")
        if reader == b"bytes":
            value, rest = read_bytes(text)
        elif reader.endswith(b"64"):
            value, rest = read64(libc.strtoll if reader == b"int64" else libc.strtoull, int(low), int(high), text)
        else:
            value, rest = read32(reader == b"signed", int(low), int(high), text)
    except Refused as refused:
        return b"!%d:%s" % refused.args
    return b"=%s|%s" % (str(value).encode(), rest)


def numerals():
    """Numbers at and beyond every limit, in every base, with zeros in front, and some at random."""
    numbers = {limit * factor + near for limit in (1, 8, 10, 16, 1000, I32, U32, I64, U64)
               for factor in (1, 2, 10, 16, U64) for near in (-2, -1, 0, 1, 2)}
    numbers |= {random.getrandbits(random.randrange(1, 80)) for _ in range(300 if LONG else 50)}
    for number, form in itertools.product(sorted(numbers), ("%d", "0%o", "0x%x", "0X%X", "000%o", "0x00%x")):
        yield (form % number).encode()
    yield from (b"", b"0", b"0x", b"0X", b"08", b"0b1", b"0B10", b"0o7", b"00", b"1_0", b"1'0", b"x1", b"a", b"inf")


random.seed(6)
ITEM = b"p0\x001000\0plain\0"
SIGNS = [b"", b"-", b"+", b"--", b"+-", b" ", b" -", b"- ", b"\t\n\v\f\r +", b"\xA0"]
TAILS = [b"", b"x", b"g", b"8", b" ", b",", b"-", b".5", b"e3", b"u", b"\xFF", b"\xD9\xA1"]


def questions():
    for numeral, sign in itertools.product(sample(numerals(), 5), SIGNS):
        for tail in TAILS if LONG else [random.choice(TAILS)]:
            for reader, (low, high) in ANY.items():
                for limits in ((low, high), (low + 1, high - 1), (max(low, -9), 9)):
                    yield b"a%s\0%d\0%d\0--\0" % (reader.encode(), *limits) + sign + numeral + tail
    for _ in range(200000 if LONG else 3000):
        text = b"".join(random.choices([b"0", b"x", b"1f", b"A", b"g", b"9", b"-"], k=random.randrange(12)))
        yield b"abytes\0\0\0--\0" + text
    for digits in range(0o1000):
        yield ITEM + b"\\%o" % digits
        yield ITEM + b"\\%03o" % digits
    for _ in range(2000):
        yield ITEM + b"\\x%x" % random.getrandbits(random.randrange(1, 100))


compare_all(questions(), expected)
finish(20000)
