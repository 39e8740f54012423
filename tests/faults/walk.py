#!/usr/bin/env python3
"""Runs every operation of the libraries with every call into the C library failing at its n-th use, for every n, with
every error that fits, once alone and once from there on.

  walk.py PROGRAM LIBRARY [WORD [FAULT]]     the operations with WORD in their names [under one fault]; a sample in
                                             seconds, with TVK_LONG=1 all of it

PROGRAM is made by Operations.cpp, which does what the operations' scripts say; LIBRARY is one with messages. Each pair
of operation and call has a process of its own, so that a crash or a hang is one finding.
"""
import atexit
import errno
import fcntl
import os
import random
import re
import shutil
import socket
import stat
import subprocess
import sys
import tempfile
import termios
import types

from calls import ERRORS

PROGRAM, LIBRARY, WORD, FAULT = [*map(os.path.realpath, sys.argv[1:3]), *sys.argv[3:], "", ""][:4]
LONG = os.environ.get("TVK_LONG", "0") != "0"
NO_FAULT = "malloc:0:ENOMEM"
OWN_CODES = {"ENOENT": 1001, "ENOTDIR": 1002, "EMFILE": 1012, "ENFILE": 1012, "EPERM": 1013, "ENOMEM": 1014,
             "EEXIST": 1029}
READ, WRITE, TRUNCATE, APPEND, CREATE, NO_OVERWRITE, MUST_EXIST, RECURSIVE = 1, 2, 4, 8, 0x200, 0x1000, 0x2000, 0x4000

random.seed(1)
TEXT = "".join(random.choices("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_", k=200_000))


# --- Where the operations work: a folder on each of two devices, two terminals, files in place of the outputs.

def memory_file():
    file = os.memfd_create("output")
    fcntl.fcntl(file, fcntl.F_SETFL, os.O_APPEND)
    return file


def taken(file):
    """What stands in such a file, which is empty then."""
    text = os.pread(file, 1 << 20, 0).decode(errors="replace")
    os.ftruncate(file, 0)
    return text


def second_device(first):
    folder = tempfile.mkdtemp(prefix="faults", dir="/tmp")
    if os.stat(folder).st_dev != os.stat(first).st_dev:
        return folder
    os.rmdir(folder)
    print("no second device: moves between devices are left out")
    return None


SCREEN, NOISE = memory_file(), memory_file()
KEYBOARD, TERMINAL = os.openpty()
PAGE_SHOWN, PAGE = os.openpty()
termios.tcsetwinsize(PAGE, (5, 40))
os.set_blocking(PAGE_SHOWN, False)
MODE = termios.tcgetattr(TERMINAL)
HERE = os.path.realpath(tempfile.mkdtemp(
    prefix="faults", dir=os.environ.get("TMPDIR") or ("/dev/shm" if os.access("/dev/shm", os.W_OK) else None)))
os.chdir(HERE)
THERE = second_device(HERE)
for folder in filter(None, (HERE, THERE)):
    atexit.register(shutil.rmtree, folder)


def empty(folder):
    for entry in os.scandir(folder):
        shutil.rmtree(entry.path) if entry.is_dir(follow_symlinks=False) else os.unlink(entry.path)


def read(path):
    with open(path) as file:
        return file.read()


def write(path, text):
    with open(path, "w") as file:
        file.write(text)


