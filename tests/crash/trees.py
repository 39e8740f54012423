#!/usr/bin/env python3
"""Hostile trees: odd names and odd files, links and FIFOs that are swapped in while a tree is packed, removed, copied,
moved and scanned, files that change meanwhile, very deep and very large folders. Nothing outside the named tree is
touched, nothing hangs, and memory stays bounded.

  trees.py tvkpack=PATH probe=PATH at_call=PATH     a sample: fewer rounds, and no large folders; with TVK_LONG=1
                                                    all of it, which needs 2 GB in the temporary folder
"""
import os
import re
import resource
import signal
import time

from support import *

MARK = b"OUTSIDE"


def command(operation, path, *target):
    """The command line for an operation of the library; a scan lists all entries below the path."""
    return [programs.probe, *(("list", "r", path, "*", ".*") if operation == "scan" else (operation, path, *target))]


def work(operation, *paths, status=None, **options):
    done = run(*command(operation, *paths), **options)
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
        with work_folder(place) as other:
            work("move", tree, other + b"/moved", status=0)
            require(not os.path.exists(tree) and state(other + b"/moved") == before, "move")
            work("remove", other + b"/moved", status=0)
    else:
        print("not tried: moving to another device, there is none")
    for each in (folder + b"/copied", tree):
        work("remove", each, status=0)
        require(not os.path.lexists(each), "removal of", each)
    print(f"odd names and files: {len(before)} entries", flush=True)


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


def race_tree(is_packed=False):
    """A tree below "above", and one outside with the same names and marked contents."""
    run("rm", "-rf", folder + b"/above", folder + b"/outside", folder + b"/copy")
    for place, text in ((folder + b"/above/tree", b""), (folder + b"/outside", MARK)):
        for sub in (b"", b"/sub", b"/sub/deep", b"/sub/deep/er"):
            os.makedirs(place + sub)
            for n in range(3):
                write(place + sub + b"/f%d" % n, text + b"contents " * 50)
    write(folder + b"/outside/sub/deep/only-outside", MARK)
    tree = folder + b"/above/tree"
    if is_packed:
        for place in (tree, folder + b"/outside"):
            require(run(programs.tvkpack, "-recurse", place)[0] == 0, "packing")
    os.symlink(folder + b"/outside", folder + b"/above/link")
    os.symlink(folder + b"/outside/sub", folder + b"/above/link-sub")
    os.symlink(folder + b"/outside/sub/deep", folder + b"/above/link-deep")
    os.symlink(folder + b"/outside/f0" + b".gz" * is_packed, folder + b"/above/link-file")
    os.mkfifo(folder + b"/above/pipe")
    write(tree + b"/only-inside", b"")
    return tree


# What a user who owns the folders swaps while they are worked on: names below the tree, or the tree itself.
SWAPS = [(b"../tree", b"../link"), (b"sub", b"../link-sub"), (b"sub/deep", b"../link-deep"), (b"f0", b"../link-file"),
         (b"f1", b"../pipe"), (b"sub", b"f2"), (b"sub/deep", b"../pipe"), (b"sub/f0", b"sub/deep")]


def check_swaps():
    """Swaps at each system call, for good or for the time of a few calls."""
    with work_folder(other_device(folder)) as there:
        check_swaps_beside(there)


