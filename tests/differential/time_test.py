"""The calendar, and the local time of every zone of the installed database on both sides of each change from 1970 to
2037, against the C library (through Python's time module)."""
import datetime
import hashlib
import os
import time
from calendar import timegm

from probe import LONG, compare_all, finish, sample

DATABASE = "/usr/share/zoneinfo"
DAY = 86400
EPOCH = datetime.datetime(1970, 1, 1)
END = (datetime.datetime(2038, 1, 1) - EPOCH).days * DAY
FIRST, LAST = -11644473600, 1833017126399  # the years 1601 to 60055


def use_zone(name):
    os.environ["TZ"] = name
    time.tzset()


def offset(seconds):
    return time.localtime(seconds).tm_gmtoff


def show(fields, weekday, zone, seconds):
    return b"=" + " ".join(map(str, [*fields, 0, weekday, f"|{zone}|{seconds}|"])).encode()


def ask_for(step):
    """Makes a date and asks for its fields, its zone and its seconds (see tests/time/Answers.cpp)."""
    return b"d" + step + b"\0F\0Z\0U\0"


def numbers_of(question):
    return [int(word) for word in question[2:question.index(b"\0")].split()]


def utc(question):
    seconds = numbers_of(question)[0]
    moment = time.gmtime(seconds)
    return show(moment[:6], (moment.tm_wday + 1) % 7, 0, seconds)


def local(question):
    """What the C library makes of a moment or of local fields."""
    numbers = numbers_of(question)
    if question.startswith(b"du"):
        seconds = numbers[0]
        moment = time.localtime(seconds)
        zone = int(moment.tm_gmtoff / 60)
        if zone * 60 == moment.tm_gmtoff and moment.tm_sec == seconds % 60:
            return show(moment[:6], (moment.tm_wday + 1) % 7, zone, seconds)
        # Parts of a minute are dropped, and there are no leap seconds.
        fields = EPOCH + datetime.timedelta(seconds=seconds + zone * 60)
    else:
        numbers.pop()  # milliseconds
        fields = datetime.datetime(*numbers)
        zone = int(offset(time.mktime((*numbers, 0, 0, 0))) / 60)  # daylight flag 0: as standard time first
        seconds = (fields - EPOCH) // datetime.timedelta(seconds=1) - zone * 60
    return show(fields.timetuple()[:6], fields.isoweekday() % 7, zone, seconds)


def zones():
    """One name for each different zone of the database."""
    names = {}
    for folder, _, files in os.walk(DATABASE):
        for path in (os.path.join(folder, file) for file in files):
            with open(path, "rb") as stream:
                content = stream.read()
            if content.startswith(b"TZif"):
                names.setdefault(hashlib.sha1(content).digest(), []).append(os.path.relpath(path, DATABASE))
    return sorted(min(each, key=len) for each in names.values())


def changes():
    """The first second of each new offset in the current zone, with the offsets before and from it."""
    step = DAY if LONG else 8 * DAY
    before = offset(0)
    for end in range(step, END + step, step):
        if offset(end) == before:
            continue
        low, high = end - step, end
        while high - low > 1:
            middle = (low + high) // 2
            low, high = (middle, high) if offset(middle) == before else (low, middle)
        yield high, before, offset(high)
        before = offset(end)


def around_changes():
    for change, before, after in changes():
        for seconds in (change - 1, change):
            yield ask_for(b"u%d" % seconds)
        isdst_changes = time.localtime(change - 1).tm_isdst != time.localtime(change).tm_isdst
        reading = timegm(time.localtime(change)) - after  # the change itself, but for leap seconds
        for seconds in {reading + each + near for each in (before, after) for near in (-3600, -1, 0, 1800, 3600)}:
            # What the C library makes of a reading that was there twice, or never, hangs on its earlier answers when
            # the daylight flag does not tell.
            if isdst_changes or not min(before, after) <= seconds - reading < max(before, after):
                fields = (EPOCH + datetime.timedelta(seconds=seconds)).timetuple()[:6]
                yield ask_for(b"v%d %d %d %d %d %d 0" % fields)


use_zone("UTC")
compare_all((ask_for(b"u%d 0" % (day + day // DAY * 6007 % DAY)) for day in sample(range(FIRST, LAST, 13 * DAY), 29)), utc)
for zone in sample(zones(), 17):
    use_zone(zone)
    compare_all(around_changes(), local)
finish(10000)
