"""The work of translators: templates that hold what the programs say, catalogues without gaps, what is wrong in a
catalogue told with its place, and tvkpack in four languages at terminals of two character sets.

  languages_test.py MSGFMT MESSAGE_LIST TVKPACK LOCALES [CASE...]
"""
import glob
import os
import re
import subprocess
import sys
import tempfile

import polib

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../..")
sys.path.insert(0, os.path.join(ROOT, "tests/support"))
from session import Session, run_all  # noqa: E402

MSGFMT, MESSAGE_LIST, TVKPACK, LOCALES = sys.argv[1:5]
ERRORS = range(1, 5000)  # codes of failures; the others are words, lines and questions


def texts_of(*arguments):
    words = subprocess.run([MESSAGE_LIST, *arguments], check=True, capture_output=True).stdout
    words = words.decode("iso8859-15").split("\0")
    return dict(zip(words[0::2], words[1::2]))


def check_template(path, texts):
    template = polib.pofile(path)
    found = {entry.msgctxt: entry.msgid for entry in template}
    differing = set(found.items()) ^ set(texts.items())
    assert found == texts and len(template) == len(texts), f"{path}: run scripts/messages: {differing}"
    for entry in template:
        notes = re.findall(r"^(When|%\d|Remedy|Width): \w*.{3}", entry.comment, re.M)
        wanted = ["When", *sorted(set(re.findall("%[1-9]", entry.msgid))), "Remedy"]
        optional = {"Width"} if int(entry.msgctxt) in ERRORS else {"Width", "Remedy"}
        notes, wanted = ([note for note in each if note not in optional] for each in (notes, wanted))
        assert notes == wanted, f"{path}: the notes of {entry.msgctxt} are {notes}"
    for catalogue in glob.glob(os.path.dirname(path) + "/*.po"):
        entries = polib.pofile(catalogue)
        gaps = [entry.msgctxt for entry in entries if not entry.translated() or entry.obsolete]
        assert not gaps, f"{catalogue}: {gaps} are missing, fuzzy or obsolete"
        parts = [[(entry.msgctxt, entry.msgid, entry.comment) for entry in each] for each in (entries, template)]
        assert parts[0] == parts[1], f"{catalogue}: run scripts/messages"


def templates():
    check_template(ROOT + "/po/tvk.pot", texts_of())
    check_template(ROOT + "/programs/tvkpack/po/tvkpack.pot", texts_of("tvkpack"))


def converted(entries):
    """What becomes of a catalogue: status, what is told, the table."""
    with tempfile.TemporaryDirectory() as folder:
        with open(folder + "/xx.po", "w", encoding="utf-8") as file:
            file.write('msgid ""\nmsgstr "Content-Type: text/plain; charset=UTF-8\\n"\n' + entries)
        done = subprocess.run([sys.executable, "-B", ROOT + "/cmake/tvk-language.py", MSGFMT, "language",
                               folder + "/xx.c", folder + "/xx.po"], capture_output=True, text=True, encoding="utf-8")
        table = open(folder + "/xx.c").read() if done.returncode == 0 else ""
        return done.returncode, (done.stdout + done.stderr).replace(folder + "/", ""), table


def catalogues():
    for entries, told in [
            ('msgctxt "5001"\nmsgid "%1 %2"\nmsgstr "%3 %1"\n', "xx.po:3: 5001: %2 is missing in the translation\n"
             "xx.po:3: 5001: %3 stands in the translation only"),
            ('msgctxt "5001"\nmsgid "a"\nmsgstr "\u201Ea"\n',
             "xx.po:3: 5001: '\u201E' (U+201E) has no place in ISO-8859-15"),
            ('#. Width: 2\nmsgctxt "5001"\nmsgid "ab"\nmsgstr "abc"\n', "5001: has 3 characters and must have 2"),
            ('msgctxt "5001"\nmsgid "a"\nmsgstr "b"\n\nmsgctxt "5001"\nmsgid "c"\nmsgstr "d"\n',
             "xx.po:7: 5001: the code is there twice"),
            ('msgid "a"\nmsgstr "b"\n', "xx.po:3: no code: the msgctxt must be the code"),
            ('msgctxt "4294967296"\nmsgid "a"\nmsgstr "b"\n', "xx.po:3: 4294967296: the msgctxt must be the code"),
            ('msgctxt "5001"\nmsgid "a"\nmsgstr "b\n', "xx.po:6: end-of-line within string")]:
        status, output, _ = converted(entries)
        assert status == 1 and told in output, (told, output)
    status, output, table = converted('msgctxt "5002"\nmsgid "a"\nmsgstr "\u20AC\\t\\"\\\\ ??/"\n\n'
                                      'msgctxt "5001"\nmsgid "b"\nmsgstr ""\n\n#, fuzzy\nmsgctxt "5003"\nmsgid "c"\nmsgstr "d"\n')
    assert (status, output) == (0, "xx.po: 2 of 3 texts are not translated and stay English\n"), output
    assert r'{5002, "\244\t\"\\ \?\?/"},' in table and "5001" not in table and "5003" not in table, table


# The head of the list, its date, the sum, an error.
LANGUAGES = {
    "en_US": ("      packed     unpacked  ratio  modified             name", "3/15/2024 12:00:00 PM",
              "1 listed, 0 left alone", "error TP2001 - invalid option."),
    "de_DE": ("     gepackt     entpackt Anteil  geändert             Name", "15.3.2024 12:00:00",
              "1 gelistet, 0 belassen", "Fehler TP2001 - ungültige Option."),
    "fr_FR": ("   compressé  décompressé   taux  modifié              nom", "15/3/2024 12:00:00",
              "listés\u00A0: 1, ignorés\u00A0: 0", "erreur TP2001 - option incorrecte."),
    "es_ES": ("  comprimido     original   tasa  modificado           nombre", "15/3/2024 12:00:00",
              "listados: 1, omitidos: 0", "error TP2001 - opción no válida.")}
CHARSETS = "UTF-8", "ISO-8859-15"


def at_terminal(locale, charset):
    def case():
        header, date, totals, error = (text.encode(charset) for text in LANGUAGES[locale])
        os.environ.update(LANG=f"{locale}.{charset}", LOCPATH=os.path.abspath(LOCALES), TZ="UTC")
        for variable in [name for name in os.environ if name.startswith("LC_")]:
            del os.environ[variable]
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run("seq 1000 | gzip >a.gz && touch -d '2024-03-15 12:00' a.gz", shell=True, check=True,
                           cwd=folder)
            session = Session("sh", "-c", f"{TVKPACK} -list {folder}; {TVKPACK} -xyz", plain=True)
            session.expect_next(header + b"\n")
            session.expect(b"  " + date + f"  {folder}/a.gz\n".encode())
            session.expect(totals)
            session.expect(b"\ntvkpack, -xyz: " + error + b"\n")
            session.ends(3)
    return case


run_all({"templates": templates, "catalogues": catalogues}
        | {f"{locale} {charset}": at_terminal(locale, charset) for locale in LANGUAGES for charset in CHARSETS},
        sys.argv[5:])
