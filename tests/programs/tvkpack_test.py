"""tvkpack as a user runs it: command lines, exit statuses, what it says and what is on disk afterwards. That nothing is
lost, whatever happens, is looked for in tests/crash, and that others understand what is packed in tests/differential.

  tvkpack_test.py TVKPACK TVKPACK_HOOKED LOCALES [CASE...]
"""
import fcntl
import os
import pty
import re
import select
import shutil
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest


def prose(size):
    lines, length = [], 0
    while length < size:
        lines.append(b"line %d\n" % (length * length % 4093))
        length += len(lines[-1])
    return b"".join(lines)[:size]


def write(path, contents):
    with open(path, "wb") as file:
        file.write(contents)


def read(path):
    with open(path, "rb") as file:
        return file.read()


def run(program, *arguments, **variables):
    """The exit status, 128 + signal when killed, and what was written: output, errors, as Latin-1."""
    done = subprocess.run([program, *arguments], stdin=subprocess.DEVNULL, capture_output=True, timeout=60,
                          env=os.environ | variables)
    status = done.returncode if done.returncode >= 0 else 128 - done.returncode
    return status, done.stdout.decode("latin-1"), done.stderr.decode("latin-1")


def tvkpack(*arguments, **variables):
    return run(TVKPACK, *arguments, **variables)


def hooked(*arguments, at_fsync=""):
    """The program that runs a command when it forces a file or a folder to disk."""
    return run(HOOKED, *arguments, AT_FSYNC=at_fsync)


def contents_of(folder):
    """Every file of a tree with its contents; links are shown as what they name."""
    found = {}
    for place, folders, files in os.walk(folder):
        for name in folders + files:
            path = os.path.join(place, name)
            if os.path.islink(path):
                found[os.path.relpath(path, folder)] = "-> " + os.readlink(path)
            elif os.path.isfile(path):
                found[os.path.relpath(path, folder)] = read(path)
    return found


def names_of(folder):
    return " ".join(sorted(contents_of(folder)))


