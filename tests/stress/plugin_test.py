#!/usr/bin/env python3
"""A program that knows nothing of C++ loads a plugin again and again: it must find everything fresh each time, and once
the caches are filled nothing may grow.

  plugin_test.py PLUGIN ROUNDS
"""
import ctypes
import gc
import os
import subprocess
import sys

PLUGIN, ROUNDS = sys.argv[1].encode(), int(sys.argv[2])
WARM_UP = 20
SKIPPED = 77


class Mallinfo(ctypes.Structure):
    _fields_ = [(name, ctypes.c_size_t) for name in ("arena", "ordblks", "smblks", "hblks", "hblkhd", "usmblks", "fsmblks",
                                                     "uordblks", "fordblks", "keepcost")]


if b"san.so" in subprocess.run(["ldd", PLUGIN], stdout=subprocess.PIPE, check=True).stdout:
    sys.exit(SKIPPED)  # a sanitizer wants to be there before the program
libc = ctypes.CDLL(None)
libc.mallinfo2.restype = Mallinfo
libc.dlopen.restype = libc.dlsym.restype = ctypes.c_void_p
libc.dlsym.argtypes = [ctypes.c_void_p, ctypes.c_char_p]
libc.dlclose.argtypes = [ctypes.c_void_p]
run = ctypes.CFUNCTYPE(ctypes.c_int)
gc.disable()
before = held = 0
for turn in range(ROUNDS):
    plugin = libc.dlopen(PLUGIN, os.RTLD_NOW | os.RTLD_LOCAL)
    result = run(libc.dlsym(plugin, b"pluginRun"))() if plugin else 99
    if result != 0 or libc.dlclose(plugin) != 0:
        sys.exit(f"round {turn}: {result}")
    descriptor = os.dup(0)
    os.close(descriptor)
    info = libc.mallinfo2()
    held = (info.uordblks + info.hblkhd, descriptor)
    del info
    if turn == WARM_UP:
        before = held
if ROUNDS <= WARM_UP or held[0] > before[0] or held[1] != before[1]:
    sys.exit(f"{ROUNDS} rounds: (bytes, descriptor) were {before}, are {held}")
print(f"{ROUNDS} rounds, {held[0]} bytes in use as before")
