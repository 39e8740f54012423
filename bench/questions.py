"""What was asked, and what an answer must keep to."""

# QUESTION: (what it is, {side: how many times its time ours may take}). Of sides that are not named ours must be faster.
# A side with None is there for comparison only. A number is a side too: that many nanoseconds.
QUESTIONS = {
    "scan_star": ("visit 100,000 files in 5,000 folders, pattern *", {"getdents": 1.15}),
    "scan_pattern": ("the same, pattern *.h", {"getdents": 1.15}),
    "write_pieces": ("write 256 MiB in pieces of 64 KiB", {"write(2)": 1.05, "std::ofstream": 1.05}),
    "read_pieces": ("read them", {"read(2)": 1.05, "std::ifstream": 1.05}),
    # What locks nothing is no peer where threads may share the file.
    "write_values": ("write a value of 4 bytes, with threads", {"std::ofstream": None}),
    "read_values": ("read one", {"std::ifstream": None}),
    "copy_file": ("copy a file of 20 kB", {}),
    "move_file": ("move it", {}),
    "remove_file": ("remove it", {"std::filesystem": 1.1}),
    "copy_tree": ("copy a tree of 20,000 files", {}),
    "move_tree": ("move it", {}),
    "remove_tree": ("remove it", {"std::filesystem": 1.1}),
    **{f"{what}_to_{to}": (f"write a line {title}{where} and flush", {"printf + fflush": 1.15, "fmt": 1.15})
       for what, title in (("lines", ""), ("pieces", "in five pieces, each at once, "))
       for to, where in (("null", "to /dev/null"), ("pipe", "into a pipe"))},
    "start_shared": ("a program that says hello, from start to exit", {"iostream": 1.15}),
    "start_static": ("the same, static", {"iostream": 1.15}),
    "registration": ("before main(), with the registration of services (bar: 15 µs more)", {"no library": None}),
    "pack_small": ("pack 20,000 small files, two jobs", {}),
    "pack_large": ("pack ten files of 64 MiB, two jobs", {"pigz -p2": 1.1}),
    "fill": ("fill a text with three placeholders", {"Abseil": 1.1}),
    "throw": ("throw and catch a coded error with three texts", {"bare throw": 1.15}),
    "throw_text": ("the same, and ask for its text", {"bare throw": 1.15}),
    "known_code": ("look up a known code", {"unordered_map": 1.5}),
    "unknown_code": ("look up an unknown code", {"unordered_map": 1.5}),
    "unknown_code_asked": ("the same, and ask whether modules know it", {"unordered_map": None}),
    **{f"utf8_{kind}_{way}": (f"UTF-8 {way.replace('_', ' ')}, {kind} text", {"iconv": bar})
       for kind, bar in (("mixed", 1.1), ("ascii", 0.25))
       for way in ("to_narrow", "from_narrow", "to_wide", "from_wide")},
    "widen": ("narrow to wide by the locale", {"mbsrtowcs": 1.1}),
    "narrow": ("wide to narrow by the locale", {"wcsrtombs": 1.1}),
    "ticks_to_calendar": ("ticks to calendar", {12: 1.0}),
    "calendar_to_ticks": ("calendar to ticks", {12: 1.0}),
    "now_with_TZ": ("the current time with the local zone, TZ set", {"clock_gettime + localtime_r": 1.3}),
    "now_without_TZ": ("the same, TZ not set", {"clock_gettime + localtime_r": 1.3}),
    "scan_items": ("scan 10 MB of quoted, escaped items", {"loop by hand": 1.3}),
    "options": ("read an option with a typed value, of 1,000", {}),
    "lock": ("lock and unlock", {"pthread": 1.1, "pthread, recursive": None}),
    "lock_with_threads": ("the same, two threads", {"pthread": 1.1, "pthread, recursive": None}),
    "start_and_join": ("start a thread and wait for it", {"pthread": 1.1}),
    "gzip": ("pack with gzip", {"zlib": 1.03}),
    "gunzip": ("unpack", {"zlib": 1.03, "libdeflate": None}),
    "format_date": ("format a date", {"gmtime_r + strftime": 1.1}),
}

# What grows: QUESTION: (what it is, of what there is more and more, how time may grow, how memory may), as exponents of
# that number. None is not asked for.
GROWTH = {
    "grow_files": ("scan a folder", "files", 1.2, 1.1),
    "grow_depth": ("scan a chain of folders (paths grow)", "folders", 2.0, 2.0),
    "grow_texts_added": ("add message texts", "texts", 1.15, 1.1),
    "grow_texts_known": ("look up any added text", "texts", 0.5, None),
    "grow_scopes": ("open and close nested scopes", "scopes", 1.15, 1.1),
    "grow_chain": ("nested scopes and their text", "scopes", 1.15, None),
    "grow_line": ("print a line", "bytes", 1.1, 1.1),
    "grow_items": ("scan items", "items", 1.1, None),
    "grow_bad_items": ("scan items that fail, each a text", "items", 1.1, None),
    "grow_bad_items_in_one_text": ("the same in one text", "items", 2.1, None),
    "grow_options": ("read options", "options", 1.1, None),
    "grow_bad_options": ("read options that fail", "options", 1.1, None),
    "grow_throwing": ("throw, and ask for the text", "threads", 0.15, None),
    "grow_formatting": ("fill a text", "threads", 0.15, None),
    "grow_scopes_of_threads": ("open and close a scope", "threads", 0.15, None),
    "grow_locking": ("lock and unlock", "threads", 0.15, None),
    "grow_writing": ("write a line", "threads", 0.15, None),
    "grow_packed_size": ("pack a file with tvkpack", "KiB", 1.1, 1.1),
    "grow_jobs": ("pack 64 files of 256 KiB", "jobs", 0.15, 1.1),
}
