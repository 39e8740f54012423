"""The handle on a file, the functions on paths, folders and hosts, asked through a small program (see Probe.cpp). How trees
are copied, moved, removed and scanned is compared with the system's commands in tests/differential, and tests/faults
makes every call below them fail.

  files_test.py PROBE [CASE...]
"""
import errno
import fcntl
import itertools
import os
import re
import resource
import shutil
import socket
import stat
import struct
import subprocess
import sys
import tempfile
import time
import unittest

READ, WRITE, TRUNCATE, APPEND, FOLDER, WRITE_CREATE, SHARED = 1, 2, 4, 8, 0x100, 0x200, 0x400
NO_OVERWRITE, MUST_EXIST, RECURSIVE = 0x1000, 0x2000, 0x4000
MODES = {"r": READ, "w": WRITE, "t": TRUNCATE, "a": APPEND, "c": WRITE_CREATE, "s": SHARED, "n": NO_OVERWRITE,
         "e": MUST_EXIST, "R": RECURSIVE}


class Failure:
    """What an operation throws: code, path, error number, cause and text, behind the name of the program."""
    def __init__(self, words):
        code, rest = words.split("\n", 1)
        self.path, error, cause, text = rest.split("\n", 3)
        self.code, self.error, self.cause = int(code), int(error), int(cause)
        self.text = text.partition(" - ")[2] or text

    def __repr__(self):
        return f"!{self.code}"


class Probe:
    """The program, started in the current folder. An operation is called like a method and gives a text or a Failure."""
    def __init__(self, **options):
        self.program = subprocess.Popen([PROBE], stdin=subprocess.PIPE, stdout=subprocess.PIPE, restore_signals=False,
                                        **options)
        self.count = 0
        self.answer()

    def answer(self):
        size = self.program.stdout.readline()
        answer = self.program.stdout.read(int(size)).decode("latin-1")
        return Failure(answer[1:]) if answer[0] == "!" else answer[1:]

    def ask(self, *words):
        text = " ".join('"' + re.sub(r'([\\"])', r"\\\1", str(word)) + '"' for word in words)
        self.program.stdin.write(f"{len(words)} {text}\n".encode("latin-1"))
        self.program.stdin.flush()
        return self.answer()

    def __getattr__(self, operation):
        return lambda *words: self.ask(operation, *words)

    def file(self, path, key=None):
        self.count += 1
        handle = Handle(self, key or str(self.count))
        handle.new(path)
        return handle

    def descriptors(self):
        return os.listdir(f"/proc/{self.program.pid}/fd")

    def limit(self, size=None):
        """How long files may become."""
        hard = resource.prlimit(self.program.pid, resource.RLIMIT_FSIZE)[1]
        resource.prlimit(self.program.pid, resource.RLIMIT_FSIZE, (hard if size is None else size, hard))

    def end(self):
        self.program.stdin.close()
        self.program.stdout.close()
        return self.program.wait()


class Handle:
    """A File of the probe, with its operations as methods."""
    def __init__(self, probe, key):
        self.probe, self.key = probe, key

    def __getattr__(self, operation):
        return lambda *words: self.probe.ask(operation, self.key, *words)


def mode_of(letters):
    return sum(MODES[letter] for letter in letters)


def write(path, contents):
    with open(path, "wb") as file:
        file.write(contents)


def read_file(path):
    with open(path, "rb") as file:
        return file.read()


def rights_of(path):
    return stat.S_IMODE(os.stat(path).st_mode)


def rows(table, count):
    """Words between white space, so many to a row; '' stands for the empty text."""
    words = ["" if word == "''" else word for word in table.split()]
    assert words and len(words) % count == 0, table
    return list(zip(*[iter(words)] * count))


def play(file, script):
    """Does what the letters stand for, a digit seeks, and gives what came of each."""
    log = ""
    for letter in script:
        operations = {
            "t": ["tell"], "s": ["size"], "r": ["read", 1], "w": ["writeU8", ord("X")], "c": ["truncate"], "f": ["flush"],
            "e": ["seekToEnd"], "m": ["seek", -1]}
        operation, *words = operations.get(letter) or ["seek", letter]
        answer = getattr(file, operation)(*words)
        log += str(answer) + ","
    return log


class RoomTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.differences = []
        folder = tempfile.TemporaryDirectory(dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None)
        self.addCleanup(folder.cleanup)
        self.top = os.path.realpath(folder.name)
        os.chmod(self.top, 0o755)
        self.addCleanup(os.chdir, "/")
        os.chdir(self.top)
        self.probe = self.start(env=os.environ | {"HOME": self.top, "TMPDIR": "/elsewhere"})

    def start(self, **options):
        """A probe that must leave nothing open, and end well."""
        probe = Probe(**options)
        before = probe.descriptors()

        def end():
            probe.forget()
            after = probe.descriptors()
            self.assertEqual(probe.end(), 0)
            self.assertEqual(after, before, "descriptors")
        self.addCleanup(end)
        return probe

    def equal(self, got, expected, *row):
        """Goes on with the next row when they differ."""
        if got != expected:
            self.differences.append(f"{' '.join(map(str, row))!r:.200}: {got!r:.200}, not {expected!r:.200}")

    def tearDown(self):
        self.assertFalse(self.differences, f"{len(self.differences)} differences\n" + "\n".join(self.differences[:20]))

    def table(self, function, count, table):
        """Compares what a function makes of all words of a row but the last with that one."""
        for *row, expected in rows(table, count):
            self.equal(str(function(*row)).replace(self.top, "+"), expected, function.__name__, *row)

    # --- The handle

    def test_every_mode(self):
        """With a file and without one: whether it opens, is made or cut, and what may be done with it."""
        for number, exists in itertools.product(range(128), (True, False)):
            letters = "".join(letter for bit, letter in enumerate("rwtacse") if number >> bit & 1)
            write("f", b"0123")
            if not exists:
                os.unlink("f")
            reads, writes, appends, cuts = (bool(set(some) & set(letters)) for some in ("rs", "wtac", "a", "t"))
            makes = "e" not in letters and bool(set("tac") & set(letters) or "w" in letters and not reads)
            code = 1001 if "e" in letters and not exists else 1003 if not reads and not writes else 0
            if not exists and not makes:
                code = code or 1001
            file = self.probe.file("f")
            self.equal(str(file.open(mode_of(letters))), f"!{code}" if code else "", letters, exists)
            self.equal(os.path.exists("f"), exists or not code and makes, letters, exists, "exists")
            if code == 0:
                before = b"0123" if exists and not cuts else b""
                at = len(before) if appends else min(1, len(before)) if reads else 0
                start = at if appends and not reads else 0
                taken = before[:1].decode() if reads else ""
                self.equal(play(file, "t0rwf"), f"{start},,{taken}," + (",," if writes else "!1010,,"), letters, exists)
                after = before[:at] + b"X" + before[at + 1:] if writes else before
                self.equal(read_file("f"), after, letters, exists, "contents")
            file.close()

    def test_positions(self):
        """The mode, the contents before, what is done, what comes of it, the contents after."""
        for mode, before, script, log, after in rows("""
                '' 0123 tsrwfce0 !1003,!1009,!1009,!1009,!1010,!1010,!1010,!1009,!1009, 0123
                r 0123 tswrcrtm ,0,4,!1010,0,!1010,1,2,!1009, 0123   s 0123 2r ,,2, 0123
                w 0123 twrtsf ,0,,,1,4,, X123   w 0123 2cwt ,,,,3, 01X   rw 0123 rwtrrrr ,0,,2,2,3,,, 0X23
                rw 0123 w1r9ctwes ,,,1,,,9,,,10, X123.....X   t 0123 wfts1tcw ,,,0,0,,0,,, X   a 0123 t1wtsc ,4,,,5,5,, 0123X
                arw 0123 trwtrc ,0,0,,5,,, 0123X   at none w0wet ,,,,,2, XX""", 5):
            if before != "none":
                write("f", before.encode())
            else:
                os.unlink("f")
            file = self.probe.file("f")
            self.equal(f"{file.open(mode_of(mode))}," + play(file, script), log, mode, script)
            file.close()
            self.equal(read_file("f"), after.replace(".", "\0").encode(), mode, script)
        os.mkfifo("fifo")
        file = self.probe.file("fifo")
        self.equal(str(file.open(READ | MUST_EXIST)), "!1001", "a FIFO is no file")
        file.openReadWrite()  # both ends, so nothing blocks
        self.equal(play(file, "wwrts0wf"), ",,X,!1009,!1009,!1009,!1010,,", "FIFO")

    def test_numbers(self):
        file = self.probe.file("f")
        file.open(READ | TRUNCATE)
        values = {8: 0x81, 16: 0x8182, 32: 0x81828384, 64: 0x8182838485868788}
        for bits, value in values.items():
            self.equal(getattr(file, f"writeU{bits}")(value), "", bits)
        file.flush()
        self.equal(read_file("f"), struct.pack("=BHIQ", *values.values()), "bytes")
        file.rewind()
        for bits, value in values.items():
            self.equal(getattr(file, f"readU{bits}")(), str(value), bits)
            self.equal(str(file.readU64()) if bits == 64 else "!1009", "!1009", "the end")
        file.seek(8)
        self.equal((str(file.readU64()), file.tell(), file.read(99), str(file.read(1, "exact"))), ("!1009", "15", "", "!1009"))
        file.writeZeros(70000)
        file.close()
        self.equal(read_file("f")[15:], bytes(70000), "zeros")

    def test_failures_tell_path_and_cause(self):
        def failed(path, mode):
            e = self.probe.file(path).open(mode_of(mode))
            return f"{e.code} {e.path} {e.cause}"
        write("f", b"")
        for path, mode, code, cause in rows("""
                ~/none r 1001 2   ~/f re 1001 0   f/x r 1002 20   . w 1003 21   '' r 1003 0   '' re 1001 0   f\0x r 1003 22
                """, 4):
            self.equal(failed(path, mode), f"{code} {path} {cause}", path)
        self.equal(self.probe.file("").name().text, "bad file/folder: <none>.")
        if os.geteuid() == 0:
            other = self.start(user=65534)
            file = other.file("f")
            file.open(READ)
            self.equal(str(file.setTimes(0, 1, 2)), "!1013", "times of another's file")
            os.chmod("f", 0)
            e = other.file("f").open(READ)
            self.equal((e.code, e.error, e.cause), (1003, 0, errno.EACCES), "no right to read")

    def test_handles_move(self):
        write("f", b"x" * 70001)
        source, target = self.probe.file("f"), self.probe.file("t")
        source.open(READ)
        target.create()
        e = target.copyFrom(source.key, 70002)
        self.equal((e.code, e.path), (1009, "f"), "transfers of too much tell the source")
        target.take(source.key)  # what was open here is closed
        self.equal(read_file("t"), b"x" * 61440)
        self.equal((target.name(), target.tell(), source.isOpen()), ("f", "70001", "0"))
        target.setName("other")
        self.equal((target.name(), target.isOpen()), ("other", "1"))
        target.setName("new")
        target.create(FOLDER)
        self.equal(os.path.isdir("new"), True)
        file = self.probe.file("cancelled")
        file.create()
        file.writeU8(ord("x"))
        file.dropInCancelledThread()
        self.equal(read_file("cancelled"), b"x")

    def test_failed_output_is_taken_back(self):
        """Whoever is told of a failure may try again: nothing is lost and nothing is written twice."""
        everything = "x" * 9000 + "y" * 1800 + "z" * 7000
        file, log = self.probe.file("f"), self.probe.file("log")
        file.create()
        log.open(APPEND)
        self.probe.limit(10000)
        for each in file, log:
            each.write(everything[:9000])
            each.write(everything[9000:10800])
        self.equal(file.flush().cause, errno.EFBIG)
        self.equal(play(file, "tr"), "10800,!1010,")
        self.equal(str(file.write(everything[10800:])), "!1010", "past the stream's buffer")
        self.equal(play(log, "t"), "!1010,", "writes, and cannot take it back")
        self.probe.limit()
        file.write(everything[10800:])
        file.close()
        self.equal(play(log, "wt"), "!1010,!1009,")
        self.equal(str(log.close()), "!1010")
        self.equal(read_file("f"), everything.encode())
        self.equal(os.path.getsize("log"), 10000)

    def test_loss_is_told(self):
        full = self.probe.file("/dev/full")
        full.open(WRITE)
        full.writeU8(0)
        self.equal((full.close().cause, full.isOpen()), (errno.ENOSPC, "0"))
        full.open(WRITE)
        self.equal(play(full, "wfw"), ",!1010,!1010,")
        full.setName("f")
        self.equal(full.create(), "", "drops the other without a word")

    def test_works_on_its_own_descriptor_alone(self):
        file = self.probe.file("f")
        file.create()
        self.equal(self.probe.lock("f"), "0")
        os.rename("f", "moved")
        self.equal(play(file, "wfcf"), ",,,,")
        with open("moved", "r+b") as moved, self.assertRaises(BlockingIOError, msg="the lock is gone"):
            fcntl.lockf(moved, fcntl.LOCK_EX | fcntl.LOCK_NB)
        for number in set(self.probe.descriptors()) - set("012"):
            flags = re.search("flags:\\s*([0-7]+)", read_file(f"/proc/{self.probe.program.pid}/fdinfo/{number}").decode())[1]
            self.equal(int(flags, 8) & os.O_CLOEXEC, os.O_CLOEXEC, number, flags)
        self.equal(read_file("moved"), b"X")
        self.probe.unlock()

    def test_times_in_whole_seconds(self):
        file = self.probe.file("f")
        file.create()
        file.writeU8(ord("x"))  # must not change the time when it is written at last
        file.setTimes(0, -5, -4)
        file.close()
        self.equal(file.getDates().split()[1:], ["-5", "-4"])
        file.setDates(0, -4, 1700000000)
        file.openReadWrite()
        change, *others = file.getTimes().split()
        self.equal(others, ["-4", "1700000000"])
        self.equal(abs(time.time() - int(change)) < 5, True, change)
        file.close()
        os.unlink("f")
        self.equal(str(file.setTimes(0, 0, 0)), "!1001")
        self.equal(file.getTimes().cause, errno.ENOENT)

    def test_contents_are_replaced(self):
        self.start(env=os.environ, umask=0o026).file("f").replaceContents("first", NO_OVERWRITE)
        self.equal(rights_of("f"), 0o640)
        os.chmod("f", 0o604)
        os.symlink("f", "link")
        name = self.probe.file("link").replace(MUST_EXIST)
        fresh = Handle(self.probe, "fresh")
        self.equal((read_file("f"), os.path.dirname(name), os.path.basename(name)[:7]), (b"first", self.top, ".f.new-"))
        self.equal((fresh.name(), rights_of(name)), (name, 0o600))
        fresh.writeU8(ord("2"))
        fresh.setTimes(0, 1000, 2000)
        self.equal(self.probe.ask("return"), "")
        self.equal((os.path.islink("link"), read_file("f"), rights_of("f"), os.stat("f").st_mtime), (True, b"2", 0o604, 2000))
        self.equal(self.probe.file("n" * 255).replaceContents("", 0), "")
        if os.geteuid() == 0:
            os.chown("f", 1234, 4321)
            os.chmod("f", 0o6735)
            os.chmod(".", 0o777)
            self.equal(self.start(user=65534).file("f").replaceContents("new", 0), "")
            self.equal((read_file("f"), rights_of("f")), (b"new", 0o715), "what is lost gives no rights to others")

    def test_failed_replacement_leaves_the_old_contents(self):
        write("f", b"old")
        os.symlink("nowhere", "link")
        for path, mode, code in rows("""
                '' '' 1016   . '' 1016   /dev/null '' 1016   link '' 1001   f/f '' 1002   f n 1029   g e 1001   g n 1029
                f '' 1009   f\0x '' 1016""", 3):
            got = self.probe.file(path).replace(mode_of(mode))
            if isinstance(got, str) and path == "g":  # somebody else is faster
                write("g", b"faster")
                got = self.probe.ask("return")
            elif isinstance(got, str):
                got = self.probe.ask("raise", "seek", "fresh", -1)
            self.equal((got.path, got.code), (path, int(code)), path, mode)
        self.equal(sorted(os.listdir()), ["f", "g", "link"])
        self.equal((read_file("f"), read_file("g")), (b"old", b"faster"))

    # --- Paths, folders and what stands in them

    def test_functions_on_paths(self):
        def normalise(path, home):
            self.probe.unset("HOME") if home == "unset" else self.probe.set("HOME", home)
            return self.probe.normalise(path)

        def split(path, fallback):
            name = self.probe.fileNamePart(path)
            self.equal(self.probe.fileName(path, "with"), name, path)
            return "|".join((name, self.probe.fileName(path), self.probe.extension(path), self.probe.folderPart(path, fallback)))

        def change(path, text):
            return "|".join((self.probe.setExtension(path, text), self.probe.replaceName(path, text, "with"),
                             self.probe.replaceName(path, text)))
        functions = {"normalise": normalise, "split": split, "change": change}
        for name, *words, expected in rows("""
                normalise '' /h +   normalise x/y /h +/x/y   normalise ~ /h /h   normalise ~/x /h/ /h/x   normalise ~u/x /h /h/u/x
                normalise ~/x rel/../h rel/../h/x   normalise ~/x '' +/~/x   normalise ~/x unset +/~/x   normalise /~/./~ /h /~/~
                normalise /a/././b /h /a/./b   normalise /a/./././b/./ /h /a/./b/   normalise /a/b/../c /h /a/c
                normalise /a/b/c/../../d/../e /h /a/e   normalise /a/..//../b /h /b   normalise /a/./../b /h /b
                normalise /a/../../b/../c /h /../b/../c   normalise /../x /h /../x   normalise //a//../b/.. /h //a/b/..
                join a b a/b   join a/ b a/b   join a /b a/b   join a/ /b a/b   join a// //b a///b   join a '' a   join '' b b
                join '' /b /b   join / b /b   join / / /   join '' '' ''
                split /a/c.tar.gz - c.tar.gz|c.tar|gz|/a   split a/b//c/ - |||a/b//c   split x - x|x||-   split / - |||
                split '' - |||-   split /a.b/c - c|c||/a.b   split /a.b/ - |||/a.b   split .bashrc - .bashrc||bashrc|-
                split x. - x.|x||-
                change /a/c.tar.gz z /a/c.tar.z|/a/z|/a/z.gz   change a.b/c .z a.b/c.z|a.b/.z|a.b/.z   change a/ z a/.z|a/z|a/z
                change c.x '' c.||.x   folderOf /x - ''   folderOf /a/b/../c.d - /a   folderOf /a/b/ - /a/b
                parentFolder /a/b/ 0 /a/b/   parentFolder /a/b/ 1 /a   parentFolder /a/b 2 ''   parentFolder /a 1 ''
                parentFolder / 1 ''   parentFolder x 1 ''   parentFolder '' 1 ''   parentFolder a/b//c/ 1 a/b/
                parentFolder a/b//c/ 2 a/b   parentFolder /a/b/c 99 ''
                displayName '' 0 <none>   displayName /a/bcdefgh 9 /.../bcdefgh   displayName //abcdefgh/i 9 /.../i
                displayName /usr/local/share/file 21 /usr/local/share/file   displayName /usr/local/share/file 20 /.../share/file
                displayName /usr/local/share/file 15 /.../share/file   displayName /usr/local/share/file 1 /.../file
                displayName /a/../abcdefgh 3 /abcdefgh""", 4):
            got = functions.get(name, lambda *words: self.probe.ask(name, *words))(*words)
            self.equal(got.replace(self.top, "+"), expected, name, *words)

    def test_variables_in_paths(self):
        for name, value in rows("""
                KEST v   K k   _9z u   HOME /home/u   H h   O bad   NEST ${KEST}   SELF ${SELF}   GROW x${GROW}""", 2):
            self.probe.set(name, value)
        self.probe.set("BIG", "b" * 40000)
        thousand = "$K." * 1000
        for path, expected in rows("""
                $(HOME)/x /home/u/x   ${HOME}/x /home/u/x   $HOME/x hME/x   a$KEST/x avx   $KEST v   $_9z.$K- uk   $/x x   $Kox kx
                $()${}$(UNSET)! !   $(NEST)$(K) vk   ${A)B}$(K}) ''   $$K. K.   $O ''   ${K}${K !1000   $(K} !1000   ${K) !1000
                $(SELF) !1000   $(GROW) !1000   $(BIG)$(BIG) !1000""", 2) + [(thousand, "k" * 1000), (thousand + "$K", "!1000")]:
            self.equal(str(self.probe.expand(path)), expected, path[:20])
        self.equal(self.probe.expand("a$K.$").text, "basic_string::at")
        self.equal(self.probe.expand("none"), "no dollar")

    def test_well_known_folders(self):
        program = os.path.realpath(PROBE)
        self.equal((self.probe.tempFolder(), self.probe.executablePath()), ("/var/tmp/", program))
        self.probe.set("HOME", "x/../y")
        self.equal(self.probe.homeFolder(), "x/../y")
        self.probe.unset("HOME")
        e = self.probe.homeFolder()
        self.equal((e.code, e.path, e.text), (1002, "$TEMP", f"folder not found: {self.top}/$TEMP."))
        path = self.top
        for _ in range(10):
            os.mkdir("d" * 200)
            os.chdir("d" * 200)
            path += "/" + "d" * 200
        deep = self.start()
        self.equal(deep.currentFolder(), path, "of any length")
        os.rmdir(path)
        self.equal((deep.currentFolder(), deep.normalise("x/./y")), ("", "x/y"), "removed")
        for _ in range(2):  # as itself, and in a forked child
            folder, executable, number = self.probe.process().split()
            self.equal((folder, executable), (f"/proc/{number}", program), "process")
            self.probe.fork()

    def test_what_is_there(self):
        os.makedirs("1/f")
        os.mkdir("2")
        write("2/f", b"")
        for target, name in ("2/f", "toFile"), ("1", "toFolder"), ("gone", "dangling"):
            os.symlink(target, name)
        os.mkfifo("fifo")

        def kind(path):
            return self.probe.isFile(path) + self.probe.isFolder(path)
        self.table(kind, 2, """2/f 10   toFile 10   /dev/null 10   1 01   toFolder 01   dangling 00   fifo 00   2/f/ 00   ~ 00
            '' 00   2/f\0 00   1\0 00""")
        self.table(self.probe.findInFolders, 3, """f 1;2 2/f   f 2/;1 2/f   f 1 ''   f '' ''   2/f '' before   2/f 1 before
            2/f 1; 2/f   2/f ;1 2/f   none 1;2 ''""")
        self.table(self.probe.realPath, 2, "toFolder/../1/f/. +/1/f   '' ''   gone !1003   1\0 !1003")
        e = self.probe.realPath("gone")
        self.equal((e.path, e.cause), ("gone", errno.ENOENT))

    def test_texts_of_failures(self):
        folders = "/folder" * 86
        for operation, *words, text in [
                ("fail", 1001, "x", f"file {self.top}/x not found."), ("fail", 1002, "", "folder not found: <none>."),
                ("failWith", 9999, "/p/../%1", "two", 3, "Undocumented/internal (9999, /%1, two, 3)."),
                ("fail", 1010, folders, f"cannot write to file /...{folders[-504:]}."),
                ("failOfSystem", 1010, "/x", errno.ENOMEM, "no more RAM available."),
                ("failOfSystem", 1010, "/x", errno.EEXIST, "file /x already exists."),
                ("fail", 1005, "/x", "file /x cannot be closed."),
                ("failOfSystem", 1010, "/x", errno.ENFILE, "too many opened files.")]:
            self.equal(self.probe.ask(operation, *words).text, text, words)
        e = self.probe.fail(1004, "/x", errno.EPERM)
        self.equal((e.error, e.cause), (errno.EPERM, errno.EPERM))
        e = self.probe.failOfSystem(1010, "/y", errno.EACCES)
        self.equal((e.code, e.path, e.error, e.cause), (1010, "/y", 0, errno.EACCES))

    # --- Operations on names; what is copied, moved and removed stands in tests/differential

    def outcome(self, operation, path, second=""):
        """What an operation answers, "yes" or "no" where that is all, or code, path and error number of its failure."""
        name, _, letters = operation.partition("+")
        mode = mode_of(letters)
        if name == "copyFile":
            got = self.probe.copyFile(path, second)
        else:
            words = {"copyTo": [second, mode], "createFolder": [mode], "removeFolder": [mode]}.get(name, [second])
            got = getattr(self.probe.file(path), name)(*words)
        if isinstance(got, Failure):
            got = f"{got.code}:{got.path}:{got.error}"
        return {"0": "no", "1": "yes", "": "yes"}.get(got, got).replace(self.top, "+")

    def test_outcomes(self):
        write("f", b"1")
        os.mkdir("d")
        self.table(self.outcome, 4, """
            copyTo+ne ~/f d 1029:~/f:0   copyTo+e ~/f ~/n 1002:~/n:0   copyTo f f/x 1004:+/f:17
            copyTo+ne ~/f ~/n/./m +/f   copyTo+e f n/m +/f   copyTo f '' no   copyTo+R n n/m no   copyTo ~/none d no   copyTo d n no
            copyTo+R d . no   copyFile ~/f x no   copyFile '' x no   copyFile f '' no   copyFile f d/$(x)`y"z\ yes
            copyFile d/$(x)`y"z\ -z yes   rename f x/g.h +/g.h   move g.h d/../d/./z +/d/z   move d/z d 1013:d/z:17
            move d/z none/z 1013:d/z:2   move d/z d/z 1013:d/z:17   rename d/z q/ 1013:d/z:17   rename d/z '' 1016::0
            move '' d 1016::0   rename d/z .. +/d/..   remove z '' yes   remove z '' no
            createFolder n/m '' 1004:n/m:17   createFolder a/b '' 1004:a/b:2   createFolder+R -z/x '' 1004:+/-z:17
            createFolder+R a//b/./c/ '' yes   createFolder+R a/b '' yes   removeFolder a/b '' no   removeFolder a/b/c '' yes
            removeFolder -z '' no   remove d '' no   remove a/b '' yes   remove '' '' no   removeFolder '' '' no
            openTemporary none none 1006:none:2   createFolder v '' yes   move v n +/n
            copyFile -z\0 x no   copyFile -z x\0 no   copyTo -z\0 x no   copyTo -z x\0 no   copyTo+R -z\0 x no
            copyTo+R -z x\0 no
            move -z\0 x 1013:-z\0:22   move -z x\0 1013:-z:22   remove a\0 '' no   removeTree a\0 '' no   removeFolder a\0 '' no
            createFolder x\0 '' 1004:x\0:22""")
        self.equal((read_file("n/m/f") + read_file("-z"), os.path.isdir("a"), os.path.exists("x")), (b"11", True, False))

    def test_folders_that_another_makes_meanwhile(self):
        probe = self.start(umask=0o027)
        probe.overtake("yes")
        self.equal(probe.file("p/q").createFolder(RECURSIVE), "")
        self.equal(rights_of("p"), 0o750)

    def test_refused_paths(self):
        os.mkdir("in")
        os.chdir("in")
        self.probe = self.start()
        plain = "*?[]#~-"
        for each in " \t\n|&;<>()$\\`'\"\0" + plain:
            name = f"a{each}b"
            os.makedirs("a/b")
            os.mkdir(name if each != "\0" else "to")
            copied = [self.probe.file("a").copyTo(name, RECURSIVE), self.probe.file(name).copyTo("to/new", RECURSIVE)]
            answers = [*(answer != "0" for answer in copied), os.path.isdir("to/new"),
                       self.probe.file(name).removeFolder(RECURSIVE) == "1", each != "\0" and os.path.isdir(name),
                       self.probe.file(name).removeTree() == "1", os.path.isdir("a/b")]
            expected = "yyyynyy" if each in plain else "nnnnnny" if each == "\0" else "nnnnyyy"
            self.equal("".join("ny"[answer] for answer in answers), expected, repr(name))
            shutil.rmtree("to", ignore_errors=True)
            shutil.rmtree("a")
        os.makedirs("a/b")
        os.symlink("a", "link")
        write("file", b"")

        def removed(path):
            return self.outcome("removeFolder+R", path) + " " + self.outcome("removeTree", path)
        for path, answer in rows("'' no . no .. no a/. no link/ no none/ yes file/x yes file/ yes link yes", 2):
            self.equal(removed(path), f"{answer} {answer}", path)
        self.equal(os.listdir(), ["a"])
        os.chdir("a/b")
        lost = self.start()
        shutil.rmtree(self.top + "/in")  # from here on nobody can tell where it is
        self.equal((lost.file("b").removeTree(), lost.file("b").copyTo(self.top, 0)), ("0", "0"))
        self.equal(str(lost.file("b").createFolder(RECURSIVE)), "!1004")
        self.equal(str(lost.file(self.top).move("b")), "!1013")

    def test_root_folder(self):
        """In a root folder of its own, so that a fault does no harm."""
        if os.geteuid() != 0:
            self.skipTest("only root may change its root folder")
        probe = Probe()
        self.addCleanup(probe.program.communicate)
        self.addCleanup(probe.program.kill)
        os.mkdir("a")
        self.assertEqual(probe.chroot(self.top), "0")
        probe.set("HOME", "/")
        for path in "/", "//", "/a/..", "/a/../", "/..", "/.", "~", "~/", "":
            self.assertEqual((probe.file(path).removeFolder(RECURSIVE), os.path.isdir("a")), ("0", True), path)
        for path in "/x", "/a/../x":
            write("x", b"")
            file = probe.file(path)
            self.equal((file.rename("ignored/y"), file.remove()), ("/y", "1"), path)

    def test_temporary_files(self):
        for folder in self.top, "":
            file = self.probe.file("before")
            self.equal(file.openTemporary(folder), "1")
            name = file.name()
            self.equal((name[:-6], rights_of(name)), ((folder or "/var/tmp") + "/kest", 0o600))
            file.write("text")
            file.rewind()
            self.equal((file.read(9), file.remove()), ("text", "1"))

    def test_hooks_of_a_scan_may_change_the_tree(self):
        """What a scan finds, in which order, and how deep it goes, stands in tests/differential."""
        for name in "a", "b", "c", "outside":
            os.makedirs(name if name == "outside" else "top/" + name)
        for path in "outside/x", "top/b/x", "top/c/x":
            write(path, b"")
        before = self.probe.descriptors()
        found = []
        answer = self.probe.scan("top", "?")
        while answer:
            found.append(answer)
            self.equal(self.probe.descriptors(), before, "open while a hook runs")
            if answer == "top/a":
                os.rmdir("top/a")
            if answer == "top/b":
                shutil.rmtree("top/b")
                os.symlink("../outside", "top/b")
            answer = self.probe.ask("return")
        self.equal(found, ["top/a", "top/b", "top/c", "top/c/x"])
        self.equal((self.probe.scan("top", "?"), str(self.probe.ask("raise", "fail", 2005))), ("top/b", "!2005"))

    # --- Hosts

    def test_texts_of_hosts(self):
        """What the command line's reader and the reader of numbers make of a text."""
        for text, *wanted in [
                ("0x7f.1 x", "00010000", ""), ("255.255.255.255", "FFFFFFFF", "FFFFFFFF"),
                ("localhost.LOCALDOMAIN", "7F000001", ""), ("no-such-host.invalid", "", ""), ("127.0.0.1\0", "7F000001", ""),
                ("1:2:3:4:5:6:7:8:9:a:b:c:d:e:f:10:11:12", "00010002000300040005000600070008", ""),
                ("2001:db8::1", "20010DB8000000010000000000000000", "20010DB8000000000000000000000001"),
                ("12345:-1:0x1f: 7:host:fffff", "2345FFFF001F00070000FFFF00000000", ""),
                ("::ffff:192.0.2.1", "00000000FFFF01920000000000000000", "C0000201")]:
            for reader, number in zip(("Assign", "AssignNumber"), wanted):
                self.equal(self.probe.host(reader, text), self.host(number, text), reader, text)

    @staticmethod
    def host(number, name, answer=None):
        """How the probe shows a host."""
        shown = number and socket.inet_ntop(socket.AF_INET6 if len(number) > 8 else socket.AF_INET, bytes.fromhex(number))
        return f"{int(bool(number)) if answer is None else answer} {number} {shown} {name}"

    def test_hosts_by_name_and_number(self):
        local, mapped = "7F000001", "00000000000000000000FFFF7F000001"
        for name in "localhost", "LOCALHOST.localdomain", "127.0.0.1", "::ffff:127.0.0.1":
            self.equal(self.probe.host("AssignHost", name), self.host(local, name))
            self.equal(self.probe.host("ResolveName"), self.host(local, "localhost"), name)
        for work, text, wanted in [
                ("AssignHost", "no-such-host.invalid", self.host("", "no-such-host.invalid")), ("bytes", local + "00", "1   "),
                ("bytes", mapped, self.host(mapped, "")), ("ResolveName", "", self.host(mapped, "localhost")),
                ("AssignNumber", "192.0.2.77", self.host("C000024D", "192.0.2.77")),
                ("ResolveName", "", self.host("C000024D", "192.0.2.77", 0))]:
            self.equal(self.probe.host(work, text), wanted, work, text)
        own = os.uname().nodename
        self.equal(self.probe.host("AssignLocalHost"), self.host("", own, 1))
        known = [line.split()[0] for line in subprocess.getoutput(f"getent ahosts {own}").splitlines()]
        answer, _, number, name = self.probe.host("ResolveAddress").split(" ")
        self.equal((answer, name, number in (known or [""])), ("01"[bool(known)], own, True))


PROBE = os.path.abspath(sys.argv[1])
for variable in [name for name in os.environ if re.match("LANG|LC_", name)]:
    del os.environ[variable]
os.environ["TZ"] = "UTC"
os.umask(0o022)
unittest.main(argv=sys.argv[:1] + sys.argv[2:])
