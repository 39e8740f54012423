#!/usr/bin/env python3
"""Hostile trees: odd names and odd files, links and FIFOs that are swapped in while a tree is packed, removed, copied,
moved and scanned, files that change meanwhile, very deep and very large folders. Nothing outside the named tree is
touched, nothing hangs, and memory stays bounded.

  trees.py tvkpack=PATH tree_work=PATH             a sample: fewer rounds, and no large folders
  trees.py --whole tvkpack=PATH tree_work=PATH     all of it; needs 2 GB in the temporary folder
"""
import ctypes
import os
import resource
import signal
import threading
import time

from support import *

RENAME_EXCHANGE = 2
MARK = b"OUTSIDE"
AT_FDCWD = -100


def work(operation, *paths, status=None, **options):
    done = run(programs.tree_work, operation, *paths, **options)
    require(done[0] in (0, 1) if status is None else done[0] == status, operation, paths, done)
    return done


def entries_of(folder):
    """What a scan tells, as names below the folder."""
    return sorted(os.path.relpath(entry, folder) for entry in work("scan", folder, status=0)[1].split(b"\0")[:-1])


def below(folder):
    return sorted(os.path.relpath(os.path.join(place, name), folder)
                  for place, folders, files in os.walk(folder) for name in folders + files)


def other_device(folder):
    """A folder on another file system, or None."""
    for place in (b"/tmp", b"/var/tmp", b"/dev/shm"):
        if os.access(place, os.W_OK) and os.stat(place).st_dev != os.stat(folder).st_dev:
            return place
    return None


def check_names():
    """Every byte in a name, names of the greatest length, and everything that is not a regular file."""
    tree = folder + b"/names"
    mixed_tree(tree)
    for byte in range(1, 256):
        if byte != ord("/"):
            os.makedirs(tree + b"/bytes/d" + bytes([byte]))
            for name in (b"x" + bytes([byte]), bytes([byte]) * 3, b"d" + bytes([byte]) + b"/f"):
                write(tree + b"/bytes/" + name, prose(100))
    for length in range(250, 256):
        write(tree + b"/" + b"l" * length, prose(100))
    os.mkdir(tree + b"/loop")
    os.symlink(b"loop", tree + b"/loop/self")
    os.symlink(b"../loop", tree + b"/loop/up")
    os.symlink(b"loop1", tree + b"/loop2")
    os.symlink(b"loop2", tree + b"/loop1")
    if ROOT:
        with contextlib.suppress(PermissionError):
            os.mknod(tree + b"/null", stat.S_IFCHR | 0o666, os.makedev(1, 3))
            os.mknod(tree + b"/console", stat.S_IFCHR | 0o600, os.makedev(5, 1))
            os.mknod(tree + b"/disk", stat.S_IFBLK | 0o600, os.makedev(7, 200))
    before = state(tree)
    require(entries_of(tree) == below(tree), "scan and walk differ")

    status, output, errors = run(programs.tvkpack, "-recurse", tree)
    too_long = {name for name in before if len(os.path.basename(name)) > 252}
    require(status == 4 and errors.count(b"TP1004") + output.count(b"TP1004") == len(too_long) == 3, errors)
    check_whole(plain_state(before), state(tree), "packed names:", both=False)
    require(len(state(tree)) == len(before) and not leftovers(state(tree)), "odd names")
    require(run(programs.tvkpack, "-recurse", "-unpack", tree)[0] == 0, "unpack odd names")
    require(plain_state(before) == state(tree), "unpacked names differ")
    before = state(tree)

    work("copy", tree, folder + b"/copied", status=0)
    copied = state(folder + b"/copied/names") if os.path.isdir(folder + b"/copied/names") else state(folder + b"/copied")
    require({n: (e[0], e[5]) for n, e in copied.items()} == {n: (e[0], e[5]) for n, e in before.items()}, "copy")
    require(before == state(tree), "copied from")
    place = other_device(folder)
    if place:
        moved = tempfile.mkdtemp(prefix=b"tvk-crash-", dir=place)
        try:
            work("move", tree, moved + b"/there", status=0)
            require(not os.path.exists(tree) and state(moved + b"/there") == before, "move")
            work("remove", moved, status=0)
        finally:
            run("rm", "-rf", moved)
    else:
        print("not tried: moving to another device, there is none")
    for each in (folder + b"/copied", tree):
        work("remove", each, status=0)
        require(not os.path.lexists(each), "removal of", each)
    print(f"odd names and files: {len(before)} entries", flush=True)