class Program:
    """The program that runs the scripts, in a process that it makes for one session or one script."""

    def __init__(self):
        self.socket, theirs = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self.process = subprocess.Popen([PROGRAM, str(theirs.fileno())], stdin=TERMINAL, stdout=SCREEN, stderr=NOISE,
                                        pass_fds=[theirs.fileno(), SCREEN, KEYBOARD, PAGE],
                                        env={**os.environ, "HOME": "/home/somebody"})
        theirs.close()
        self.is_open = False

    def receive(self):
        """The pieces of an answer, as pairs of kind and value."""
        answer = self.socket.recv(1 << 20).decode(errors="replace")
        if not answer:
            sys.exit("the program is gone: " + taken(NOISE))
        return [tuple(piece.split(" ", 1)) for piece in answer.split("\0")[:-1]]

    def ask(self, script):
        """What the steps told; it includes how the process ended if it did."""
        lines = [[a or b for a, b in re.findall(r'"([^"]*)"|(\S+)', line)] for line in script.strip().splitlines()]
        self.socket.send("\n".join(map("\t".join, lines)).encode())
        told = self.receive()
        if script.startswith("cold") and told[-1][0] != "ended":
            told += self.receive()
        self.is_open = told[-1][0] != "ended"
        return told

    def end(self):
        """Ends the session; what is told then."""
        if not self.is_open:
            return {}
        self.socket.send(b"end")
        self.is_open = False
        return dict(self.receive())


# --- The operations.

OPERATIONS = []


def operation(name, script, told="", **more):
    """A script with "fault FAULT" in it; what the answer decorates is the check of what came of it. `told` has the
    calls whose failure must be told: without them the operation cannot have done its work. `more` may be
      codes, paths  of exceptions, beside the code that stands for the system's error
      prepare       makes files in the folder, which is empty
      answers       what the steps tell when they have done their work, under the fault and behind it
      harmless      calls, and single uses of calls, without which the work is done all the same
      reused        files that must be usable behind it all
      warm          a script for each new process
      status        with which the script ends the process when the work is done
      failing       other statuses that tell of the fault"""
    reused = more.get("reused", ())
    script += "".join(f"\ncloseIfOpen {file}\ncalm" for file in reused) + "".join(f"""
        setName {file} reused-{file}
        open {file} {READ | WRITE | TRUNCATE}
        write {file} again
        rewind {file}
        read {file} 5
        close {file}""" for file in reused)
    this = types.SimpleNamespace(**{
        "name": name, "script": script, "told": told, "check": lambda t: None, "codes": (), "paths": (),
        "prepare": lambda: None, "answers": None, "is_twice": False, "harmless": "", "reused": (), "warm": "",
        "status": 0, "failing": (), **more})
    OPERATIONS.append(this)
    return lambda check: setattr(this, "check", check)


def twice(name, work, told="", before="", **more):
    """Work under a fault and then once more without: nothing of the failure may stay."""
    operation(name, f"{before}fault FAULT\n{work}\ncalm\n{work}", told, is_twice=True, **more)


def also_first(name, work, told="", told_first="", **more):
    """The same, and once as the first that a process does."""
    twice(name, work, told, **more)
    twice(name + ", first", work, told_first, before="cold\n", **more)


def prefixes(path):
    """What making a folder with all its parents may fail with: the path as given, and each of them."""
    whole = os.path.abspath(path)
    return {path, *(whole[:at] for at in range(2, len(whole) + 1) if whole[at:at + 1] in ("/", ""))}


def make_tree(folder):
    os.makedirs(folder + "/sub/empty")
    write(folder + "/a", TEXT)
    write(folder + "/sub/b", "short")
    os.symlink("../a", folder + "/sub/link")
    os.link(folder + "/a", folder + "/sub/again")
    os.mkfifo(folder + "/pipe", 0o600)
    os.chmod(folder + "/sub/b", 0o640)


def tree(path, with_rights=True):
    """All there is at a path and below, and what it is."""
    try:
        mode = os.lstat(path).st_mode
    except FileNotFoundError:
        return None
    if stat.S_ISDIR(mode):
        what = {name: tree(path + "/" + name, with_rights) for name in os.listdir(path)}
    else:
        what = os.readlink(path) if stat.S_ISLNK(mode) else read(path) if stat.S_ISREG(mode) else None
    return stat.S_IFMT(mode), with_rights and mode, what


def make_links(folder):
    os.mkdir(folder)
    write(folder + "/x", TEXT)
    os.link(folder + "/x", folder + "/y")


def fresh(make):
    """What is made, with rights and without."""
    empty(HERE)
    make("fresh")
    return {with_rights: tree("fresh", with_rights) for with_rights in (True, False)}


