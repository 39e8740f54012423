#!/usr/bin/env python3
"""tvkpack on a disk that is full at the n-th byte, and with calls into the C library that fail: every file stays whole,
nothing is left over, the exit status tells of it, and a later run completes the work.

  faults.py tvkpack=PATH fault_shim=PATH     a sample; with TVK_LONG=1 every byte, and every call and allocation with
                                             each error that fits
"""
import os
import re
import sys
import time

sys.path.insert(1, os.path.join(os.path.dirname(__file__), "../faults"))
from calls import ERRORS
from support import *

MODES = [("pack", ["-pack", "-jobs=1"], []), ("unpack", ["-unpack", "-jobs=1"], ["-pack"]),
         ("pack with 3 jobs", ["-pack", "-jobs=3"], [])]


def run_with(options, where=None, **variables):
    status, output, errors = run(programs.tvkpack, "-recurse", *options, where or tree,
                                 env={"LD_PRELOAD": programs.fault_shim, **variables})
    # What is made before main() has nobody to tell of it.
    before_main = re.fullmatch("malloc:[0-9]:ENOMEM", variables.get("TVK_FAULT", ""))
    require(0 <= status < 128 or before_main, variables, "status", status, errors)
    return status, output, errors


def check(name, options, expected, final, fault, **variables):
    """One run with a fault; whether that stopped anything."""
    where = f"{name}, {variables}:"
    copy_tree(start, tree)
    status, output, errors = run_with(options, **variables)
    now = state(tree)
    twice = check_whole(expected, now, where, both=fault not in (None, "write"))
    undeletable = fault in ("unlinkat", "any")
    require(undeletable or not leftovers(now), where, leftovers(now))
    vanished = variables.get("TVK_FAULT", "").endswith(("ENOENT", "ENOTDIR"))  # a lie that a program must believe
    if status == 0 and not vanished:
        require({n: now[n] for n in now if n not in leftovers(now)} == final, where, "false success", output)
    else:
        status, output, errors = run_with(options + (["-overwrite"] if twice else []))
        now = state(tree)
        require(status == 0 and {n: now[n] for n in now if n not in leftovers(now)} == final,
                where, "not completed later", status, errors)
    return now != final or status != 0


def go_through(name, options, preparation):
    copy_tree(original, start)
    if preparation:
        require(run(programs.tvkpack, "-recurse", *preparation, start)[0] == 0, name, "prepare")
    expected = plain_state(state(original))
    copy_tree(start, tree)
    counts = folder + b"/counts"
    require(run_with(options, TVK_FAULT_COUNTS=counts)[0] == 0, name)
    final = state(tree)
    uses = {name.decode(): int(count) for name, count in map(bytes.split, contents_of(counts).splitlines())}
    room = sum(len(entry[5]) for key, entry in final.items() if entry != state(start).get(key))

    quotas = range(0, room + 2, 1 if programs.whole else room // 4)
    for quota in quotas:
        check(name, options + ["-quiet"], expected, final, None, TVK_FAULT_BYTES=str(quota))
    fits = {"any": ["EIO"], **{call: errors.split() for call, errors in ERRORS.items()}}
    faults = [(call, f"{call}:{use}{more}:{error}") for call, count in uses.items() if call != "fired"
              for use in range(1, count + 1) for error in fits[call]
              for more in (("", "+") if call != "malloc" and error in ("EIO", "ENOSPC", "EMFILE") else ("",))]
    faults = [each for each in faults if each[1].split("+")[-1] != ":EINTR"]  # again and again is no failure
    faults = faults[::1 if programs.whole else len(faults) // 12]
    for call, fault in faults:
        check(name, options, expected, final, call, TVK_FAULT=fault)
    print(f"{name}: {len(quotas)} quotas, {len(faults)} faults", flush=True)


programs = arguments(__doc__)
with work_folder() as folder:
    original, start, tree = (folder + b"/" + name for name in (b"original", b"start", b"tree"))
    for sub in b"", b"/sub":
        os.makedirs(original + sub)
        write(original + sub + b"/a", prose(90), 0o640, 12)
        write(original + sub + b"/b", prose(300), 0o400, 13)
        write(original + sub + b"/empty", b"")
    begin = time.time()
    for mode in MODES if programs.whole else MODES[:2]:
        go_through(*mode)
    print(f"{time.time() - begin:.0f} s")
