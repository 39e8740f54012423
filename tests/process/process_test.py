"""What a process does as a whole: a program that does what each row says (Subject.cpp), its output and exit status.

  process_test.py SUBJECT WORDS_LIBRARY OUTER_MODULE LOCALES BUILD_TYPE
"""
import os
import signal
import subprocess
import sys
import tempfile
import time

SUBJECT, WORDS, OUTER, LOCALES = sys.argv[1:5]
DEBUG = sys.argv[5] == "Debug"
GERMAN, ENGLISH = "Datei %1 fehlt", "file %1 not found"
ABORTED = -signal.SIGABRT

rows = failures = 0


def run(work, arguments=("/opt/app/tool",), folder=None, **variables):
    """What the subject answers, its status, and its words on standard error; a line feed is "; " in work and answer."""
    surroundings = {"LOCPATH": LOCALES, "TZ": "Europe/Berlin", "PATH": os.environ["PATH"]}
    surroundings.update({name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")})
    done = subprocess.run(arguments, executable=SUBJECT, cwd=folder, env=surroundings | variables, timeout=60,
                          input=work.replace("; ", "\n").encode(), capture_output=True)
    return done.stdout.decode().removesuffix("\n").replace("\n", "; "), done.returncode, done.stderr.decode()


def equal(what, got, expected):
    global rows, failures
    rows += 1
    if got != expected:
        failures += 1
        print(f"{what}:\n  is     {got!r:.500}\n  wanted {expected!r:.500}")


def check(work, answer, status=0, **surroundings):
    got = run(work, **surroundings)
    equal(work + (f" in {surroundings}" if surroundings else ""), got[:2], (answer, status))
    return got[2]


FATAL = "tool: fatal error TL1001 - file /x not found."

# Programs: the status, what is said, and what is left of the console.
for work, answer, status in [
        ("application; console; return 7", "console; exit; end", 7),
        ("application init; console", "exit; end", 0),
        ("application exit; console; return 7", "console; exit; end", 2),
        ("application alone", "Aborted: no application object; end", 1),
        ("application; fail; throw 1001 /x", f"{FATAL}; end", 3),  # to be seen all the same
        ("application; throw standard bad", "tool: bad; end", 3),
        ("application; throw abort 11", "\r\r\t\t\t\t\t\t\t\t\t       \rtool: aborted by user; end", 11),
        ("application; throw abort 256", "end", 1),  # only 0 looks like success
        ("application; throw abort 0", "end", 0),
        ("application; throw number", "", ABORTED),
        ("slot", "10", 0),  # the place of HandleException among the operations
        ("run a g throw; pass g; join a", "yes", ABORTED),  # an exception leaves a thread
        ]:
    check(work, answer, status)
# What a program finds: signals that it survives, children that can be waited for, its locale and its arguments.
check("application; raise 1; raise 10; raise 12; raise 13; shell true", "0; exit; end")
CATEGORIES = "de_DE.UTF-8; de_DE.UTF-8; C; C"
for arguments, found in [
        (["/opt/app/tool", "a b", "c"], '/opt/app/tool, "a b" c; a b; c'),
        (["./tool", '"a b', "", "tab\t-", "line\n-", 'x"y'],
         f'{os.getcwd()}/tool, "a b  "tab\t-" "line; -" x"y; "a b; ; tab\t-; line; -; x"y'),
        (["tool"], f"{SUBJECT}, ")]:
    check("application; program", f"{found}; {CATEGORIES}; exit; end", arguments=arguments, LC_ALL="de_DE.UTF-8")
check("application nameless; program", f"{SUBJECT}, ; C; C; C; C; exit; end", arguments=["tool", "unseen"])

# The language is chosen once, by LANG alone.
for lang, code in {"": 9, "C": 9, "POSIX": 9, "C.UTF-8": 9, "en_US": 9, "de_DE.ISO8859-15": 7, "fr_CA": 12, "es_": 10,
                   "zh_CN.GB18030": 2052, "zh_TW.BIG5": 9, "ja_JP": 17, "ru_RU": 25, "it_IT": 9, "de": 9, "DE_de": 9,
                   "xde_": 9}.items():
    check(f"language; set LANG ru_RU; language; chosen {lang or repr('')}", f"{code}; {code}; {code}",
          LANG=lang, LC_ALL="fr_FR")
check("language; set LANG ru_RU; language", "9; 9")
NAMES = {9: "Us", 1: "Sa", 2052: "Cn", 6: "Dk", 19: "Nl", 12: "Fr", 7: "De", 8: "Gr", 16: "It", 14: "Hu", 17: "Jp", 18:
         "Ko", 22: "Br", 10: "Es", 29: "Se", 1028: "Tw", 25: "Ru", 0x0407: "De", 0x7809: "Us", 4: "none", 0x0C04: "none",
         0: "none"}
check("; ".join(f"named {code}" for code in NAMES), "; ".join(NAMES.values()))

# Frames: the first one is current until it goes, the newest prefix holds.
check("try frame tool 123456789012; frames; "  # refused, it leaves nothing behind
      "frame first 12345678901; frame second null; frames; leave 1; frames; frame null 1234567; frames",
      "2007; none, none, process_tests, , down; "
      "first, second, first, , down; first, none, first, , down; first, , first, 1234567, down")
check("frame first; leave 0; frames", "none, none, process_tests, , down")

# Down in the reverse order and once; what an entry makes meanwhile goes too.
check("frame tool; service a; service b; entry last; init; console; frames; exit; frames; shutdown; init; frames; console",
      "init a; init b; init c; yes; console; tool, tool, tool, , up; exit c; deleted c; exit b; deleted b; "
      "exit d; deleted d; exit a; deleted a; last before the console; yes; tool, tool, tool, , down; yes; "
      "tool, tool, tool, , down; console")
check("frame tool; owner; init; init; exit; exit", "yes; yes; entry; yes; yes")
check("entry asks; entry b; entry c; delete b; entry d; delete d; share; entry e; shutdown; share; entry f; shutdown",
      "b; d; made; e; gone; c; asks; made; gone; made; f; gone")
check("start; stop; frame frame; entry one; start; stop; refuse; entry two; start; stop",
      "no; no; yes; one; yes; two; no; yes")
check("locked", "yes")

# Language libraries.
with tempfile.TemporaryDirectory() as folder:
    folder = os.path.realpath(folder)
    for name in ("tool-1.lDe", "tvk.lDe", "words.1.so"):
        os.symlink(WORDS, f"{folder}/{name}")
    for path, language, directory, answer in [
            (f"{folder}/tool-1.2", "De", "''", GERMAN),
            ("./tool-1.2", "De", "/", GERMAN),
            (f"{folder}/tool-1.2", "''", "''", ENGLISH),
            ("tvk", "De", folder, GERMAN),
            ("tvk", "De", "''", f"1131; {ENGLISH}"),  # not in the current folder
            ("tvk", "Ru", "''", GERMAN),  # beside the subject
            ("''", "De", f"{folder}/tvk", GERMAN)]:
        check(f"frame tool; try load {path} {language} {directory}; text", answer, folder=folder)
    # One that works stands beside tvkpack, in its tests.
    tool = f"{folder}/tool"
    check("application; throw 1001 /x", f"{FATAL}; end", 3, arguments=[tool], LANG="de_DE")
    with open(f"{tool}.lDe", "w") as broken:
        broken.write("broken")
    check("application; throw 1001 /x", f"Language Module {tool}.lDe; Module ignored. Embedded English language is used.; "
          f"{FATAL}; end", 3, arguments=[tool], LANG="de_DE")

    # Libraries: the texts belong to the one that moved, and go when it is closed or assigned to.
    check(f"symbol malloc; strings; open {folder}/words.1 so; error; symbol NoSuchSymbol; symbol null; symbol InBoth; "
          "strings; move; close; text; move; text",
          f"no; yes; {WORDS}: ; no; no; yes; {GERMAN}; {ENGLISH}")
    check(f"open {OUTER}; move; open ''; symbol CallsNowhere; symbol nowhere", "yes; yes; yes; no")  # for everybody
    os.rename(f"{tool}.lDe", f"{folder}/broken.so")
    for path in (f"{folder}/broken.so", f"{folder}/missing.so", folder, f"{OUTER}\0"):
        answer = run(f"open {WORDS}; strings; text; open {path}; text; error; modules")[0].split("; ")
        equal(f"open {path!r}", answer[:4] + [answer[4].startswith(f"{path}: ") and path in answer[4][len(path):]],
              ["yes", GERMAN, "no", ENGLISH, True])
        equal(f"loaded before {path!r}", [line for line in answer[5:] if WORDS in line], [])

# What is loaded stands in load order, the main program first; a symbol is found in its own module alone, and who keeps
# a module keeps it loaded.
def modules(work):
    answer = run(work)[0].split("; ")
    return [line.replace(WORDS, "words").replace(OUTER, "outer") for line in answer
            if line.startswith((":", WORDS, OUTER))]


ALL = [":", "outer: InBoth", "words: GetStrings InBoth"]
equal("modules", modules(f"open {OUTER}; modules"), ALL)
equal("modules kept", modules(f"open {OUTER}; modules {OUTER}; close; modules"), ALL + ALL)
equal("modules given back", modules(f"open {OUTER}; modules {OUTER}; close; modules ''; modules"), ALL + ALL + ALL[:1])

# The machine.
before = time.monotonic()
well, name, addresses, system, root, ticks, *times, zero, missing, negative, unknown, error = run("machine")[0].split("; ")
equal("ticks", 0 <= int(ticks) / 1000 - before < 30, True)
equal("machine", [well, name, system, root, addresses.split().count("127.0.0.1")],
      ["yes", os.uname().nodename, "{0} {2} {3} - {4}".format(*os.uname()), "yes" if os.getuid() == 0 else "no", 1])
equal("times", times, ["1719835200"] * 3)
equal("words for errors", [zero, missing, negative, unknown, error],
      [os.strerror(0), os.strerror(2), os.strerror(-1), os.strerror(4711), "5"])

# Watches.
check("profile", "run 00.00;   part 100.00;     detail 01.25; ")

# Sections: a copy is a lock of its own.
check("lock 2", "locked")
if DEBUG:
    said = check("lock 3", "", ABORTED)
    equal("a section locked twice", "locked twice" in said, True)

# Threads from their start to the join and again.
for until in "", "await a; ":
    check("join a; cancel a; forget a; copy b a; "  # never started
          "run a g; valid a; shared b; run a g; detach b g; same a b; less b none; "
          f"pass g; {until}join b; left g 1; valid a; join b; join a",
          "yes; yes; yes; yes; yes; yes; no; no; yes; no; yes; no; no; no")
check("detach a g; join a; pass g; await a; join a; run a g; join a", "yes; no; no; yes; yes")

# Given up, they are left to the others; the cancelled one ends before the gate opens.
for ends, end in ("forget", "pass g; join a; left g 1"), ("cancel", "join a"):
    check(f"run a g; entered g 1; copy b a; {ends} b; valid b; shared b; shared a; join b; {end}; forget a; join a",
          "yes; yes; no; no; no; yes; yes; yes; no")
check("run a g; entered g 1; forget a; valid a; join a; "
      "run a h; pass g; left g 1; sleep; valid a; pass h; join a; left h 1",  # afresh, while the forgotten one runs
      "yes; yes; no; yes; yes; yes; yes")

# Joins: nobody waits for itself, and who was about to wait gives the right to it back. The second join of a finished one
# is refused although the system may have given its id to another.
check("copy b self; run a g itself; pass g; await a; valid self; copy b self; cancel b; join self; valid self; join a; "
      "run a h; join self; pass h; join a",
      "yes; no; yes; yes; yes; yes; no; no; yes; no; yes")
if run("open ''; symbol __tsan_init")[0] != "yes; yes":  # it does not bear the cancellation of a thread that joins
    check("run target g; pass h; run a h target; copy b a; sleep; cancel a; join b; pass g; join target",
          "yes; yes; yes; yes; yes")

# An object that goes before its thread.
said = check("run a g; copy b a; entered g 1; drop a; pass g; join b; left g 1", "yes; yes")
equal("words about the object", said,
      "tvk::Thread: the object was destroyed before its Run() had ended\n" if DEBUG else "")

# Groups: one is cancelled and taken out, the detached one cannot be joined, the others are all the same.
check("detach a g; run b g; run c g; run other h; entered g 3; add a; add b; add c; group other; group b; group b; "
      "pass g; joinall; join b; join c; left g 2; pass h; join other",
      "yes; yes; yes; yes; yes; yes; yes; no; yes; no; no; yes; no; yes")

print(f"{rows} rows, {failures} failed")
sys.exit(0 if failures == 0 and rows > 70 else 1)