TREE = fresh(make_tree)[True]


@operation("read a file", f"""
        file in
        fault FAULT
        open in {READ | MUST_EXIST}
        read in 100
        size in
        read in 39900
        seek in 17
        readU8 in
        tell in
        close in
        calm
        tell in
        calm""", "read", codes={1001, 1003, 1005, 1009}, paths={"in"}, reused=["in"],
           prepare=lambda: write("in", TEXT[:40_000]))
def _(t):
    if t.is_done:
        t.expect(t.values == [TEXT[:100], "40000", TEXT[100:40_000], str(ord(TEXT[17])), "18"], "read something else")
    if t.call == "lseek64" and len(t.values) == 1 and t.use not in ("1+", "2+", "3", "3+"):  # but the way back
        t.expect(t.after == ["100"], "the position is lost in size()")


@operation("write a file", f"""
        file out
        fault FAULT
        open out {READ | WRITE | TRUNCATE}
        write out {TEXT[:20_000]}
        writeU32 out {0x64636261}
        writeZeros out 70000
        seekToEnd out
        write out end
        truncate out
        rewind out
        writeU8 out {ord("x")}
        flush out
        close out
        calm""", "write writev fsync ftruncate fclose", codes={1003, 1005, 1009, 1010}, paths={"out"}, reused=["out"])
def _(t):
    if t.is_done:
        t.expect(read("out") == "x" + TEXT[1:20_000] + "abcd" + "\0" * 70_000 + "end", "wrote something else")


@operation("append to a file", f"""
        file log
        fault FAULT
        open log {CREATE | APPEND}
        write log {TEXT[:10_000]}
        tell log
        close log
        calm""", "write writev fclose", codes={1003, 1005, 1009, 1010}, paths={"log"}, reused=["log"],
           prepare=lambda: write("log", "old"))
def _(t):
    found = read("log")
    t.expect(found == "old" + TEXT[:10_000] and t.values == ["10003"] if t.is_done else found.startswith("old"),
             "appended wrong")


def pieces_of(text):
    """In pieces of all sizes."""
    size = 1
    while text:
        yield text[:size]
        text, size = text[size:], size * 3 % 9000 + 1


# What failed can be tried again: nothing is lost, nothing written twice.
@operation("write again what failed", "file out\ncreate out\nfault FAULT\n" +
           "\n".join("write out " + piece for piece in pieces_of(TEXT[:60_000])) +
           "\nflush out\ncalm\nagain\nclose out", "write writev fsync", codes={1010}, paths={"out"})
def _(t):
    t.expect(read("out") == TEXT[:60_000] and not any(part.failed for part in t.parts[1:]), "lost or doubled")


@operation("read and write in turn", """
        file f
        fault FAULT
        openReadWrite f""" + """
        read f 700
        write f HELLO""" * 20 + """
        close f
        calm""", "read write writev fclose", codes={1003, 1005, 1009, 1010}, paths={"f"}, reused=["f"],
           prepare=lambda: write("f", TEXT[:30_000]))
def _(t):
    whole = "".join(TEXT[at:at + 700] + "HELLO" for at in range(0, 20 * 705, 705)) + TEXT[20 * 705:30_000]
    t.expect(read("f") == whole if t.is_done else len(read("f")) == 30_000, "wrote elsewhere")


@operation("copy from file to file", f"""
        file in
        file out
        open in {READ}
        create out
        fault FAULT
        copyFrom out in 150000
        flush out
        calm""", "read write writev fsync", codes={1009, 1010}, paths={"in", "out"}, reused=["in", "out"],
           prepare=lambda: write("in", TEXT[:150_000]))
def _(t):
    t.expect(not t.is_done or read("out") == TEXT[:150_000], "copied something else")


@operation("times of a file", """
        file f
        file ./f
        openReadWrite f
        fault FAULT
        setTicks f 1000 2000
        getTimes f
        setTimes ./f 3000 4000
        getTimes ./f
        calm""", "stat utimensat", codes={1001, 1009, 1010}, paths={"f", "./f"}, prepare=lambda: write("f", "x"))