def exchange(first, second):
    return libc.renameat2(AT_FDCWD, first, AT_FDCWD, second, RENAME_EXCHANGE)


@contextlib.contextmanager
def meanwhile(mischief):
    """Does this again and again, in a process of its own, as long as the block runs."""
    ready, begun = os.pipe()
    child = os.fork()
    if child == 0:
        signal.alarm(600)
        mischief()
        os.write(begun, b".")
        while True:
            mischief()
    try:
        os.read(ready, 1)
        yield
    finally:
        os.close(ready)
        os.close(begun)
        os.kill(child, signal.SIGKILL)
        os.waitpid(child, 0)


def race_tree():
    """A tree below "above", and one outside with the same names and marked contents."""
    run("rm", "-rf", folder + b"/above", folder + b"/outside", folder + b"/copy")
    for place, text in ((folder + b"/above/tree", b""), (folder + b"/outside", MARK)):
        for sub in (b"", b"/sub", b"/sub/deep", b"/sub/deep/er"):
            os.makedirs(place + sub)
            for n in range(6):
                write(place + sub + b"/f%d" % n, text + b"contents " * 50)
    write(folder + b"/outside/sub/deep/only-outside", MARK)
    tree = folder + b"/above/tree"
    os.symlink(folder + b"/outside", folder + b"/above/link")
    os.symlink(folder + b"/outside/sub", tree + b"/link")
    os.symlink(folder + b"/outside/sub/deep", tree + b"/sub/link")
    os.symlink(folder + b"/outside/f0", tree + b"/zlink")
    os.mkfifo(tree + b"/zpipe")
    return tree


# What is swapped while a tree is worked on: names in the tree, or at its top.
SWAPS = {
    "the tree and a link": [(b"../tree", b"../link")],
    "folders and links": [(b"sub", b"link"), (b"sub/deep", b"sub/link")],
    "files, links and FIFOs": [(b"f0", b"zlink"), (b"f1", b"zpipe")],
    "folders, files and FIFOs": [(b"sub", b"f2"), (b"sub/deep", b"zpipe"), (b"sub/f0", b"sub/deep")],
}


def check_races(rounds):
    """Somebody who owns the folders swaps what is in them, all the time."""
    place = other_device(folder)
    for what, swaps in SWAPS.items():
        started = time.time()
        for number in range(rounds):
            for operation in ("pack", "remove", "scan", "copy", "move"):
                tree = race_tree()
                outside = state(folder + b"/outside")
                target = folder + b"/copy"
                if operation == "move" and place:
                    target = tempfile.mkdtemp(prefix=b"tvk-crash-", dir=place)
                pairs = [(tree + b"/" + first, tree + b"/" + second) for first, second in swaps]
                if b"../tree" in swaps[0]:
                    pairs = [(folder + b"/above/tree", folder + b"/above/link")]

                def mischief():
                    for first, second in pairs:
                        exchange(first, second)

                where = f"{what} swapped during {operation}, round {number}:"
                with meanwhile(mischief):
                    if operation == "pack":
                        # The way that the user named may lead anywhere when the run begins, not later.
                        if what == "the tree and a link":
                            pass
                        else:
                            done = run(programs.tvkpack, "-recurse", f"-jobs={number % 2 + 1}", tree)
                            require(done[0] in (0, 4), where, done)
                    elif operation in ("remove", "scan"):
                        listed = work(operation, tree)[1]
                        require(what == "the tree and a link" or b"only-outside" not in listed, where, listed)
                    else:
                        work(operation, tree, target)
                require(state(folder + b"/outside") == outside, where, "touched")
                if operation in ("copy", "move"):
                    for name, entry in state(target).items():
                        require(entry[0] != stat.S_IFREG or not entry[5].startswith(MARK), where, name, "was copied")
                if operation == "pack":
                    for name, entry in state(folder + b"/above").items():
                        if is_packed(name, entry):
                            require((unpacked(entry[5]) or MARK).startswith(b"contents"), where, name)
                if target != folder + b"/copy":
                    run("rm", "-rf", target)
        print(f"{what}: {rounds} rounds, {time.time() - started:.0f} s", flush=True)


