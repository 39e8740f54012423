"""Packing against gzip and Python's gzip, with real files and generated ones; unpacking of what gzip, pigz, zopfli and
Python made. The second argument is tvkpack. Without pigz or zopfli the sample leaves their part out."""
import gzip
import itertools
import os
import random
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib

from probe import LONG, ask, compare, finish, sample

LARGEST = 1 << 20
random.seed(7)


def kinds(size):
    """Contents of this size: a run, noise, words, and noise that comes again just within and beyond the window."""
    yield b"a" * size
    yield random.randbytes(size)
    yield b" ".join(random.choices([b"one", b"two", b"three", b"\0\0\0\0", b"\xFF"], k=size // 3 + 1))[:size]
    for period in (32506, 32768, 32769) if size > 40000 else ():
        yield (random.randbytes(period) * (size // period + 1))[:size]


def generated():
    sizes = {1 << power for power in range(22 if LONG else 17)} | {32506, 65535 * 3, 5 * 16383, 100000, *range(64)}
    for size in sorted({max(0, each + near) for each in sizes for near in (-1, 0, 1)}):
        yield from kinds(size)


def real():
    """Files below /usr, a few from each folder."""
    paths = []
    for folder, folders, names in os.walk("/usr" if LONG else "/usr/include"):
        folders.sort()
        paths += [os.path.join(folder, name) for name in sorted(names)[:6]]
    for path in sample(paths, 17):
        if os.path.isfile(path) and not os.path.islink(path) and os.path.getsize(path) <= LARGEST:
            with open(path, "rb") as stream:
                yield stream.read()


def write_files(contents):
    """Files of these contents, by their numbers, in a fresh folder that is the current one."""
    shutil.rmtree("../files")
    os.mkdir("../files")
    os.chdir("../files")
    for number, content in enumerate(contents):
        with open(str(number), "wb") as stream:
            stream.write(content)


def read(name):
    try:
        with open(name, "rb") as stream:
            return stream.read()
    except FileNotFoundError:
        return None


def tvkpack(*options, status=0):
    done = subprocess.run([PROGRAM, "-quiet", *options, "."], stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    compare(("tvkpack", options), (done.returncode, status or done.stdout), (status, status or b""))


def pack(contents):
    """Packs with the program and the interface, and unpacks with the others."""
    write_files(contents)
    tvkpack("-pack")
    for number, content in enumerate(contents):
        is_left = content[:2] == b"\x1F\x8B" or len(gzip.compress(content, 6)) >= len(content)  # "would not get smaller"
        packed = read(f"{number}.gz")
        compare((number, "left"), (read(f"{number}"), packed is None), (content if is_left else None, is_left))
        if packed is not None:
            compare((number, "Python"), gzip.decompress(packed), content)
    tvkpack("-test")
    names = [name for name in os.listdir() if name.endswith(".gz")]
    compare("gzip -t", subprocess.run(["gzip", "-t", *names]).returncode, 0)
    compare("gzip -d", subprocess.run(["gzip", "-d", *names]).returncode, 0)
    for number, content in enumerate(contents):
        compare((number, "gzip -d"), read(str(number)), content)
    for content, block in zip(contents, ask([b"g" + content for content in contents])):
        compare("GZip", gzip.decompress(block[1:]), content)
    for content, block in zip(contents, ask([b"c" + content for content in contents])):
        compare("Zip", zlib.decompress(block[1:]) if content else block[1:], content)


def unpack(blocks, letters):
    """Unpacks (block, content) with readers of gzip (G), zlib (C) and either (A); those not named refuse it."""
    blocks = list(blocks)
    for letter in "GCA":
        for (block, content), got in zip(blocks, ask([letter.encode() + block for block, _ in blocks])):
            compare((letter, block[:40]), got, b"=" + content if letter in letters else b"=refused")


def unpack_files_of(command, contents, letters="GA", suffix=".gz"):
    """Unpacks what a program makes of files."""
    if not shutil.which(command[0]):
        if LONG:
            sys.exit(f"{command[0]} is missing")
        return print(f"skipped: no {command[0]}")
    write_files(contents)
    names = [str(number) for number in range(len(contents))]
    subprocess.run([*command, *names], check=True)
    unpack([(read(name + suffix), content) for name, content in zip(names, contents)], letters)
    for name in filter(os.path.exists, names):
        os.remove(name)
    if suffix == ".gz":
        tvkpack("-unpack")
        for name, content in zip(names, contents):
            compare((command, name), read(name), content)


def member(content, flags, extra=b"", deflated=None):
    """A member with the fields that the flags name: FHCRC 2, FEXTRA 4, FNAME 8, FCOMMENT 16 (and FTEXT 1)."""
    head = b"\x1F\x8B\x08" + bytes([flags]) + b"\x01\x02\x03\x04\x02\x03"
    head += struct.pack("<H", len(extra)) + extra if flags & 4 else b""
    head += b"a name\xFF/..\0" if flags & 8 else b""
    head += b"a\ncomment\0" if flags & 16 else b""
    head += struct.pack("<H", zlib.crc32(head) & 0xFFFF) if flags & 2 else b""
    return head + (deflated or zlib.compress(content)[2:-4]) + struct.pack("<II", zlib.crc32(content), len(content))


def unpack_others(contents):
    """Headers with every field, every level, window and strategy of zlib, and what is not one whole member."""
    unpack([(member(content, flags, bytes(size)), content) for content in contents[:3] for flags in range(32)
            for size in (0, 1, 65535)], "GA")
    for base, letters in ((16, "GA"), (0, "CA")):
        blocks = []
        for content, level, bits, strategy in itertools.product(contents, range(-1, 10), range(9, 16), range(5)):
            if LONG or (level + bits + strategy) % 37 == 0:
                packer = zlib.compressobj(level, zlib.DEFLATED, base + bits, 1 + bits % 9, strategy)
                half = packer.compress(content[:len(content) // 2]) + packer.flush(zlib.Z_FULL_FLUSH)
                blocks.append((half + packer.compress(content[len(content) // 2:]) + packer.flush(), content))
        unpack(blocks, letters)
    whole = member(contents[-1], 0)
    wrong_sum = bytearray(member(contents[-1], 2))
    wrong_sum[10] ^= 1
    refused = [whole + whole, whole + gzip.compress(b""), gzip.compress(b"") + whole, whole + b"\0", whole + b"\0" * 512,
               whole + b"x", b"\0" + whole, bytes(wrong_sum), whole[:2] + b"\x07" + whole[3:], whole[:-1],
               *(whole[:3] + bytes([flag]) + whole[4:] for flag in (32, 64, 128))]
    unpack([(block, b"") for block in refused], "")
    write_files(refused)
    for name in os.listdir():
        os.rename(name, name + ".gz")
    tvkpack("-unpack", status=4)
    for number, block in enumerate(refused):
        compare((number, "refused"), (read(f"{number}.gz"), read(str(number))), (block, None))


def main():
    originals = list(real())
    everything = [*sample(generated(), 3), *originals]
    for first in range(0, len(everything), 500):
        pack(everything[first:first + 500])
    some = [b"", b"x", *kinds(300), *kinds(70000), *kinds(200000)] + originals[:300 if LONG else 10]
    levels = range(1, 10)
    for command in ([["gzip", f"-{level}", "-k"] for level in sample(levels, 4)] +
                    [["gzip", "-n"], ["gzip", "-N", "--rsyncable"]] +
                    [["pigz", f"-{level}"] for level in sample(levels, 5)] +
                    [["pigz", *options] for options in (["-0"], ["-p4", "-b128", "-i"], ["-C", "a comment", "-R"], ["-U"],
                                                        ["-H"], ["-n", "-m"])]):
        unpack_files_of(command, some)
    unpack_files_of(["pigz", "-z"], some, "CA", ".zz")
    slow = [content for content in some if len(content) <= (300000 if LONG else 3000)]
    for options in sample((["--i1"], ["--i5"], ["--i15"]), 3):
        unpack_files_of(["zopfli", *options], slow)
    unpack_files_of(["zopfli", "--zlib", "--i1"], slow, "CA", ".zlib")
    unpack_files_of(["pigz", "-11"], slow[:20])
    unpack_others(some[:12])
    finish(2000)


PROGRAM = os.path.abspath(sys.argv[2])
sys.argv[1] = os.path.abspath(sys.argv[1])
with tempfile.TemporaryDirectory() as top:
    os.mkdir(top + "/files")
    os.chdir(top + "/files")
    main()