class Tvkpack(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.tree, self.outside = (tempfile.mkdtemp() for _ in range(2))
        for folder in self.tree, self.outside:
            self.addCleanup(shutil.rmtree, folder)

    def path(self, name):
        return os.path.join(self.tree, name)

    def fill(self, *names, size=5000):
        for name in names:
            write(self.path(name), prose(size))

    def shell(self, command):
        subprocess.run(command, shell=True, check=True, cwd=self.tree)

    def test_sums_up(self):
        os.makedirs(self.path("sub/deep"))
        for name in "a.txt", "sub/b with blank.log", "sub/deep/c", "sub/.hidden", "-x":
            write(self.path(name), prose(20000) + name.encode())
        original = contents_of(self.tree)
        status, output, _ = tvkpack("-recurse", self.tree)
        self.assertEqual(status, 0)
        self.assertIn("packed   " + self.path("sub/b with blank.log") + "  20020 -> ", output)
        total = output.rpartition(" ")[2]
        self.assertTrue(output.endswith("%\n5 packed, 0 left alone, 0 failed, 100048 -> " + total), output)
        self.assertEqual(names_of(self.tree), "-x.gz a.txt.gz sub/.hidden.gz sub/b with blank.log.gz sub/deep/c.gz")
        output = tvkpack("-test", "-recurse", self.tree)[1]
        self.assertTrue(output.endswith(f"5 tested, 0 left alone, 0 failed, {int(total)} -> 100048\n"), output)
        self.assertIn(" 20005 ", tvkpack("-list", self.tree + ",a*")[1])
        self.assertEqual(tvkpack("-unpack", "-recurse", self.tree)[0], 0)
        self.assertEqual(contents_of(self.tree), original)

    def test_says_why_it_leaves_a_file_alone(self):
        self.fill("linked", "named.gz", "skipped", ".tvkpack-abc")
        write(self.path("empty"), b"")
        write(self.path("tiny"), b"ab")
        write(self.path("magic"), b"\x1F\x8B" + prose(5000))
        self.shell("ln linked linked2; ln -s linked symbolic; mkfifo fifo")
        before = contents_of(self.tree)
        status, output, _ = tvkpack("-skip=6c696E65", self.tree)
        self.assertEqual(status, 0)
        for name, reason in [
                ("empty", "empty"), ("tiny", "would not get smaller"), ("linked", "has more than one link"),
                ("named.gz", "already packed"), ("magic", "already packed"), ("fifo", "not a regular file"),
                ("symbolic", "symbolic link"), ("skipped", "begins with the bytes to skip"),
                (".tvkpack-abc", "left over from an interrupted run")]:
            self.assertIn(f"left     {self.path(name)}  {reason}\n", output)
        self.assertTrue(output.endswith("\n0 packed, 10 left alone, 0 failed, 0 -> 0\n"), output)
        self.assertEqual(contents_of(self.tree), before)
        self.assertIn("skipped  not packed\n", tvkpack("-unpack", self.tree + ",linked2,skipped")[1])
        os.symlink(self.outside, self.path("sub"))
        write(self.outside + "/precious", prose(5000))
        self.assertIn("1 packed, 9 left alone, 1 failed", tvkpack("-recurse", self.tree + ",*,sub/*")[1])
        self.assertEqual(names_of(self.outside), "precious")

    def test_selects_by_name_time_and_size(self):
        self.fill("old.log", "new.log", "new.txt")
        self.fill("big.txt", size=6000)
        self.shell("touch -d '2023-12-31 23:59:59' old.log")
        tree = self.tree
        for arguments, count in [
                (["-before=2024-01-01T00:00:00Z", tree], 1), (["-before:2023Dec31,23:59:59UTC", tree], 0),
                (["-after=2023Dec31,23:59:59UTC", tree], 4), (["-after=2024-01-01", tree], 3),
                (["-larger=0x1387", "-smaller=5001", tree], 3), (["-larger=5000", tree], 1),
                ([tree + ",*.log,new*"], 3), ([f'"{tree}"', tree + "/."], 4), ([f'"{tree}","n*"'], 2),
                ([f'"{tree},o*,n*"'], 3), ([self.path("big.txt")], 1)]:
            self.assertIn(f"{count} packed, ", hooked("-keep", "-overwrite", *arguments)[1], arguments)
        odd = self.path("c,*.log")
        write(odd, prose(5000))
        output = hooked(odd)[1]
        self.assertTrue(output.startswith(f"packed   {odd}  5000"), output)
        os.truncate(self.path("big.txt"), 1 << 32)
        self.assertIn("  too large for one block\n", hooked(self.path("big.txt"))[1])

    def test_errors_and_exit_statuses(self):
        self.fill("a", "b")
        write(self.path("a.gz"), b"in the way")
        write(self.path("broken.gz"), b"\x1F\x8B no block")
        write(self.path("none.gz"), b"")
        self.shell("for n in 1 2; do gzip <b; done >two.gz")
        no_block = "TP1901 - file is not one whole gzip block: "
        for arguments, wanted, text in [
                ("-xyz", 3, "tvkpack, -xyz: error TP2001 - invalid option.\n"),
                ("/no/such", 3, "tvkpack: fatal error TP1002 - folder not found: /no/such.\n"),
                ("/no/such,*.log", 3, "tvkpack: fatal error TP1002 - folder not found: /no/such.\n"),
                (None, 3, "tvkpack: error TP2024 - missing specification.\n"),
                ("", 3, "tvkpack: error TP2024 - missing specification.\n"),
                ("-jobs=65 x", 3, "tvkpack, -jobs=65: error TP2005 - value 65 out of range.\n"),
                ("-larger=-1 x", 3, "tvkpack, -larger=-1: error TP2005 - value -1 out of range.\n"),
                ("-skip=123 x", 3, "tvkpack, -skip=123: error TP2005 - value 123 out of range.\n"),
                ("-before=2024-02-30 x", 3, "tvkpack, -before=2024-02-30: fatal error TP1313 - Invalid date/time: 2024-02-30.\n"),
                ("-pack -list x", 3, "tvkpack, -list: error TP2026 - multiple specification: -list.\n"),
                ("-p x", 3, "tvkpack: error TP2025 - specification is ambiguous: -p (-pack, -page).\n"),
                ("--recurs -jobs=3x x", 3, "tvkpack, -jobs=3x: error TP2002 - bad argument in option.\n"),
                ("-test -keep x", 3, "tvkpack: error TP2027 - invalid option for test mode.\n"),
                ("-log -ask x", 3, "tvkpack: error TP2027 - invalid option for log mode.\n"),
                ("-log -page x", 3, "tvkpack: error TP2027 - invalid option for log mode.\n"),
                ("$/a", 4, "tvkpack: fatal error TP1029 - file $/a.gz already exists.\n"),
                ("-test $/broken.gz", 4, f"tvkpack: fatal error {no_block}$/broken.gz.\n"),
                ("-unpack $/two.gz", 4, no_block),
                ("-test $/none.gz", 4, "TP1034 - file has bad header: "),
                ("-list $/a.gz", 4, "tvkpack: fatal error TP1034 - file has bad header: $/a.gz.\n")]:
            words = [] if arguments is None else arguments.replace("$", self.tree).split(" ")
            status, output, errors = hooked(*words)
            self.assertEqual(status, wanted, words)
            self.assertIn(text.replace("$", self.tree), output + errors)
        self.assertEqual(read(self.path("a.gz")), b"in the way")
        status, output, _ = hooked(self.tree)
        self.assertEqual(status, 4, "one fails, the others go on")
        self.assertIn("1 packed, 4 left alone, 1 failed", output)
        self.assertEqual(hooked("-overwrite", "-quiet", self.path("a"))[1], "")
        self.assertEqual(names_of(self.tree), "a.gz b.gz broken.gz none.gz two.gz")

    def test_a_folder_that_cannot_be_read_is_told(self):
        """Also where it was seen before, as an entry of another folder."""
        os.mkdir(self.path("closed"), 0)
        for arguments in (["-recurse", self.tree], [self.tree, self.path("closed")], [self.path("closed")] * 2):
            status, output, _ = run(*UNPRIVILEGED, HOOKED, *arguments)
            self.assertEqual(status, 4, arguments)
            self.assertIn(", 1 failed", output)

    def test_help_fits_the_screen(self):
        for language in "C", "de_DE.ISO-8859-15", "fr_FR.ISO-8859-15", "es_ES.ISO-8859-15":
            status, output, _ = tvkpack("-help", LANG=language)
            self.assertEqual(status, 0)
            lines = output.split("\n")
            self.assertGreater(len(lines), 31)
            self.assertLess(max(map(len, lines)), 80)
        child, terminal = pty.fork()
        if child == 0:
            fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("4H", 999, 40, 0, 0))
            os.execv(TVKPACK, ["tvkpack", "-help"])
        lines = read_until(terminal, None).split("\r\n")
        self.assertIn("  -quiet      report errors only", lines)
        self.assertLess(max(map(len, lines)), 40)
        self.assertEqual(os.waitpid(child, 0)[1], 0)
        self.assertRegex(tvkpack("-version")[1], r"^tvkpack [0-9]+\.[0-9]+\.[0-9]+\n\Z")

    def test_completes_its_options(self):
        for line, wanted in ("tvkpack -l", "-list \n-larger=\n-log \n"), ("tvkpack --SK", "--skip=\n"), \
                ("tvkpack -x", ""), ("tvkpack -pack a", ""), ("tvkpack -jobs  -l", ""), ("tvkpack -- -l", ""):
            output = tvkpack("--tvk-complete", "tvkpack", COMP_LINE=line + "rest", COMP_POINT=str(len(line)))[1]
            self.assertEqual(output, wanted)

    def test_asks_in_the_language_of_the_user(self):
        for language, keys, text in [("de_DE", b"j\nb", "1 gepackt, 1 belassen"),
                                     ("fr_FR", b"o\nq", "compressés\u00A0: 1, ignorés\u00A0: 1"),
                                     ("es_ES", b"s\nc", "comprimidos: 1, omitidos: 1")]:
            self.fill("a", "b")
            done = subprocess.run([TVKPACK, "-ask", "-overwrite", self.tree + ",?"], input=keys, capture_output=True,
                                  env=os.environ | {"LANG": language + ".UTF-8"})
            self.assertIn(text.encode(), done.stdout)

    def test_the_order_does_not_depend_on_the_jobs(self):
        for n in range(30):
            self.fill(str(n), size=200000 if n % 7 == 0 else 500)
        outputs = [hooked(f"-jobs={jobs}", "-keep", "-overwrite", self.tree + ",?,??")[1] for jobs in (1, 8)]
        self.assertIn("\n30 packed", outputs[0])
        self.assertEqual(*outputs)

    def test_whatever_happens_meanwhile_nothing_is_lost(self):
        """Each command runs with $T, the tree, and $O, a folder outside, when NAME.gz is written but not in its place
        yet, and once more when it is there and NAME not gone."""
        changed, later = "f  changed meanwhile\n", "! test -e $T/f.gz || "
        os.environ.update(T=self.tree, O=self.outside)
        for command, option, wanted, text, names in [
                ("echo more >>$T/f", "", 0, changed, "f sub/g"),
                ("rm $T/f; ln -s $O/f $T/f", "", 0, changed, "f sub/g"),
                ("rm $T/f", "", 0, changed, "sub/g"),
                (later + "echo more >>$T/f", "", 0, changed, "f sub/g"),
                (later + "rm $T/f", "-overwrite", 0, changed, "f.gz sub/g"),
                ("echo other >$T/f.gz", "", 4, "TP1029 - file ", "f f.gz sub/g"),
                ("echo other >$T/f.gz", "-overwrite", 0, "1 packed, ", "f.gz sub/g"),
                ("exit 28", "", 4, "TP1011 - ", "f sub/g"),
                ("exit 24", "", 4, "/f: fatal error TP1012 - too many opened files.", "f sub/g"),
                ("exit 5", "", 4, "TP1010 - cannot write to file ", "f sub/g"),
                ("kill -TERM $PPID", "", 143, "interrupted; ", "f sub/g"),
                ("kill -XCPU $PPID", "-unpack", 152, "interrupted; ", "f.gz sub/g")]:
            with self.subTest(command, option=option):
                for folder in self.tree, self.outside:
                    shutil.rmtree(folder)
                    os.mkdir(folder)
                os.mkdir(self.path("sub"))
                self.fill("f", "sub/g", self.outside + "/f", self.outside + "/g")
                if option == "-unpack":
                    self.shell("gzip f")
                status, output, _ = hooked("-jobs=1", *option.split(), self.tree, at_fsync=command)
                self.assertEqual(status, wanted)
                self.assertIn(text, output)
                self.assertEqual(names_of(self.tree), names)
                self.assertEqual(names_of(self.outside), "f g")
                if os.path.exists(self.path("f")):
                    self.assertTrue(read(self.path("f")).startswith(prose(5000)))

    def test_many_at_once_interrupted(self):
        os.environ["T"] = self.tree
        self.fill(*map(str, range(10, 50)), size=20000)
        command = "! test -e $T/20.gz || kill -TERM $PPID"
        self.assertEqual(hooked("-jobs=4", self.tree, at_fsync=command)[0], 143)
        left = names_of(self.tree).split()
        self.assertEqual(sorted(name[:2] for name in left), [str(n) for n in range(10, 50)], left)
        self.assertIn(sum(name.endswith(".gz") for name in left), range(5, 40))
        self.assertEqual(hooked(self.tree)[0], 0)
        self.assertIn("40 tested, 0 left alone, 0 failed", hooked("-test", self.tree)[1])

    def test_asks_and_pauses_at_a_terminal(self):
        self.fill(*map(str, range(10, 45)), size=500)
        for option, prompt, keys, text in [
                ("-ask", f"Pack {self.path('10')}? (ynaq)", "y\nxNa", "34 packed, 1 left alone, 0 failed"),
                ("-ask", "? (ynaq)", "yq", "1 packed, 1 left alone, 0 failed"),
                ("-page", "[Press any key to continue]", " ", "35 packed, 0 left alone")]:
            with self.subTest(option, keys=keys):
                child, terminal = pty.fork()
                if child == 0:
                    fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("4H", 30, 100, 0, 0))
                    os.execv(HOOKED, ["tvkpack", option, "-keep", "-jobs=4", "-overwrite", self.tree + ",??"])
                shown = read_until(terminal, prompt)
                self.assertTrue(shown.endswith(prompt), shown)
                self.assertEqual(shown.count("\n"), 29 if option == "-page" else 0)
                end = time.monotonic() + 10
                while termios.tcgetattr(terminal)[3] & termios.ICANON and time.monotonic() < end:
                    time.sleep(0.001)
                os.write(terminal, keys.encode())
                self.assertIn(text, read_until(terminal, text))
                read_until(terminal, None)
                os.close(terminal)
                self.assertEqual(os.waitpid(child, 0)[1], 0)


def read_until(terminal, text):
    """What a terminal shows up to a text, or up to the end."""
    shown = ""
    while text is None or text not in shown:
        if not select.select([terminal], [], [], 10)[0]:
            break
        try:
            shown += os.read(terminal, 1).decode("latin-1")
        except OSError:  # nobody is left at the other end
            break
    return shown


UNPRIVILEGED = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"] if os.geteuid() == 0 else []
TVKPACK, HOOKED, locales = map(os.path.abspath, sys.argv[1:4])
for name in [name for name in os.environ if re.match("LANG|LC_|DISPLAY$", name)]:
    del os.environ[name]
os.environ.update(LOCPATH=locales, TZ="UTC")
unittest.main(argv=sys.argv[:1] + sys.argv[4:])