def _(t):
    t.expect(not t.is_done or t.values == ["1000", "2000"] * 2 + ["3000", "4000"] * 2, "other times")


@operation("temporary file", """
        file before
        fault FAULT
        openTemporary before .
        write before x
        calm
        name before
        closeIfOpen before
        calm""", "mkostemp", codes={1003, 1005, 1006, 1010}, paths={".", "*"})
def _(t):
    name, is_open = t.after
    t.expect(t.is_done or is_open == "0" or name != "before", "half made")
    if name != "before":
        t.expect(not t.is_done or read(name) == "x", "wrote something else")
        os.unlink(name)


def replacement(name, path, mode, told):
    def prepare():
        write("real", "old")
        os.chmod("real", 0o640)
        os.symlink("real", "link")

    @operation(name, f"fault FAULT\nreplaceContents {path} {TEXT[:50_000]} {mode}\ncalm", told,
               codes={1003, 1005, 1010, 1016}, paths={path}, prepare=prepare)
    def _(t):
        is_new = t.is_done or t.is_fault("fsync:2")  # the folder comes last
        found = read(path) if os.path.exists(path) else None
        t.expect(found == (TEXT[:50_000] if is_new else "old" if path == "link" else None), "neither old nor new")
        rights = os.stat("real").st_mode & 0o7777
        t.expect(os.path.islink("link") and rights & 0o7137 == 0, "more rights")
        if t.is_done and not t.is_fault("fchown openat") and t.error not in ("EPERM", "EROFS"):
            t.expect(rights == 0o640, "other rights")


replacement("replace contents", "link", 0, "write writev fsync fclose renameat openat:1 openat:2")
replacement("replace contents, new only", "new", NO_OVERWRITE, "write writev fsync fclose")


@operation("copy a file", "fault FAULT\ncopyFile in out\ncalm", "openat close:1 fstat",
           prepare=lambda: (write("in", TEXT), write("out", "old")))
def _(t):
    t.expect((not t.is_done or read("out") == TEXT) and read("in") == TEXT, "not copied")


@operation("copy a tree", f"file from\nfault FAULT\ncopyTo from to/there {RECURSIVE}\ncalm",
           "mkdirat symlinkat mknodat openat getdents64", codes={1003, 1004}, paths=prefixes("to/there"),
           prepare=lambda: make_tree("from"))
def _(t):
    t.expect(not t.is_done or tree("to/there/from") == TREE, "not copied")
    t.expect(tree("from") == TREE, "the source is lost")


@operation("move", """
        file from
        file f
        fault FAULT
        move from to
        rename f g
        move f h
        calm""", codes={1013}, paths={"from", "f", os.path.abspath("g")},
           prepare=lambda: (make_tree("from"), os.mkdir("to"), write("f", "file"), write("g", "other")))
def _(t):
    t.expect((tree("to/from") == TREE) != (tree("from") == TREE), "the tree is lost")
    t.expect("file" in (os.path.exists(name) and read(name) for name in "fgh"), "the file is lost")
    if t.is_done:
        t.expect(tree("to/from") == TREE and not os.path.exists("f") and read("h") == "file", "not moved")


def move_between_devices(name, make, harmless=""):
    whole = fresh(make)

    @operation(name, f"file from\nfault FAULT\nmove from {THERE}/to\ncalm",
               "mkdirat mknodat symlinkat getdents64 unlinkat", codes={1013}, paths={"from"}, harmless=harmless,
               prepare=lambda: make("from"))
    def _(t):
        strict = not t.is_fault("fchmod") or t.error != "EPERM"  # rights are kept where permitted
        is_there = tree(THERE + "/to", strict) == whole[strict]
        t.expect(is_there and not os.path.exists("from") if t.is_done else
                 is_there or tree("from", strict) == whole[strict], "the tree is lost")