def check_root_swap(rounds):
    """The folder that the user named becomes a link while the files in it are packed, or unpacked."""
    for number in range(rounds):
        tree = race_tree()
        for place in (tree, folder + b"/outside"):
            for n in range(300):
                write(place + b"/more%d" % n, (MARK if place != tree else b"") + b"contents " * 50)
        outside = state(folder + b"/outside")
        swapped = threading.Event()

        def swap_when_begun():
            end = time.time() + 30
            while time.time() < end and not any(name.endswith(b".gz") for name in os.listdir(tree)):
                pass
            exchange(folder + b"/above/tree", folder + b"/above/link")
            swapped.set()

        thread = threading.Thread(target=swap_when_begun)
        thread.start()
        status, output, errors = run(programs.tvkpack, "-recurse", tree)
        thread.join()
        require(status == 4 and b"TP1002" in output + errors, "root swapped:", status, output[-300:])
        require(state(folder + b"/outside") == outside, "root swapped: outside touched")
    print(f"the named folder swapped for a link: {rounds} rounds", flush=True)


def check_changing_files(rounds):
    """Files that grow, shrink, vanish and come back: no hang, no broken block, and no endless copy."""
    for number in range(rounds):
        for operation in ("pack", "copy"):
            tree = race_tree()

            def mischief():
                for n in range(6):
                    path = tree + b"/sub/f%d" % n
                    with contextlib.suppress(OSError):
                        if n < 2:
                            with open(path, "ab") as file:
                                file.write(b"contents " * 1000)
                        elif n < 4:
                            os.truncate(path, number * 7 % 400)
                        else:
                            os.unlink(path)
                            write(path, b"contents " * 60)

            with meanwhile(mischief):
                if operation == "pack":
                    done = run(programs.tvkpack, "-recurse", tree)
                    require(done[0] in (0, 4), "changing files", done)
                else:
                    work("copy", tree, folder + b"/copy")
            for name, entry in state(tree).items():
                require(not is_packed(name, entry) or unpacked(entry[5]) is not None, "broken block", name)
            require(not leftovers(state(tree)), "changing files: leftovers")
    # A file that grows as fast as it is copied.
    tree = race_tree()
    with open(tree + b"/f0", "wb") as file:
        file.write(bytes(20 << 20))
    limit = 400 << 20

    def grow():
        with open(tree + b"/f0", "ab", 0) as file:
            if file.tell() < limit:
                file.write(bytes(1 << 18))

    with meanwhile(grow):
        while os.path.getsize(tree + b"/f0") < 24 << 20:
            pass
        work("copyFile", tree + b"/f0", folder + b"/grown", status=0)
        size = os.path.getsize(tree + b"/f0")
    copied = os.path.getsize(folder + b"/grown")
    require(24 << 20 <= copied <= size, "growing file")
    os.unlink(folder + b"/grown")
    print(f"changing files: {rounds} rounds; {copied >> 20} MB copied of a file that grew to {size >> 20} MB", flush=True)


def check_waiting():
    """FIFOs that lie in the way of a copy."""
    tree = race_tree()
    os.mkdir(folder + b"/copy")
    for place in (folder + b"/copy", folder + b"/copy/tree"):
        os.makedirs(place, exist_ok=True)
        os.mkfifo(place + b"/f0")
    work("copy", tree, folder + b"/copy", status=0, timeout=20)
    require(contents_of(folder + b"/copy/tree/f0") == contents_of(tree + b"/f0"), "FIFO in the way of a tree")


