"""Scans of a tree with hostile names against the C library's glob, the shell's pattern expansion and find.

The second argument is the folder with the locales of the tests. Root gives up the right to pass over the modes of
files, which makes unreadable folders.
"""
import ctypes
import errno
import functools
import itertools
import locale
import os
import resource
import socket
import subprocess
import sys
import tempfile

from probe import LONG, ask, compare, finish, sample

NAMES = rb"""a b aa ab A .h ..x ... * ? [ ] \ - -- -rf ~ { {a,b} [b] [!a] [^a] []a] [a-c] *a \* \\ a\ $HOME `id` $(id) ; &
| ! # a.b n* long.name.1 long.name.2""".split() + [
    bytes([c]) for c in range(1, 256) if c not in b"./"] + [
    b" a", b"a ", b" .", b"a\n", b"a\nb", "é".encode(), "ÿz".encode(), b"x\xFFy", b"\xC3", b"\xED\xA0\x80",
    b"n" * 255, b"." + b"n" * 254, b"\xFF" * 255]
PATTERNS = rb"""* .* ? ?? ??? [a-b] [!a]* [^a]* [^.] [[:alpha:]] [[:space:]]* [.]* \* \a \[ \\ \] [ [] ] [] [a [a- *b ** a* *a*
*.* [b] [[]b] [][]* [!]]* [a-]* [z-a] [[.a.]] [[=a=]] -* -- \- .h ..x a none link loop link/* dots/* in/* in */ .*/ */*
.*/* ./* ../* /* / . .. a//b in//* ~ {a,b} [\]] [\\]* \[b] n* [b]/* [[]b]/* \\/* [b/?""".split() + [
    b"", b" *", b"* ", "é*".encode(), b"*\n*", b"\xFF*", b"?\xFF?", b"[\xFF]", b"[\x80-\xFE]", b"[\x01-\x1F]",
    b"[! -~]", b"n" * 255, b"n" * 256, b"in/../" * 9 + b"*"]
FOLDERS = [b"in", b"in/in", b"[b", b"\\\\", b"n" * 255, b"-rf", b" ", b"\n", b"\xFF", b".hidden", b"closed", b"readable",
           b"searchable"]
MODES = {b"closed": 0, b"readable": 0o444, b"searchable": 0o111}
LOCALES = ["C", "C.UTF-8", "de_DE.UTF-8", "ja_JP.EUC-JP"]
LINKS = {b"link": b".", b"dots": b"..", b"loop": b"loop", b"there": b"back", b"back": b"there", b"gone": b"nowhere",
         b"file": b"a", b"outside": b"/usr/share", b".link": b"in"}


def fill(folder):
    """Files of every name, links that lead nowhere, round in circles or out, a FIFO and a socket."""
    before = os.open(".", os.O_RDONLY)
    os.chdir(folder)
    for name in NAMES:
        if not os.path.isdir(name):
            os.close(os.open(name, os.O_CREAT, 0o600))
    for name, target in LINKS.items():
        os.symlink(target, name)
    os.mkfifo("fifo")
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind("socket")
    os.fchdir(before)
    os.close(before)


def join(folder, name):
    if not folder or not name:
        return folder or name
    return folder.removesuffix(b"/") + b"/" + name.removeprefix(b"/")


class Glob(ctypes.Structure):
    _fields_ = [("count", ctypes.c_size_t), ("paths", ctypes.POINTER(ctypes.c_char_p)), ("rest", ctypes.c_byte * 200)]


libc = ctypes.CDLL(None)


def settled(lines):
    """Names that the locale does not tell apart, such as invalid ones, in one order."""
    def name(line):
        return functools.cmp_to_key(libc.strcoll)(line.partition(b" ")[2])
    lines = list(lines)
    names = [path for _, run in itertools.groupby(lines, name) for path in sorted(line.partition(b" ")[2] for line in run)]
    return [line.partition(b" ")[0] + b" " + path for line, path in zip(lines, names)]


def by_glob(folder, pattern):
    found = Glob()
    escaped = b"".join(b"\\" + bytes([c]) if c in b"*?[]\\" else bytes([c]) for c in folder)
    libc.glob(join(escaped, pattern), 0, None, ctypes.byref(found))
    paths = [found.paths[i] for i in range(found.count)]
    libc.globfree(ctypes.byref(found))
    return [path for path in paths if path.rstrip(b"/").rpartition(b"/")[2] not in (b".", b"..")]


def sub_folders(folder):
    try:
        entries = list(os.scandir(folder)) if folder else []
    except OSError:
        return []
    folders = [entry.name for entry in entries if entry.is_dir(follow_symlinks=False)]
    return [name for name in folders if os.path.lexists(join(folder, name))]  # not below one that cannot be searched


def events(folder, patterns, mode):
    """What a scan reports: a folder, its matches, then its sub-folders in the order of the system."""
    matches = [path for pattern in patterns for path in by_glob(folder, pattern)]
    yield b"+%d " % len(matches) + folder
    yield from (b"%d " % number + path for number, path in enumerate(matches, 1))
    if mode != b"a":
        yield b"- " + folder
    for name in sub_folders(folder) if mode != b"-" else []:
        yield from events(join(folder, name), patterns, mode)
    if mode == b"a":
        yield b"- " + folder


def scan(questions):
    """What the library reports for each folder, patterns and mode (see Probe.cpp)."""
    answers = ask([b"s%s\0%s\0" % (mode, folder) + b"".join(pattern + b"\0" for pattern in patterns)
                   for folder, patterns, mode in questions])
    return zip(questions, [answer.removeprefix(b"=").split(b"\0")[:-1] for answer in answers])


def entries(report):
    return [line.partition(b" ")[2] for line in report if line[:1].isdigit()]