if THERE:
    move_between_devices("move between devices", make_tree)
    # A link that cannot be made, or looked at, becomes a copy.
    move_between_devices("move links between devices", make_links, harmless="linkat fstatat:3 fstatat:5")


@operation("remove a tree", "fault FAULT\nremoveTree tree\ncalm", "unlinkat",
           prepare=lambda: (make_tree("tree"), write("outside", "x"), os.symlink("../outside", "tree/out")))
def _(t):
    t.expect(not t.is_done or not os.path.exists("tree"), "something is left")
    t.expect(read("outside") == "x", "removed what is outside")


@operation("make and remove folders", f"""
        fault FAULT
        createFolder a/b/c {RECURSIVE}
        createFolder plain 0
        removeFolder empty
        remove f
        calm""", "mkdir rmdir remove", codes={1003, 1004}, paths=prefixes("a/b/c") | {"plain"},
           prepare=lambda: (write("f", "x"), os.mkdir("empty")))
def _(t):
    if t.is_done:
        t.expect(os.path.isdir("a/b/c") and sorted(os.listdir()) == ["a", "plain"], "not done")


@operation("scan a tree", "fault FAULT\nscan tree * b s*/a*\ncalm", "malloc", codes={1014},
           prepare=lambda: make_tree("tree"))
def _(t):
    every = ["tree/a", "tree/pipe", "tree/sub", "tree/sub/again", "tree/sub/b", "tree/sub/empty", "tree/sub/link"]
    t.expect(set(t.values) <= set(every), "found what is not there")
    if t.is_done and not t.parts[0].count("unread"):
        t.expect(sorted(set(t.values)) == every and t.parts[0].count("visited") == 3, "not all found")


@operation("paths", f"fault FAULT\nchangePaths f {HERE} {PROGRAM}\ncalm", "realpath malloc", codes={1003, 1000},
           paths={"f"}, prepare=lambda: write("f", "x"))
def _(t):
    if t.is_done:
        t.expect(t.values[2:] == [HERE + "/f", "/home/somebody/x", "/home/somebody/a/c"], "another path")
    if not t.fired:
        t.expect(t.values[:2] == [HERE + "/f"] * 2, "not found")


LINE = "x" * 1500
PRINT = f"""
    clear
    clearError
    print "12 files"
    print {LINE}
    put 35
    isGood"""


def printing(name, cold):
    @operation(name, f"{cold}fault FAULT{PRINT}\ncalm\nmark{PRINT}\nmark\ndestroyConsole", "fflush_unlocked vsnprintf",
               codes={1014})
    def _(t):
        first, second, *_ = t.screen.split("\f")
        lines = f"12 files\n{LINE}\nend 35\n"
        t.expect(first == lines or not t.is_done, "lost without a word")
        t.expect(second == lines, "cannot be used again")


printing("print", "")
printing("print, first", "cold\n")


@operation("ask and read", f"""
        type {KEYBOARD} "yk  word rest"
        fault FAULT
        ask "Go on" n
        waitKey
        readLine
        calm
        type {KEYBOARD} n
        ask Again y
        destroyConsole""", codes={1014})
def _(t):
    t.expect(not t.is_done or t.values[0] in map(str, b"yn"), "no answer")
    t.expect(t.fired or t.values == [str(ord("y")), str(ord("k")), "word"], "other keys")
    t.expect(t.after == [str(ord("n"))], "no more answers")


@operation("page and progress", f"""
        type {KEYBOARD} "     "
        onto {PAGE}
        clearError
        fault FAULT
        page
        progress 50
        print "line 0"
        print "line 1"
        print "line 2"
        print "line 3"
        print "line 4"
        print "line 5"
        clearProgress
        isGood
        calm
        destroyConsole
        onto {SCREEN}""", "vsnprintf", codes={1014})
def _(t):
    t.expect(not t.is_done or "line 5" in t.page, "lines are lost")
    t.expect(t.fired or "50 percent" in t.page, "no progress")


