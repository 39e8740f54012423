"""Files and trees copied, moved and removed as cp, mv and rm do it: the same answer, and the same tree afterwards. Then
moves to another device, which cp -a could have made, and work without rights. The arguments are the programs probe and fault_shim."""
import array
import fcntl
import os
import subprocess
import sys
import tempfile
import termios
import time

from probe import compare, finish

# Folders "a" and "e" (empty), files "f" and "hard" (the same), "lk", "dir", links to them, to nowhere and to themselves;
# and target folders "t", "u" and "n" that have some of the names already.
TREE = r"""
  mkdir -p a/s/e t/s/x e n/a/x u/a t/dir
  echo 1 >f; echo 2 >a/g; echo lk >lk; echo d >dir; echo t >t/f; echo k >t/k; echo o >t/other; echo old >u/a/g
  chmod 6751 a/g; chmod 4640 t/f; chmod 600 u/a/g; ln a/g a/s/h; ln f hard; mkfifo -m 640 a/p; chmod 1750 a/s
  ln -s ../f a/l; ln -s gone a/gone; ln -s f l; ln -s a ld; ln -s gone gone; ln -s loop loop; chmod 500 a/s/e
  ln -s k t/lk; ln -s s t/ls; ln -s gone t/gone; ln -s f t/l; ln -s hard t/hard; touch -hd 2000-01-01 l a/s a/g f
"""


def shell(script):
    return subprocess.run(script, shell=True, check=True, stdout=subprocess.PIPE).stdout.decode()


def succeeds(*command, **variables):
    return subprocess.run(command, stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          env=os.environ | variables).returncode == 0


def listing(folder, more=""):
    """All about a tree: names, kinds, rights, links, contents, and what else find is told to print."""
    return shell(f"cd {folder}; find . -printf '%P %M %n %l {more}\\n' | sort; find . -type f | sort | xargs cat").split("\n")


def cases():
    """An operation of the probe, the command that does the same, and their paths."""
    for source in "f l gone a hard loop none dir lk a/ ld a/s/..".split():
        for target in "t n/ u".split():
            yield "copyTo", "cp -f", source, target
            yield "copy", "cp -rf", source, target
            yield "move", "mv", source, target
    for source in "f l gone a hard loop none".split():
        for target in "new new/ t/ls hard t/lk gone loop none/x a/s".split():
            yield "copyFile", "cp", source, target
            yield "move", "mv", source, target
        yield "remove", "rm -rf", source


def as_the_commands():
    todo = list(cases())
    shell("mkdir 0; cd 0" + TREE + f"cd ..; mkdir 1 2; for n in $(seq {len(todo)}); do cp -a 0 1/$n; cp -a 0 2/$n; done")
    for number, (operation, command, *paths) in enumerate(todo, 1):
        expected = succeeds(*command.split(), *(f"1/{number}/{path}" for path in paths))
        got = succeeds(PROBE, operation, *(f"2/{number}/{path}" for path in paths))
        compare((number, operation, *paths), got, expected)
    compare("the trees", listing("2"), listing("1"))


def across_devices():
    def move(source, target):
        """As if these lay on two devices."""
        return succeeds(PROBE, "move", source, target, LD_PRELOAD=SHIM, TVK_FAULT="rename*:1+:EXDEV",
                        ASAN_OPTIONS="detect_leaks=0:verify_asan_link_order=0")
    everything = "%U %G %b %T@"
    shell(TREE + "rm a/p; chmod 2711 a; touch -d 2000-01-01 a; truncate -s 1M a/s/h")
    if os.geteuid() == 0:
        os.lchown("a/l", 1, 2)
    try:
        os.setxattr("a/g", "user.kest", b"v")
        has_attribute = True
    except OSError:
        has_attribute = False
    before = listing("a", everything)
    compare("move a e", move("a", "e"), True)  # into the folder
    compare("all of a", listing("e/a", everything), before)
    compare("the attribute", has_attribute and os.getxattr("e/a/s/h", "user.kest"), has_attribute and b"v")
    # Source, target, and where it comes to lie; the source stays when it cannot.
    for source, target, place in [
            ("t/f", "lk", "lk"), ("t/lk", "gone", "gone"), ("u", "n", "n/u"), ("dir", "n", "n/dir"), ("n/a", "n/u", None),
            ("n/u", "lk", None), ("hard", "t/x/y", None), ("hard", "f", None), ("l", "f", None), ("n/u/.", "new", None),
            ("t", "t/s", None)]:
        compare(("move", source, target), move(source, target), bool(place))
        compare(("moved", source), (os.path.lexists(source), os.path.lexists(place or source)), (not place, True))
    compare("new", os.path.lexists("new"), False)


def without_rights():
    """As a user who may not do everything: the rest is done."""
    shell("""mkdir -p a/closed a/full w; echo 1 >a/f; echo 2 >a/secret; echo 3 >a/full/x; echo old >w/f
             chmod 400 w/f; chmod 555 a/full; chmod 000 a/secret a/closed""")
    user = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"] if os.geteuid() == 0 else []

    def done(*command):
        result = subprocess.run([*user, PROBE, *command], stderr=subprocess.PIPE)
        return result.returncode, result.stderr.endswith(b"Permission denied")
    compare("copyFile", done("copyFile", "a/f", "w/f"), (1, True))
    compare("copyTo", (done("copyTo", "a/f", "w"), shell("cat w/f")), ((0, False), "1\n"))  # removed and made anew
    compare("copy", done("copy", "a", "w"), (1, True))
    compare("copied", [os.path.exists("w/a/" + name) for name in ("f", "full/x", "secret")], [True, True, False])
    shell("ln -s a/closed/x way; echo 4 >b")
    compare("a link that nobody may look behind", (done("move", "b", "way"), os.path.islink("way")), ((0, False), False))
    compare("remove", done("remove", "a")[0], 1)
    compare("removed", [os.path.exists("a/" + name) for name in ("full/x", "f", "closed")], [True, False, False])


def to_who_reads_later():
    """What lies in the way of a copy may be a FIFO: its reader is waited for."""
    shell("mkdir t; mkfifo t/f; seq 50000 >f")
    with open(os.open("t/f", os.O_RDONLY | os.O_NONBLOCK), "rb") as reader:
        os.set_blocking(reader.fileno(), True)
        with subprocess.Popen([PROBE, "copyTo", "f", "t"]) as copy:
            waiting, end = array.array("i", [0]), time.monotonic() + 20
            while waiting[0] < fcntl.fcntl(reader, fcntl.F_GETPIPE_SZ) and time.monotonic() < end:  # until it is full
                time.sleep(0.001)
                fcntl.ioctl(reader, termios.FIONREAD, waiting)
            compare("what comes out", reader.read().decode(), shell("cat f"))
        compare("copyTo FIFO", copy.returncode, 0)


PROBE, SHIM = map(os.path.abspath, sys.argv[1:3])
os.umask(0o022)
for work in as_the_commands, across_devices, without_rights, to_who_reads_later:
    with tempfile.TemporaryDirectory(dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None) as top:
        os.chdir(top)
        work()
        shell("chmod -R u+rwx .")
        os.chdir("/")
finish(250)
