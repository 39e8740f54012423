"""What the drivers of this folder share: trees of mixed files, what became of them, and running programs."""
import argparse
import contextlib
import gzip
import os
import random
import signal
import socket
import stat
import subprocess
import sys
import tempfile
import zlib

random.seed(1)  # the same contents in every run

LEFTOVER = b".tvkpack-"
ROOT = os.geteuid() == 0


def arguments(what):
    """The command line of a driver: programs by name. TVK_LONG in the environment asks for everything, not a sample."""
    parser = argparse.ArgumentParser(description=what)
    parser.add_argument("programs", nargs="+", help="NAME=PATH of a program to use")
    found = parser.parse_args()
    found.whole = os.environ.get("TVK_LONG", "0") != "0"
    found.__dict__.update(pair.split("=", 1) for pair in found.programs)
    return found


def require(condition, *what):
    if not condition:
        sys.exit("FAILED: " + " ".join(map(str, what)))


@contextlib.contextmanager
def work_folder(place=None):
    """A fresh folder, in memory unless a place is given, that is gone at the end; its path is bytes."""
    place = place or os.environ.get("TMPDIR") or ("/dev/shm" if os.access("/dev/shm", os.W_OK) else None)
    folder = tempfile.mkdtemp(prefix="tvk-crash-", dir=os.fsdecode(place) if place else None)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("terminated"))
    try:
        yield os.fsencode(folder)
    finally:
        subprocess.run(["rm", "-rf", folder], check=True)


@contextlib.contextmanager
def small_disk(folder, kilobytes):
    """A file system of its own, in memory, of this size."""
    os.makedirs(folder, exist_ok=True)
    subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={kilobytes}k", "none", folder], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", "-l", folder], check=True)


def run(*command, timeout=60, **options):
    """Runs a program, which must neither hang nor be killed by its own fault; status, output, errors."""
    environment = {**os.environ, **options.pop("env", {})}
    environment.pop("LANG", None)
    environment.pop("LC_ALL", None)
    # Leaks cannot be looked for in a traced process, and a preloaded library comes first.
    environment["ASAN_OPTIONS"] = environment.get("ASAN_OPTIONS", "") + ":detect_leaks=0:verify_asan_link_order=0"
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, timeout=timeout,
                              env=environment, **options)
    except subprocess.TimeoutExpired:
        require(False, "hangs:", command)
    return done.returncode, done.stdout, done.stderr


def may_trace(folder, at_call):
    """Whether programs may be traced here."""
    return run(at_call, "kill", "0", folder + b"/count", "/bin/true")[0] == 0


def prose(size):
    """Text that packs well, different each time."""
    words = b"".join(b"%d line\n" % random.randrange(10000) for _ in range(size // 6 + 1))
    return words[:size]


def write(path, contents, mode=0o644, owner=0):
    with open(path, "wb") as file:
        file.write(contents)
    if ROOT:
        os.chown(path, owner, owner)
    os.chmod(path, mode)
    moment = random.randrange(10**9, 2 * 10**18)
    os.utime(path, ns=(moment, moment))


ODD_NAMES = [b"-x", b"-rf", b" a b ", b"new\nline", b"\xff\xfe\x80", b"c,d", b"*", b"~", b"\\", b"$(x)",
             b'"q"', b"n" * 252]


def mixed_tree(folder, large=300000):
    """Files of every sort that a run may meet, in several folders."""
    for sub in (b"", b"sub", b"sub/deep", b"odd\n dir"):
        place = os.path.join(folder, sub)
        os.makedirs(place, exist_ok=True)
        write(place + b"/empty", b"")
        write(place + b"/small", prose(300), 0o4755, 12)
        write(place + b"/read-only", prose(700), 0o400, 13)
        write(place + b"/noise", random.randbytes(500), 0o600)
        write(place + b"/done.gz", gzip.compress(prose(400), mtime=0), 0o640, 14)
    write(folder + b"/sub/large", prose(large), 0o664, 15)
    for name in ODD_NAMES:
        write(folder + b"/odd\n dir/" + name, prose(200))
    os.symlink(b"../small", folder + b"/sub/link")
    os.mkfifo(folder + b"/sub/fifo")
    with socket.socket(socket.AF_UNIX) as listener:
        here = os.getcwd()
        os.chdir(folder)
        listener.bind("socket")
        os.chdir(here)


def contents_of(path):
    with open(path, "rb") as file:
        return file.read()


def state(folder):
    """Every entry below a folder: its kind, attributes, and contents or where the link leads."""
    found = {}
    for place, folders, files in os.walk(folder):
        for name in folders + files:
            path = os.path.join(place, name)
            status = os.lstat(path)
            kind = stat.S_IFMT(status.st_mode)
            about = contents_of(path) if kind == stat.S_IFREG else os.readlink(path) if kind == stat.S_IFLNK else b""
            time = None if kind == stat.S_IFDIR else status.st_mtime_ns
            found[os.path.relpath(path, folder)] = (kind, stat.S_IMODE(status.st_mode), status.st_uid, status.st_gid,
                                                    time, about)
    return found


def unpacked(block):
    """What one whole gzip block holds; None when it is none."""
    stream = zlib.decompressobj(31)
    try:
        contents = stream.decompress(block)
    except zlib.error:
        return None
    return contents if stream.eof and not stream.unused_data else None


def plain_state(entries):
    """The same files as if all of them were unpacked."""
    return {name[:-3] if is_packed(name, entry) else name:
            entry[:5] + (unpacked(entry[5]),) if is_packed(name, entry) else entry
            for name, entry in entries.items()}


def is_packed(name, entry):
    return name.endswith(b".gz") and entry[0] == stat.S_IFREG


def leftovers(entries):
    return {name for name in entries if os.path.basename(name).startswith(LEFTOVER)}


def check_whole(expected, now, where, both=True):
    """Nothing is lost: each file is there with all it had, plain or packed - or, where allowed, both."""
    seen = {}
    for name in now.keys() - leftovers(now):
        entry = now[name]
        if is_packed(name, entry):
            name, entry = name[:-3], entry[:5] + (unpacked(entry[5]),)
        require(expected.get(name) == entry, where, name, "is not as it was:", str(entry)[:200])
        seen[name] = seen.get(name, 0) + 1
    require(seen.keys() == expected.keys(), where, "lost", expected.keys() - seen.keys())
    twice = {name for name, count in seen.items() if count > 1}
    require(both or not twice, where, "in two forms:", twice)
    return twice


def copy_tree(source, target):
    run("rm", "-rf", target)
    run("cp", "-a", source, target)
