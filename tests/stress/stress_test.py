#!/usr/bin/env python3
"""Runs the jobs of Stress.cpp and looks at what they leave.

  stress_test.py PROGRAM [everything|short|ends...]

TVK_STRESS=SECONDS in the environment is the long form: so long a test, and 100,000 short threads. TVK_STRESS_SEED=NUMBER
makes the same choices again; their order is the system's all the same.
"""
import os
import subprocess
import sys
import tempfile
import time

PROGRAM = sys.argv[1]
SECONDS = float(os.environ.get("TVK_STRESS", 0.7))
IS_LONG = "TVK_STRESS" in os.environ
SEED = int(os.environ.get("TVK_STRESS_SEED", os.getpid()))
RECORD = 63


def run(mode, amount, status=0, seed=SEED):
    """The lines that reached the console."""
    with tempfile.TemporaryDirectory() as folder, open(f"{folder}/output", "w+b") as output:
        try:
            done = subprocess.run([PROGRAM, mode, str(seed), folder, str(amount)], stdout=output, stderr=subprocess.PIPE,
                                  timeout=60 + 3 * SECONDS)
        except subprocess.TimeoutExpired as late:
            sys.exit(f"{mode} {amount}, seed {seed}: does not end; {late.stderr}")
        words = done.stderr.decode(errors="replace")
        if done.returncode != status:
            sys.exit(f"{mode} {amount}, seed {seed}: exit status {done.returncode}, wanted {status}\n{words}")
        if mode in ("mixed", "down"):
            print(mode, words.strip())
        output.seek(0)
        return output.read().split(b"\n")


def everything():
    for mode in ("mixed", "down"):
        *lines, last = run(mode, int(SECONDS * 1000))
        broken = [line for line in lines if line != line[:1] * RECORD]
        if not lines or broken or last:
            sys.exit(f"{mode}, seed {SEED}: {len(lines)} lines on the console, broken {broken[:5]}, {last}")


def short():
    _, before, after, _ = run("short", 100_000 if IS_LONG else 2000)
    for name, first, last, growth in zip(("bytes", "mappings", "descriptors"), before.split(), after.split(), (16384, 100, 0),
                                         strict=True):
        print(f"{name}: {int(first)} before, {int(last)} after short threads")
        if int(last) > int(first) + growth:
            sys.exit(f"{name} grow")


def ends():
    start, number = time.monotonic(), 0
    while number < 4 or time.monotonic() - start < SECONDS:
        run("end", number % 4, number % 4, SEED + 7 * number)
        number += 1
    print(number, "ends")


for test in sys.argv[2:] or ["everything", "short", "ends"]:
    globals()[test]()