twice("open a library", f"openLibrary {LIBRARY}\nsymbol\nloadStrings\ncloseLibrary", "dlopen dlclose",
      before="library\n", codes={1003}, paths={LIBRARY})
FILLED = "something that is longer than the text itself, by far"
twice("load a language", "loadLanguage\nshowMessage 1001", before="frame\n", codes={1131, 1003},
      paths={HERE + "/frame.lDe"}, prepare=lambda: shutil.copy(LIBRARY, "frame.lDe"),
      answers=[f"Datei {FILLED} fehlt"])
also_first("messages", "register\nshowMessage 77002\nshowMessage 77001", "malloc",
           answers=["of the program", f"a text of some length, with {FILLED} and a second and more"])
also_first("exceptions", "exceptions", "malloc", answers=lambda texts: len(texts) == 3 and all(
    "while the outer work is done, the inner one" in text and part in text
    for text, part in zip(texts, ("a first parameter that", " 1001 ", "with/a/path/that/is/long"))))

GREETING = "gr\xfc\xdf_dich,_das_ist_lang_genug_f\xfcr_den_Speicher"
twice("strings", f"strings {GREETING}", "malloc", codes={1000}, answers=[GREETING] * 2)
# What could not be opened for the first of these stays so: of that there is no second try.
operation("strings, first", f"cold\nfault FAULT\nstrings {GREETING}\ncalm", "iconv_open", codes={1000},
          answers=[GREETING] * 2)

# The offset for times that the host does not tell is kept for good.
also_first("times", "times", codes={1313}, answers=["2001-09-09T02:46:40+01:00", "2023", "1000000000"],
           warm="fault mktime:1:EOVERFLOW\nlocalOffset\ncalm")
twice("command line", "parseCommandLine", "malloc", answers=["a folder/of a quite long name", "file"])
twice("threads", "runThreads", "pthread_create")


@operation("program frame", "cold\nending\nfault FAULT\ntool\nprogram\ncalm", failing={3},
           answers=["0", "0", '"an argument" another'])
def _(t):
    t.expect(t.screen == "works\n" or not t.is_done, "not run")
    t.expect(t.status == 0 or t.screen + t.noise != "", "nobody reported")


# The fault comes when the exception leaves Main; without an object for the program, it is there from the start.
for kind, script, status, words in (
        ("throws", "tool throws\nprogram FAULT", 3, "a parameter that needs memory"),
        ("aborts", "tool aborts\nprogram FAULT", 11, "aborted"),
        ("without an object", "fault FAULT\nprogram", 1, "Aborted: ")):
    @operation(f"last words, {kind}", f"cold\nending\n{script}\ncalm", status=status)
    def _(t, words=words):
        t.expect(words in t.screen + t.noise or t.call == "malloc", "other words")
        t.expect(t.screen + t.noise != "", "not a word")


twice("module", "startModule", before="cold\n")
# What is kept of the addresses is all or nothing.
SYSTEM = f"addresses fresh\naskSystem {HERE} {PROGRAM}"
for name, before, told in ("system", "", "socket gethostname"), ("system, first", "cold\n", "socket"):
    @operation(name, f"{before}fault FAULT\n{SYSTEM}\ncalm\naddresses kept\n{SYSTEM}", told, codes={1003})
    def _(t):
        half = len(t.after) // 2
        t.expect(half > 0 and t.after[:half] == t.after[half:], f"addresses {t.after}")


twice("blocks", f"pack {TEXT[:90_000]}", "malloc")


# --- One operation under one fault.

class Part:
    """What was told up to a step "calm", or to the end."""

    def __init__(self, pieces):
        self.pieces = pieces
        self.values = [value for kind, value in pieces if kind == "value"]
        self.failed = self.get("threw") or self.get("refused")

    def get(self, kind):
        return next((value for each, value in self.pieces if each == kind), None)

    def count(self, kind):
        return sum(each == kind for each, _ in self.pieces)


