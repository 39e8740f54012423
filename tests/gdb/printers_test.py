"""Run inside gdb on the program built from values.cpp: what gdb shows of each value.

scripts/check-printers does that.
"""
import gdb

gdb.execute("set pagination off")
gdb.execute("set print object on")
gdb.execute("set print address off")
gdb.execute("set confirm off")
gdb.execute("set charset UTF-8")
gdb.execute("break look")
gdb.execute("run > /dev/null")
failures = 0


def check(expression, wanted):
    global failures
    shown = gdb.execute(f"print {expression}", to_string=True).split(" = ", 1)[1].strip()
    if shown != wanted:
        failures += 1
        print(f"{expression}\n  is     {shown}\n  wanted {wanted}")


check("e", 'tvk::Exception 2005 = {first = "text", second = "12", location = "saving"}')
gdb.execute("up")
for expression, wanted in {
    "narrow": r'"two \"words\""',
    "withZero": r'"a\000b"',
    "wide": 'L"Grüße"',
    "old": '"old"',
    "path": '"/tmp/x"',
    "none": '""',
    "utf8": '"Grüße"',
    "noUtf8": '""',
    "fields": "2024-03-15 12:00:00.007 +01:00",
    "ticks": "2000-02-28 18:30:00.000 -05:30",
    "moment": "1970-01-01 00:00:00.000 UTC, shown as local",
    "unset": "not set local",
    "bytes": r'3 bytes, capacity 3 = {bytes = "\001\002\377"}',
    "noBytes": "0 bytes, capacity 0",
    "secret": "2 bytes, capacity 2, to be wiped",
    "fileError": 'tvk::FileException 1003 = {location = "saving", fileName = "/tmp/x", systemError = 0, cause = 13}',
    "ready": 'tvk::Exception 77 = {text = "all is lost"}',
}.items():
    check(expression, wanted)
print("gdb shows every value as it should" if failures == 0 else f"{failures} values are shown otherwise")
gdb.execute(f"quit {failures and 1}")