def check_swaps_beside(there):
    count = folder + b"/count"
    for operation in ("pack", "unpack", "remove", "scan", "copy", "move"):
        def swapped(call, span, first, second):
            target = folder + b"/copy"
            if operation == "move":
                target = there + b"/copy"
            line = ([programs.tvkpack, "-recurse", "-jobs=1", "-" + operation, tree] if "pack" in operation else
                    command(operation, tree, target))
            first, second = (re.sub(rb"(/f\d)$", rb"\1.gz" if operation == "unpack" else rb"\1", name)
                             for name in (first, second))
            done = run(programs.at_call, "swap", first, second, str(span), str(call), count, *line, timeout=30)
            return done, int(contents_of(count)), target

        tree = race_tree(operation == "unpack")
        end = swapped(0, 0, b"", b"")[1]
        begin = 150 if "pack" in operation else 80
        runs = 0
        for pair in SWAPS:
            spans, calls = ((0, 2) if "pack" in operation else (0, 1, 3)), range(begin, end + 1)
            if not programs.whole:
                many = operation in ("remove", "scan", "copy") and pair in SWAPS[:3]
                spans, calls = (0,), calls[::len(calls) // 8] if many else random.sample(calls, 1)
            for span in spans:
                for call in calls:
                    run("rm", "-rf", there + b"/copy")
                    tree = race_tree(operation == "unpack")
                    outside, inside = state(folder + b"/outside"), state(tree)
                    where = f"{pair} swapped at call {call} of {operation} for {span} calls:"
                    done, _, target = swapped(call, span, *(os.path.normpath(tree + b"/" + name) for name in pair))
                    runs += 1
                    require(done[0] in (0, 1, 3, 4), where, done)
                    at_top = pair[0] == b"../tree"
                    now = state(folder + b"/outside")
                    # What the user named may lead anywhere when the run begins, but to one place only.
                    real = folder + (b"/above/tree" if os.path.isdir(tree) and not os.path.islink(tree) else b"/above/link")
                    require(now == outside or (at_top and "pack" in operation and state(real) == inside), where, "touched")
                    if operation == "scan":
                        require(b"only-outside" not in done[1] or (at_top and b"only-inside" not in done[1]), where, done[1])
                    if operation in ("copy", "move") and not os.path.islink(target):
                        for name, entry in state(target).items():
                            require(entry[0] != stat.S_IFREG or not entry[5].startswith(MARK), where, name, "was copied")
        print(f"{operation}: {end} calls, {runs} swaps", flush=True)


def at_call(number, deed, *line):
    """Runs a command line with a command of the shell in between; what became of it and the number of its calls."""
    done = run(programs.at_call, "run", deed, str(number), folder + b"/count", *line, timeout=30)
    return done, int(contents_of(folder + b"/count"))


# What is moved to another device, what happens to it while it is copied, and what holds then.
CHANGES = [("file", "echo more >>file", "tail -n 1 file | grep more"),
           ("file", "mv file kept; echo other >file", "grep other file"),
           ("tree", "touch tree/new", "test -f tree/new"),
           ("tree", "mv tree kept; mkdir tree; echo other >tree/file", "grep other tree/file"),
           ("tree", "mv tree kept; ln -s kept tree", "test -L tree")]


def check_moves():
    """What was changed or replaced while it was moved to another device stays."""
    with work_folder(other_device(folder)) as there:
        _, start = at_call(0, "", *command("move", folder + b"/none", there + b"/moved"))
        for name, deed, remains in CHANGES:
            place = folder + b"/changes"
            os.makedirs(place + b"/tree")
            write(place + b"/file", bytes(8 << 20))
            for n in range(40):
                write(place + b"/tree/%d" % n, prose(100))
            line = command("move", os.path.join(place, name.encode()), there + b"/moved")
            copy_tree(place, folder + b"/again")
            done, end = at_call(0, "", *line)
            require(done[0] == 0 and not os.path.lexists(line[-2]), "move of", name, done)
            run("rm", "-rf", place, there + b"/moved")
            os.rename(folder + b"/again", place)
            middle = (start + end) // 2
            done, _ = at_call(middle, f"cd {os.fsdecode(place)}; {deed}", *line)
            kept = run("sh", "-c", remains, cwd=place)[0] == 0
            require(done[0] == 1 and kept, f"{deed}, at call {middle} of {end} of a move:", done)
            run("rm", "-rf", place, there + b"/moved")
    print(f"moves of what changes: {len(CHANGES)}", flush=True)


def check_fifos():
    """A FIFO that comes into the place of a file at any call, also just before that is opened, is waited for by nobody."""
    place = folder + b"/fifos"
    file, fifo, new, runs = place + b"/in/file", place + b"/fifo", place + b"/new", 0
    for line in command("copy", place + b"/in", new), [programs.tvkpack, "-recurse", "-jobs=1", place + b"/in"]:
        run("rm", "-rf", place)
        end = at_call(0, "", *line)[1]  # where there is nothing to do
        call = end - 30
        while call <= end:
            run("rm", "-rf", place)
            os.makedirs(place + b"/in")
            write(file, prose(300))
            os.mkfifo(fifo)
            done, end = at_call(call, b"mv %s %s; mv %s %s" % (file, place, fifo, file), *line)
            require(done[0] in (0, 1, 4), f"FIFO at call {call} of", line, done)
            call, runs = call + 1, runs + 1
    print(f"FIFOs in the place of a file: {runs}", flush=True)


def check_changing_files(rounds):
    """Files that grow, shrink, vanish and come back: no hang, no broken block, and no endless copy."""
    for number in range(rounds):
        for operation in ("pack", "copy"):
            tree = race_tree()

            def mischief():
                for n in range(3):
                    path = tree + b"/sub/f%d" % n
                    with contextlib.suppress(OSError):
                        if n < 1:
                            with open(path, "ab") as file:
                                file.write(b"contents " * 1000)
                        elif n < 2:
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


def measured(*command, limit, status=(0,)):
    """Runs a program with few descriptors; tells its seconds and peak of memory in MB, which must be within the limit."""
    begin = time.time()
    with open(folder + b"/output", "wb") as output:
        child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                                 preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (50, 50)))
        _, code, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(code)
    peak = usage.ru_maxrss >> 10
    require(child.returncode in status, command[:2], child.returncode, contents_of(folder + b"/output")[-500:])
    require(peak <= limit, command[:2], "takes", peak, "MB")
    return f"{os.path.basename(command[0])} {command[1]} {time.time() - begin:.1f} s {peak} MB"