class Trial:
    def __init__(self, this, fault, told):
        self.operation, self.fault, self.findings = this, fault, 0
        self.call, self.use, self.error = fault.split(":")
        self.screen, self.noise, self.page = taken(SCREEN), taken(NOISE), ""
        while True:
            try:
                self.page += os.read(PAGE_SHOWN, 1 << 16).decode(errors="replace")
            except BlockingIOError:
                break
        calm = [at for at, (kind, _) in enumerate(told) if kind == "calm"]
        self.parts = [Part(told[begin:end]) for begin, end in zip([0, *calm], [*calm, len(told)])]
        self.uses = {name: int(count) for name, count in
                     (line.split() for line in (self.parts[1:] and told[calm[0]][1] or "").splitlines())}
        self.fired = self.uses.pop("fired", 0)
        self.status = int(dict(told).get("ended", 0))
        self.blocks = int(dict(told).get("blocks", 0))
        process = dict(told).get("process")
        self.descriptors = len(os.listdir(f"/proc/{process}/fd")) if "ended" not in dict(told) else 0
        self.work, self.values = self.parts[0], self.parts[0].values
        self.after = self.parts[1:] and self.parts[1].values
        self.is_done = not self.work.failed and self.status == this.status and self.answered(self.values)

    def answered(self, values):
        answers = self.operation.answers
        return answers is None or (answers(values) if callable(answers) else values == answers)

    def is_fault(self, uses):
        """Whether it is one of these, by the name of the call or as CALL:N."""
        return not {self.call, self.call + ":" + self.use.strip("+")}.isdisjoint(uses.split())

    def expect(self, holds, what):
        if not holds:
            self.findings += 1
            print(f"{self.operation.name}, {self.fault}: {what}", flush=True)

    def check(self):
        this = self.operation
        if not self.uses or self.status not in {this.status, *this.failing}:
            return self.expect(False, f"ended with {self.status}: {self.noise[-2000:]}")
        self.expect(self.is_done or self.fired, f"failed without a fault: {self.work.pieces}")
        self.check_fairness()
        if self.work.get("threw"):
            self.check_exception()
        last = self.parts[-1]
        self.expect(not last.failed, f"fails for good: {last.pieces}")
        self.expect(not this.reused or last.values == ["again"] * len(this.reused), "a file cannot be used again")
        self.expect(not this.is_twice or self.answered(last.values), f"wrong for good: {last.values}")
        try:
            this.check(self)
        except (OSError, LookupError, ValueError) as unexpected:
            self.expect(False, f"{unexpected!r}, {self.parts[1].pieces}")
        if not self.is_fault("tcsetattr tcgetattr"):
            self.expect(termios.tcgetattr(TERMINAL) == MODE, "left the terminal in another mode")
        if not self.is_fault("unlink unlinkat"):
            left = [name for _, folders, files in os.walk(".") for name in folders + files if is_leftover(name)]
            self.expect(not left, f"left {left}")

    def check_fairness(self):
        """A failure that the work cannot do without is told; one that it can is not."""
        harmless = bool({self.call, f"{self.call}:{self.use}"} & {*self.operation.harmless.split()})
        mild = self.error in ("EINTR", "EROFS", "EINVAL", "EOPNOTSUPP") if self.call == "fsync" else (
            self.error in ("EINTR", "SHORT"))
        is_told = self.is_fault(self.operation.told) and not (self.error == "EINTR" and self.call.endswith("close"))
        if self.fired and (harmless or is_told):
            self.expect(self.is_done == (harmless or mild), "false success" if self.is_done else "failed for nothing")

    def check_exception(self):
        """A failed allocation's own, or an Exception with one of the codes, or with the one that stands for the
        system's error; it is about one of the paths, and the system's error is its cause."""
        get, this = self.work.get, self.operation
        kind, text = get("threw"), get("text")
        if get("code") is None:
            return self.expect(kind == "St9bad_alloc" and self.call == "malloc", f"threw {kind}: {text}")
        code = int(get("code"))
        self.expect(code in this.codes or OWN_CODES.get(self.error) == code, f"threw {code}: {text}")
        self.expect((" error - " if code == 1000 else f" error {code} - ") in text, f"wrong text {text}")
        path = get("path")
        if path is not None:
            is_shown = code in (1012, 1014) or os.path.basename(path) in text
            is_meant = path in this.paths or is_leftover(path) and "*" in this.paths
            self.expect(is_shown and is_meant, f"about {path!r}: {text}")
            # What stat() does not tell shows only later; without a current folder a path names nothing.
            causes = {"getcwd": errno.ENOENT, "stat": errno.EEXIST}.get(self.call), getattr(errno, self.error, None), 0
            self.expect(int(get("cause")) in causes or self.error == "SHORT", f"cause {get('cause')}")


