"""UTF-8 in both directions and both widths against Python's codecs and the system's iconv."""
import ctypes
import itertools

from probe import LONG, compare, compare_all, finish, sample

CODECS = {"n": ("iso8859-15", "utf-8"), "N": ("utf-8", "iso8859-15"),
          "w": ("utf-32-le", "utf-8"), "W": ("utf-8", "utf-32-le")}
ICONV = {"iso8859-15": b"ISO-8859-15", "utf-8": b"UTF-8", "utf-32-le": b"UTF-32LE"}

libc = ctypes.CDLL(None)
libc.iconv_open.restype = ctypes.c_void_p
libc.iconv.restype = ctypes.c_size_t
libc.iconv.argtypes = [ctypes.c_void_p] + 4 * [ctypes.c_void_p]
descriptors = {letter: ctypes.c_void_p(libc.iconv_open(ICONV[to], ICONV[source]))
               for letter, (source, to) in CODECS.items()}
room = ctypes.create_string_buffer(256)


def by_iconv(letter, text):
    """What iconv makes of the text; None when it refuses it."""
    libc.iconv(descriptors[letter], None, None, None, None)
    source, target = ctypes.c_char_p(text), ctypes.c_void_p(ctypes.addressof(room))
    size, left = ctypes.c_size_t(len(text)), ctypes.c_size_t(len(room))
    refused = libc.iconv(descriptors[letter], ctypes.byref(source), ctypes.byref(size), ctypes.byref(target),
                         ctypes.byref(left))
    return None if refused else room.raw[:len(room) - left.value]


def expected(question):
    letter, text = chr(question[0]), question[1:]
    source, target = CODECS[letter]
    try:
        result = text.decode(source).encode(target)
    except UnicodeError:
        result = None
    # The C library drops the tag characters (U+E0000 to U+E007F) on the way to a set that lacks them.
    if letter != "N" or b"\xF3\xA0\x80" not in text and b"\xF3\xA0\x81" not in text:
        compare((letter, text, "iconv"), by_iconv(letter, text), result)
    return b"!1000:" if result is None else b"=" + result


def bytes_of(*sets):
    return (bytes(each) for each in itertools.product(*sets))


def questions():
    every = range(256)
    # What begins, ends or lies just outside a class of bytes.
    edges = [0x00, 0x41, 0x7F, 0x80, 0x81, 0x8F, 0x90, 0x9F, 0xA0, 0xAF, 0xB0, 0xB7, 0xB8, 0xBE, 0xBF, 0xC0, 0xC1,
             0xC2, 0xDF, 0xE0, 0xE1, 0xEC, 0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF8, 0xFC, 0xFE, 0xFF]
    few = edges if LONG else [0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xE0, 0xED, 0xF0, 0xF4]
    for text in bytes_of(every):
        yield b"n" + text
    for text in sample(bytes_of(every, every), 7):
        yield b"n" + text
    sequences = itertools.chain(bytes_of(every), sample(bytes_of(every, every), 7),
                                sample(bytes_of(every, edges, edges), 29), bytes_of(few, few, few, few),
                                bytes_of([0xF8, 0xFB], [0x80, 0x88], [0x80], [0x80], [0x80, 0xBF]))
    for text in sequences:
        yield b"N" + text
        yield b"W" + text
    for point in itertools.chain(sample(range(0x110000), 211), range(0xE0000, 0xE0080), range(0xFDD0, 0x10010),
                                 [0xD7FF, 0xD800, 0xDFFF, 0xE000, 0x10FFFF, 0x110000, 0x1FFFFF, 0x7FFFFFFF,
                                  0x80000000, 0xFFFE0000, 0xFFFFFFFF]):
        unit = point.to_bytes(4, "little")
        yield b"w" + unit
        yield b"w" + unit + b"z\0\0\0"
        if point < 0x110000:
            text = chr(point).encode("utf-8", "surrogatepass")
            yield from (b"N" + text, b"W" + text, b"Na" + text + b"z", b"Wa" + text + b"z")


compare_all(questions(), expected)
finish(100000)
