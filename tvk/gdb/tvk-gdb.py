"""How gdb shows the values of tvk: strings as text, dates as dates, exceptions as code, parameters and location.

Loaded by itself beside the installed library; by hand: (gdb) source tvk-gdb.py. Plain bytes: print /r VALUE.
"""
import datetime

import gdb
import gdb.printing


def base(value, name):
    """The part of an object that is of the class NAME, whose template arguments do not count."""
    if value.type.code == gdb.TYPE_CODE_REF:
        value = value.referenced_value()
    while value.type.strip_typedefs().name.split("<")[0] != name:
        value = next(value[field] for field in value.type.strip_typedefs().fields() if field.is_base_class)
    return value


def text(value):
    """The characters of a string as a lazy string: gdb knows the width, the encoding and `set print elements`."""
    standard = base(value, "std::__cxx11::basic_string")
    return standard["_M_dataplus"]["_M_p"].lazy_string(length=int(standard["_M_string_length"]))


def owned(unique):
    """What a std::unique_ptr points at."""
    pair = unique["_M_t"]["_M_t"]  # pointer and deleter
    pair = pair[pair.type.fields()[0]]
    return pair[pair.type.fields()[1]]["_M_head_impl"].dereference()


class String:
    def __init__(self, value):
        self._value = value

    def to_string(self):
        return text(self._value)

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
        self._value = value.referenced_value() if value.type.code == gdb.TYPE_CODE_REF else value
        self._exception = base(self._value, "tvk::Exception")

    def to_string(self):
        return f"{self._value.type.strip_typedefs().name} {int(self._exception['m_code'])}"

    def children(self):
        if self._exception["m_isFixed"]:
            yield "text", owned(self._exception["m_fixedText"])
        for name in ("first", "second", "third", "location"):
            member = self._exception["m_" + name]
            if int(base(member, "std::__cxx11::basic_string")["_M_string_length"]):
                yield name, member
        for field in self._value.type.strip_typedefs().fields():
            if field.name in ("m_fileName", "m_systemError", "m_cause"):
                yield field.name[2:], self._value[field.name]


printers = gdb.printing.RegexpCollectionPrettyPrinter("tvk")
printers.add_printer("string", r"^tvk::(StringBase<.*>|StringOld|FileString)$", String)
printers.add_printer("Utf8", r"^tvk::Utf8$", Utf8)
printers.add_printer("DateTimeO", r"^tvk::DateTimeO$", DateTime)
printers.add_printer("Exception", r"^tvk::(Exception|AbortException|FileException)$", Exception)
gdb.printing.register_pretty_printer(gdb.current_objfile(), printers, replace=True)