def check_large(entries):
    """One folder with very many entries."""
    os.mkdir(folder + b"/in")
    write(folder + b"/in/first", b"")
    for n in range(entries - 1):
        if n % 30000 == 0:  # below the number of links that a file may have
            write(folder + b"/in/file%07d" % n, b"")
            source = folder + b"/in/file%07d" % n
        else:
            os.link(source, folder + b"/in/file%07d" % n)
    figures = [measured(*command("scan", folder + b"/in"), limit=250),
               measured(programs.tvkpack, "-recurse", folder + b"/in", limit=450),
               measured(programs.tvkpack, "-quiet", folder + b"/in", limit=450),
               measured(*command("copy", folder + b"/in", folder + b"/copy"), limit=50),
               measured(*command("remove", folder + b"/copy"), limit=50)]
    os.mkdir(folder + b"/folders")
    for n in range(entries // 4):
        os.mkdir(folder + b"/folders/folder%07d" % n)
    figures += [measured(*command("scan", folder + b"/folders"), limit=100),
                measured(*command("copy", folder + b"/folders", folder + b"/copy"), limit=50),
                measured(*command("remove", folder + b"/copy"), limit=50)]
    print(f"{entries} entries in a folder, then {entries // 4} folders: " + ", ".join(figures), flush=True)


def moved_and_back(tree):
    place = other_device(folder)
    if not place:
        return []
    with work_folder(place) as there:
        return [measured(*command("move", tree, there + b"/moved"), limit=100),
                measured(*command("move", there + b"/moved", tree), limit=100)]


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
    figures = [measured(*command("scan", top), limit=100),
               measured(*command("copy", top, folder + b"/copied"), limit=100),
               *moved_and_back(top),
               measured(programs.tvkpack, "-recurse", top, limit=200, status=(4,))]
    # What is too deep for a path is not passed over in silence.
    require(b"TP1003" in contents_of(folder + b"/output"), "no word about the depth")
    figures += [measured(*command("remove", top), limit=100),
                measured(*command("remove", folder + b"/copied"), limit=100)]
    require(not os.path.exists(top) and not os.path.exists(folder + b"/copied"), "deep folders are left")
    print(f"{depth} folders deep, names of {len(name)}: " + ", ".join(figures), flush=True)


programs = arguments(__doc__)
with work_folder() as folder:
    begin = time.time()
    check_names()
    check_waiting()
    if may_trace(folder, programs.at_call):
        check_swaps()
        check_moves()
        check_fifos()
    else:
        print("not tried: swaps and changes, without the right to trace a program")
    check_changing_files(60 if programs.whole else 1)
    check_deep(5000 if programs.whole else 500, b"d" * 20)
    if programs.whole:
        check_deep(5000, b"d")
        check_deep(5000, b"d" * 255)
        check_large(1000000)
    print(f"{time.time() - begin:.0f} s")
