#!/usr/bin/env python3
"""tvkpack on real file systems that are full: every file stays whole, the exit status and the text tell of it, nothing is
left over, and with room again a second run completes the work. Needs the right to mount, as root or in namespaces of
its own; ends with status 77 where there is neither.

  full_disk.py tvkpack=PATH     some sizes; with TVK_LONG=1 every size, block by block
"""
import os

from support import *


def may_mount():
    with work_folder() as folder:
        return run("mount", "-t", "tmpfs", "none", folder)[0] == 0 and run("umount", folder)[0] == 0


def fill_up(name, options, source):
    expected = plain_state(state(source))
    full = kept = 0
    disk = folder + b"/disk"
    for blocks in range(0, 100, 1 if programs.whole else 5):
        with small_disk(disk, 2048):
            tree = disk + b"/tree"
            run("cp", "-a", source, tree)
            room = os.statvfs(disk)
            with open(disk + b"/ballast", "wb") as ballast:
                os.posix_fallocate(ballast.fileno(), 0, (room.f_bavail - blocks) * room.f_bsize)
            status, output, errors = run(programs.tvkpack, "-recurse", *options, tree)
            where = f"{name} with {blocks} blocks free:"
            check_whole(expected, state(tree), where, both=False)
            require(not leftovers(state(tree)), where, "leftovers")
            require(status == (4 if b"TP1011" in output + errors else 0), where, "status", status, errors)
            full += status == 4
            kept += status == 0
            os.unlink(disk + b"/ballast")
            status, output, errors = run(programs.tvkpack, "-recurse", *options, tree)
            require(status == 0 and b" 0 failed" in output, where, "second run", status, errors)
            check_whole(expected, state(tree), where, both=False)
        if status == 0 and kept > 3:
            break
    require(full > 0 and kept > 0, name, "disks full and not:", full, kept)
    print(f"{name}: {full} disks that were full, {kept} that were not", flush=True)


programs = arguments(__doc__)
if not may_mount():
    if os.environ.get("TVK_IN_NAMESPACE") or run("unshare", "-rm", "true")[0] != 0:
        print("SKIPPED: no right to mount a file system")
        sys.exit(77)
    os.environ["TVK_IN_NAMESPACE"] = "1"
    os.execvp("unshare", ["unshare", "-rm", sys.executable, *sys.argv])
with work_folder() as folder:
    original, packed = folder + b"/original", folder + b"/packed"
    os.makedirs(original + b"/sub")
    for n in range(4):
        write(original + b"/%d" % n, prose(3000 + 30000 * n), 0o640, 0)
        write(original + b"/sub/%d" % n, prose(5000))
    copy_tree(original, packed)
    require(run(programs.tvkpack, "-recurse", packed)[0] == 0, "packing")
    fill_up("pack", ["-pack", "-jobs=1"], original)
    fill_up("pack with 4 jobs", ["-pack", "-jobs=4"], original)
    fill_up("unpack", ["-unpack", "-jobs=1"], packed)
