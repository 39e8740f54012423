#!/usr/bin/env python3
"""Runs the commands of a transcript and compares what they print.

session.py TRANSCRIPT FOLDER [SECTION]: "# SECTION" begins in a fresh folder, with the program in FOLDER/SECTION; "$ COMMAND"
is run there by sh, and what follows up to the next of these is its output, in which the folder is /home/ada. With
SECTION that one alone, and the program in FOLDER itself.
"""
import os
import subprocess
import sys
import tempfile

transcript, programs, *only = sys.argv[1:]
environment = {**os.environ, "LANG": "C", "LC_ALL": "C.UTF-8", "COLUMNS": "80"}
commands = []
for line in open(transcript, encoding="utf-8"):
    if line.startswith("# "):
        section = line[2:].strip()
    elif line.startswith("$ "):
        commands.append((section, line[2:].strip(), []))
    else:
        commands[-1][2].append(line)
folder = last = None
failures = count = 0
for section, command, wanted in commands:
    if only and section != only[0]:
        continue
    if section != last:
        last, folder = section, tempfile.TemporaryDirectory()
    path = os.path.abspath(programs if only else os.path.join(programs, section))
    done = subprocess.run(command, shell=True, cwd=folder.name, timeout=60, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          env={**environment, "PATH": path + ":" + os.environ["PATH"]})
    shown = done.stdout.decode().replace("\r", "").replace(folder.name, "/home/ada")
    count += 1
    if shown != "".join(wanted):
        failures += 1
        print(f"{section}: $ {command}\n--- is\n{shown}--- wanted\n{''.join(wanted)}")
print(f"{count} commands, {failures} with another output")
sys.exit(failures > 0 or count == 0)
