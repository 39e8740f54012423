#!/usr/bin/env python3
"""tvkpack -test tells damaged blocks from good ones: every byte of a block with other values in its place, blocks cut
off at every length, and blocks with bytes behind their end.

A block that differs from a good one may pass only where the format guards nothing and the contents stay the same: in the
time, the hints and the name in the header, in the bits that fill the last byte, and where the packed data has another
way to say the same.

  damage.py tvkpack=PATH     three values in the place of each byte; with TVK_LONG=1 all 255
"""
import gzip
import os
import random
import zlib

from support import *

TRAILER = 8


def is_guarded(good, position, value, name_end):
    """Whether another value there is a damage that must be found, whatever becomes of the contents. A hint is the time,
    the level, the system, "is text", and that a name is one and no comment."""
    is_hint = 4 <= position < 10 or (position == 3 and value in {good[3] ^ 1} | ({16, 17} if good[3] == 8 else set()))
    is_name = 10 <= position < name_end and value != 0
    is_data = name_end <= position < len(good) - TRAILER
    return not (is_hint or is_name or is_data)


def tested(blocks):
    """Runs tvkpack -test over blocks; the set of the names that it finds whole. Each must be spoken of once."""
    run("rm", "-rf", tree)
    os.makedirs(tree)
    for name, block in blocks.items():
        with open(tree + b"/" + name + b".gz", "wb") as file:
            file.write(block)
    status, output, errors = run(programs.tvkpack, "-test", tree, timeout=600)
    whole, broken = set(), set()
    for line in output.splitlines()[:-1]:
        require(line.startswith((b"ok ", b"left ", b"tvkpack: ")), line)
    for line in (output + errors).splitlines():
        at = line.find(tree + b"/")
        if at < 0:
            continue
        name = line[at + len(tree) + 1:].split(b".gz")[0]
        (whole if line.startswith(b"ok ") else broken).add(name)
    require(not whole & broken and whole | broken == blocks.keys(), "not spoken of:",
            blocks.keys() - whole - broken, whole & broken)
    require(status == (4 if broken else 0), "status", status)
    return whole


def damage_block(what, good, contents, name_end=10):
    require(tested({b"good": good}) == {b"good"}, what, "is not whole")
    cases = passed = same_data = 0
    for first in range(0, len(good), 16):
        blocks = {}
        for position in range(first, min(first + 16, len(good))):
            for value in range(256) if programs.whole else {good[position] ^ 1, good[position] ^ 0x80, 0}:
                if value != good[position]:
                    blocks[b"%d-%d" % (position, value)] = good[:position] + bytes([value]) + good[position + 1:]
        cases += len(blocks)
        for name in tested(blocks):
            position, value = map(int, name.split(b"-"))
            require(not is_guarded(good, position, value, name_end), what, name, "passes as whole")
            require(unpacked(blocks[name]) == contents, what, name, "has other contents and passes as whole")
            passed += 1
            same_data += position >= name_end
    cut = {b"cut-%d" % length: good[:length] for length in range(len(good))}
    more = {b"more-%d" % number: good + tail for number, tail in
            enumerate([b"\0", b"\n", b"\0" * 512, good, good[:1], good[-8:], *(bytes([n]) for n in range(1, 256))])}
    require(tested(cut | more) == set(), what, "passes cut or lengthened")
    cases += len(cut) + len(more)
    print(f"{what}, {len(good)} bytes: {cases} damages, {passed} of them without harm, "
          f"{same_data} of these in the packed data", flush=True)
    return cases


def own_block(contents):
    run("rm", "-rf", tree)
    os.makedirs(tree)
    write(tree + b"/x", contents)
    require(run(programs.tvkpack, tree)[0] == 0, "packing")
    return contents_of(tree + b"/x.gz")


programs = arguments(__doc__)
with work_folder() as folder:
    tree = folder + b"/tree"
    text, noise = prose(300 if programs.whole else 120), random.randbytes(60)
    total = damage_block("a block of its own", own_block(text), text)
    total += damage_block("a block of one repeated byte", own_block(b"a" * 5000), b"a" * 5000)
    named = gzip.compress(text[:100], mtime=1)
    name = b"name\0"
    named = named[:3] + b"\x08" + named[4:10] + name + named[10:]
    total += damage_block("a block with a name", named, text[:100], 10 + len(name) - 1)
    total += damage_block("a stored block", gzip.compress(noise, 0, mtime=1), noise)
    print(f"{total} damages")