def is_leftover(path):
    name = os.path.basename(path)
    return ".new-" in name or name.startswith("kest")


# --- The walk.

class Walk:
    def __init__(self):
        self.program, self.last, self.trials, self.injected, self.findings = Program(), None, 0, 0, 0

    def run(self, this, fault):
        """One trial. What it leaves behind is what the last one of the same process had not."""
        empty(HERE)
        if THERE:
            empty(THERE)
        this.prepare()
        termios.tcsetattr(TERMINAL, termios.TCSANOW, MODE)
        termios.tcflush(TERMINAL, termios.TCIOFLUSH)
        trial = Trial(this, fault, self.program.ask(this.script.replace("FAULT", fault)))
        trial.check()
        if self.last and self.program.is_open:
            for what in "blocks", "descriptors":
                more = getattr(trial, what) - getattr(self.last, what)
                trial.expect(more == 0 or more < 0 and what == "blocks", f"left {more} {what}")
            self.last = trial
        self.findings += trial.findings
        return trial

    def begin(self, this):
        """A session: a process in which what is made once has been made."""
        self.end(this)
        if not this.script.startswith("cold"):
            self.program.ask("warm\n" + this.warm)
            taken(SCREEN)
            self.run(this, NO_FAULT)
            self.last = self.run(this, NO_FAULT)

    def end(self, this):
        self.last = None
        status = self.program.end().get("ended", "0")
        if status != "0":
            self.findings += 1
            print(f"{this.name}: a session ended with {status}: {taken(NOISE)}")

    def try_fault(self, this, fault):
        """Whether it is to be tried at the next use, too."""
        trial = self.run(this, fault)
        self.trials += 1
        self.injected += trial.fired > 0
        return trial.fired > 0 and (self.program.is_open or this.script.startswith("cold"))

    def walk_call(self, this, call):
        for error in ERRORS[call].split() if LONG else ERRORS[call].split()[:1]:
            for more in ":", "+:":
                if more == "+:" and (error in ("EINTR", "SHORT") or not LONG and call != "malloc"):
                    continue  # would go on for ever, or is not in the sample
                if not self.program.is_open:
                    self.begin(this)
                use, every, step = 1, *((5000, 1) if LONG else (6, 7) if call == "malloc" else (3, 3))
                while self.try_fault(this, f"{call}:{use}{more}{error}") and use < 5000:
                    use += 1 if use < every else step

    def walk(self, this):
        before = self.trials, self.injected, self.findings
        self.begin(this)
        uses = self.run(this, NO_FAULT).uses
        if FAULT:
            self.try_fault(this, FAULT)
        for call in ERRORS if not FAULT else ():
            if uses.get(call):
                self.begin(this)
                self.walk_call(this, call)
        self.end(this)
        counts = (now - then for now, then in zip((self.trials, self.injected, self.findings), before))
        print("%-40s %7d trials %7d faults %5d findings" % (this.name, *counts), flush=True)


walk = Walk()
chosen = [this for this in OPERATIONS if WORD in this.name]
for this in chosen:
    walk.walk(this)
walk.program.socket.close()
walk.program.process.wait()
print(f"{len(chosen)} operations, {walk.trials} trials, {walk.injected} faults injected, {walk.findings} findings")
sys.exit(0 if walk.findings == 0 and walk.injected > 0 else 1)