def against_glob(folders):
    pairs = [(PATTERNS[i], PATTERNS[i // 2]) for i in range(len(PATTERNS))]
    for question, got in scan([(folder, pair, b"--ra"[i % 4:][:1]) for folder in folders for i, pair in enumerate(pairs)]):
        compare(question, settled(got), settled(events(*question)))


def against_shell(folders):
    """Where the shell expands at all: not what holds nothing but escapes. It leaves out "..", and what begins with "/" is
    not below the folder for it."""
    patterns = [p for p in PATTERNS if set(p) & set(b"*?[") and not p.startswith((b"/", b".*/", b"\\"))]
    script = ('shopt -s nullglob; IFS=; patterns=("${@:2:$1}"); top=$PWD; for folder in "${@:$1+2}"; do cd -- "$folder"\n'
              'for p in "${patterns[@]}"; do found=($p); ((${#found[@]})) && printf "%s\\0" "${found[@]}"; printf "\\0"\n'
              'done; cd -- "$top"; done')
    out = subprocess.run(["bash", "-c", script, "bash", str(len(patterns)), *patterns, *folders], check=True,
                         stdout=subprocess.PIPE).stdout
    words = iter(out.split(b"\0"))
    for (folder, (pattern,), _), got in scan([(folder, (p,), b"-") for folder in folders for p in patterns]):
        expected = [join(folder, word) for word in itertools.takewhile(bool, words)]
        compare((folder, pattern, "shell"), entries(got), [e for e in expected if os.path.lexists(e)])


def against_find():
    def find(*tests):
        return sorted(subprocess.run(["find", ".", "-mindepth", "1", *tests, "-print0"], check=True,
                                     stdout=subprocess.PIPE).stdout.split(b"\0")[:-1])
    patterns = [p for p in PATTERNS if p and b"/" not in p and p not in (b".", b"..")]
    folders = find("-type", "d")
    for (_, names, _), got in scan([(b".", (b"*", b".*"), b"r"), *((b".", (p,), b"a") for p in sample(patterns, 7))]):
        tests = [] if len(names) > 1 else ["-name", names[0]]
        if len(names) == 1 and not names[0].startswith(b"."):
            tests += ["!", "-name", ".*"]  # a leading dot is matched by a dot alone
        compare((names, "find"), sorted(entries(got)), find(*tests))
        compare((names, "folders"), sorted(line[2:] for line in got if line.startswith(b"- ./")), folders)


def errors():
    """A folder that cannot be read is told; what a pattern may not look into is no match, as for glob."""
    cases = [
        (b".", b"closed/*", 0), (b".", b"*/a", 0), (b".", b"searchable/[a]", 0), (b".", b"closed/a", 0), (b".", b"none", 0),
        (b".", b"n" * 256, 0), (b"closed", b"*", errno.EACCES), (b"searchable", b"*", errno.EACCES), (b"searchable", b"a", 0),
        (b"readable", b"a", errno.EACCES), (b"none", b"*", errno.ENOENT), (b"a", b"*", errno.ENOTDIR),
        (b"loop", b"*", errno.ELOOP)]
    for case, got in zip(cases, ask([b"se\0%s\0%s\0" % case[:2] for case in cases])):
        compare((*case[:2], "error"), got, b"=%d" % case[2])


def deep_on_a_small_stack():
    """Folders and patterns of any depth take no stack."""
    path = b"deep" + b"/d" * 900
    os.makedirs(path)
    limits = resource.getrlimit(resource.RLIMIT_STACK)
    resource.setrlimit(resource.RLIMIT_STACK, (320 << 10, limits[1]))
    [(_, got)] = scan([(b"deep", (b"d",), b"r")])
    compare("deep", sorted(entries(got)), [path[:4 + 2 * level] for level in range(1, 901)])
    compare("greedy", ask([b"s-\0deep\0%s\0" % (b"*/" * 5000)])[0][:5], b"!1014")
    resource.setrlimit(resource.RLIMIT_STACK, limits)


def main():
    for folder in FOLDERS:
        os.makedirs(folder)
    for folder in [b".", *FOLDERS]:
        fill(folder)
    for c in set(range(1, 256)) - {ord("/")}:  # a folder with each byte in its name
        os.makedirs(b"all/d" + bytes([c]))
        os.symlink(b"..", b"all/d" + bytes([c]) + b"/x")
    readable = [b".", *(folder for folder in FOLDERS if folder not in MODES)]
    os.environ["LC_ALL"] = "C"
    locale.setlocale(locale.LC_ALL, "C")
    against_shell(sample(readable, 4))
    against_find()
    for folder, mode in MODES.items():
        os.chmod(folder, mode)
    errors()
    places = [b"", b"in", b"closed", b"searchable", b"readable", b"all", b".", b"link", b"./in//", *readable[2:], b"../tree", b"none", b"a"]
    for number, name in enumerate(LOCALES):
        os.environ["LC_ALL"] = name
        locale.setlocale(locale.LC_ALL, name)
        against_glob(places if LONG else [places[number], b"[b"])
    for folder in MODES:
        os.chmod(folder, 0o700)
    deep_on_a_small_stack()
    finish(500)


if os.geteuid() == 0 and "unprivileged" not in sys.argv:
    os.execvp("setpriv", ["setpriv", "--bounding-set=-dac_override,-dac_read_search", sys.executable, "-B", *sys.argv,
                          "unprivileged"])
os.environ["LOCPATH"] = os.path.abspath(sys.argv[2])
sys.argv[1] = os.path.abspath(sys.argv[1])
with tempfile.TemporaryDirectory() as top:
    os.mkdir(top + "/tree")  # what is above it does not change either
    os.chdir(top + "/tree")
    main()
