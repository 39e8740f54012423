"""How gdb shows the values of tvk: strings as text, dates as dates, exceptions as code, parameters and location.

Loaded by itself beside the installed library; by hand: (gdb) source tvk-gdb.py. Plain bytes: print /r VALUE.
"""
import datetime

import gdb
import gdb.printing


# Of classes with virtual functions a program's own debug information tells nothing but the name; the library's, where it
# is installed, tells all. So these are looked at by their layout, which does not change within a major version: a string
# is a table of functions, a standard string and a pointer.
WORD = gdb.lookup_type("unsigned long")
STRING_WORDS = 6


def object_of(value):
    """What a reference refers to."""
    return value.referenced_value() if value.type.code == gdb.TYPE_CODE_REF else value


def name_of(value):
    return object_of(value).type.strip_typedefs().unqualified().name


def words(value):
    """The memory of an object as a pointer to words."""
    return object_of(value).address.cast(WORD.pointer())


def text(start, character="char"):
    """The string at a word as a lazy string: gdb knows the width, the encoding and `set print elements`."""
    return start[1].cast(gdb.lookup_type(character).pointer()).lazy_string(length=int(start[2]))


class String:
    def __init__(self, value):
        self._value = value

    def to_string(self):
        if self._value.address is None:  # what a function returned: gdb called it, so it knows the members
            return self._value["_M_dataplus"]["_M_p"].lazy_string(length=int(self._value["_M_string_length"]))
        return text(words(self._value), "wchar_t" if "<wchar_t>" in name_of(self._value) else "char")

    def display_hint(self):
        return "string"


class Utf8:
    def __init__(self, value):
        self._bytes = value["m_bytes"]["_M_impl"]

    def to_string(self):
        start = self._bytes["_M_start"]
        size = max(int(self._bytes["_M_finish"] - start) - 1, 0)
        return start.lazy_string("UTF-8", length=size) if size else ""

    def display_hint(self):
        return "string"


class DateTime:
    """The calendar reading in the value's own zone, from the fields where they are valid, else from the ticks."""

    def __init__(self, value):
        self._value = value

    def to_string(self):
        zone = int(self._value["m_zoneMinutes"])
        zone_text = " local" if zone == -999 else f" {'-' if zone < 0 else '+'}{abs(zone) // 60:02}:{abs(zone) % 60:02}"
        if self._value["m_fieldsValid"]:
            fields = self._value["m_fields"]
            names = ("year", "month", "day", "hour", "minute", "second", "millisecond")
            return "{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03}".format(*(int(fields[n]) for n in names)) + zone_text
        if not self._value["m_ticksValid"]:
            return "not set" + zone_text
        ticks = int(self._value["m_ticks"])
        # Without fields a local zone is not worked out yet: the moment is shown in UTC.
        if zone == -999:
            zone, zone_text = 0, " UTC, shown as local"
        try:
            moment = datetime.datetime(1601, 1, 1) + datetime.timedelta(minutes=zone, microseconds=ticks // 10)
        except OverflowError:
            return f"{ticks} ticks{zone_text}"
        return f"{moment:%Y-%m-%d %H:%M:%S}.{moment.microsecond // 1000:03}{zone_text}"


class Exception:
    def __init__(self, value):
        self._words = words(value)
        self._name = name_of(value)

    def to_string(self):
        return f"{self._name} {int(self._words[2].cast(gdb.lookup_type('long')))}"

    def children(self):
        at = 3
        for name in ("first", "second", "third", "location"):
            if int(self._words[at + 2]):
                yield name, text(self._words + at)
            at += STRING_WORDS
        ready = self._words[at + 1]
        if int(ready):
            yield "text", text(ready.cast(WORD.pointer()))
        if self._name == "tvk::FileException":
            at += 2
            yield "fileName", text(self._words + at)
            at += STRING_WORDS
            yield "systemError", self._words[at].cast(gdb.lookup_type("long"))
            yield "cause", self._words[at + 1].cast(gdb.lookup_type("int"))


printers = gdb.printing.RegexpCollectionPrettyPrinter("tvk")
printers.add_printer("string", r"^tvk::(StringBase<.*>|StringOld|FileString)$", String)
printers.add_printer("Utf8", r"^tvk::Utf8$", Utf8)
printers.add_printer("DateTimeO", r"^tvk::DateTimeO$", DateTime)
printers.add_printer("Exception", r"^tvk::(Exception|AbortException|FileException)$", Exception)
gdb.printing.register_pretty_printer(gdb.current_objfile(), printers, replace=True)