def measured(program, *arguments, limit, status=(0,)):
    """Runs a program with few descriptors; tells its seconds and peak of memory in MB, which must be within the limit."""
    begin = time.time()
    with open(folder + b"/output", "wb") as output:
        child = subprocess.Popen([program, *arguments], stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                                 preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (50, 50)))
        _, code, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(code)
    peak = usage.ru_maxrss >> 10
    require(child.returncode in status, program, arguments[:1], child.returncode, contents_of(folder + b"/output")[-500:])
    require(peak <= limit, program, arguments[:1], "takes", peak, "MB")
    return f"{os.path.basename(program)} {arguments[0]} {time.time() - begin:.1f} s {peak} MB"


def check_large(entries):
    """One folder with very many entries."""
    large = tempfile.mkdtemp(prefix=b"tvk-crash-", dir=b"/var/tmp")
    try:
        os.mkdir(large + b"/in")
        write(large + b"/in/first", b"")
        for n in range(entries - 1):
            if n % 30000 == 0:  # below the number of links that a file may have
                write(large + b"/in/file%07d" % n, b"")
                source = large + b"/in/file%07d" % n
            else:
                os.link(source, large + b"/in/file%07d" % n)
        figures = [measured(programs.tree_work, "scan", large + b"/in", limit=400),
                   measured(programs.tvkpack, "-recurse", large + b"/in", limit=600),
                   measured(programs.tvkpack, "-quiet", large + b"/in", limit=600),
                   measured(programs.tree_work, "copy", large + b"/in", large + b"/copy", limit=100),
                   measured(programs.tree_work, "remove", large + b"/copy", limit=100)]
        os.mkdir(large + b"/folders")
        for n in range(entries // 4):
            os.mkdir(large + b"/folders/folder%07d" % n)
        figures += [measured(programs.tree_work, "scan", large + b"/folders", limit=400),
                    measured(programs.tree_work, "copy", large + b"/folders", large + b"/copy", limit=400),
                    measured(programs.tree_work, "remove", large + b"/copy", limit=400)]
        print(f"{entries} entries in a folder, then {entries // 4} folders: " + ", ".join(figures), flush=True)
    finally:
        run("rm", "-rf", large, timeout=600)


def moved_and_back(tree):
    place = other_device(folder)
    if not place:
        return []
    there = tempfile.mktemp(prefix="tvk-crash-", dir=place.decode()).encode()
    return [measured(programs.tree_work, "move", tree, there, limit=100),
            measured(programs.tree_work, "move", there, tree, limit=100)]


def check_deep(depth, name):
    """Folders in folders, far beyond the length of a path."""
    top = folder + b"/deep"
    os.mkdir(top)
    here = os.open(".", os.O_RDONLY)
    os.chdir(top)
    for level in range(depth):
        if level % (depth // 50) == 0:
            write(b"f", b"contents " * 20)
        os.mkdir(name)
        os.chdir(name)
    write(b"last", b"contents " * 20)
    os.fchdir(here)
    os.close(here)
    figures = [measured(programs.tree_work, "scan", top, limit=100),
               measured(programs.tree_work, "copy", top, folder + b"/copied", limit=100),
               *moved_and_back(top),
               measured(programs.tvkpack, "-recurse", top, limit=200, status=(4,))]
    # What is too deep for a path is not passed over in silence.
    require(b"TP1003" in contents_of(folder + b"/output"), "no word about the depth")
    figures += [measured(programs.tree_work, "remove", top, limit=100),
                measured(programs.tree_work, "remove", folder + b"/copied", limit=100)]
    require(not os.path.exists(top) and not os.path.exists(folder + b"/copied"), "deep folders are left")
    print(f"{depth} folders deep, names of {len(name)}: " + ", ".join(figures), flush=True)


programs = arguments(__doc__)
libc = ctypes.CDLL(None, use_errno=True)
with work_folder() as folder:
    begin = time.time()
    check_names()
    check_waiting()
    check_races(150 if programs.whole else 1)
    check_root_swap(10 if programs.whole else 1)
    check_changing_files(60 if programs.whole else 1)
    check_deep(5000 if programs.whole else 500, b"d" * 20)
    if programs.whole:
        check_deep(5000, b"d")
        check_deep(5000, b"d" * 255)
        check_large(1000000)
    print(f"{time.time() - begin:.0f} s")
