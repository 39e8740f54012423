#!/usr/bin/env python3
"""Kills tvkpack at its system calls, one run for each call of all its threads together, and looks at what is left:
every file whole in one form or in both, and a second run that completes the work.

  kills.py tvkpack=PATH at_call=PATH fault_shim=PATH     a sample of the calls; with TVK_LONG=1 every call
"""
import os
import time

from support import *

# What is killed, its options, how the tree has been prepared - by runs with these options -, and a call that fails.
MODES = [
    ("pack", ["-pack", "-jobs=1"], []),
    ("pack with 4 jobs", ["-pack", "-jobs=4"], []),
    ("unpack", ["-unpack", "-jobs=1"], [["-pack"]]),
    ("unpack with 4 jobs", ["-unpack", "-jobs=4"], [["-pack"]]),
    ("pack over packed files", ["-pack", "-jobs=1", "-overwrite"], [["-pack", "-keep"]]),
    ("unpack over files", ["-unpack", "-jobs=1", "-overwrite"], [["-pack", "-keep"]]),
    ("pack where a rename may always replace", ["-pack", "-jobs=1"], [], "renameat2:1+:EINVAL"),
]


def killed(options, call, tree, fault):
    """Runs tvkpack up to a system call, without end for 0; its status and the calls counted."""
    status, _, _ = run(programs.at_call, "kill", str(call), folder + b"/count", programs.tvkpack, "-recurse", *options, tree,
                       env={"LD_PRELOAD": programs.fault_shim, "TVK_FAULT": fault} if fault else {})
    return status, int(contents_of(folder + b"/count"))


def pack(*options):
    return run(programs.tvkpack, "-recurse", *options, tree)


def kill_everywhere(name, options, preparations, fault=None):
    copy_tree(original, start)
    for preparation in preparations:
        require(run(programs.tvkpack, "-recurse", *preparation, start)[0] == 0, name, "prepare")
    expected = plain_state(state(original))
    copy_tree(start, tree)
    status, calls = killed(options, 0, tree, fault)
    require(status == 0, name, "status", status)
    final = state(tree)
    require(check_whole(expected, final, name) == set() and not leftovers(final), name)
    copy_tree(start, tree)
    require(final != state(tree), name, "does nothing")

    kills = twice = left = 0
    for call in range(1, calls + 100, 1 if programs.whole else calls // 5):
        where = f"{name}, killed at call {call}:"
        copy_tree(start, tree)
        status, _ = killed(options, call, tree, fault)
        if status == 0 and call > 1 and call >= calls - 50:
            break  # it makes fewer calls this time: the threads part the work differently
        require(status == 137, where, "status", status)
        kills += 1
        after = state(tree)
        both = check_whole(expected, after, where)
        twice += bool(both)
        left += bool(leftovers(after))
        require(len(leftovers(after)) <= 4, where, leftovers(after))
        if "-overwrite" not in options:  # what is there in two forms stays so
            status, _, errors = pack(*options)
            require(status == (4 if both else 0), where, "second run", status, errors)
            require(check_whole(expected, state(tree), where) == both, where, "second run")
        status, output, errors = pack(*options, "-overwrite")
        require(status == 0 and b" 0 failed, " in output, where, "last run", status, errors)
        now = state(tree)
        require(leftovers(now) == leftovers(after), where, "a new leftover")
        require({n: e for n, e in now.items() if n not in leftovers(now)} == final, where, "not completed")
    print(f"{name}: {calls} calls, {kills} kills, files in two forms after {twice}, leftovers after {left}", flush=True)
    return kills


programs = arguments(__doc__)
with work_folder() as folder:
    original, start, tree = (folder + b"/" + name for name in (b"original", b"start", b"tree"))
    if not may_trace(folder, programs.at_call):
        print("SKIPPED: no right to trace a program")
        sys.exit(77)
    mixed_tree(original)
    begin = time.time()
    total = sum(kill_everywhere(*mode) for mode in MODES)
    print(f"{total} kills in {time.time() - begin:.0f} s")
