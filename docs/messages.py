#!/usr/bin/env python3
"""Makes the page of all messages from the notes in the translators' templates.

messages.py TEMPLATE TEMPLATE_OF_TVKPACK OUTPUT
"""
import re
import sys

import polib

template, program, output = sys.argv[1:]
PARTS = [
    (0, "Fatal errors"),
    (2000, "Errors"),
    (4000, "Warnings"),
    (5000, "Other texts"),
]
NOTE = re.compile(r"(?<!\S)(When|%\d|Remedy|Width): ")


def sentence(text):
    return text[0].upper() + text[1:]


def plain(text):
    """The text as Markdown that shows it as it is."""
    return re.sub(r"([\\`*_\[\]<>#|~%@&])", r"\\\1", text).replace('"', "&quot;")


def entry(message):
    lines = [f"### {message.msgctxt}: {plain(message.msgid)}", ""]
    pieces = NOTE.split(" ".join(message.comment.split()))
    notes = [(name, text.strip()) for name, text in zip(pieces[1::2], pieces[2::2])]
    when = next(text for name, text in notes if name == "When")
    is_kept = when.startswith("for programs: ")
    lines += [plain(sentence(when.removeprefix("for programs: "))) + (" (A code for programs.)" if is_kept else ""), ""]
    values = [f"{plain(name)} is {plain(text)}" for name, text in notes if name.startswith("%")]
    if values:
        lines += [sentence("; ".join(values).rstrip(".")) + ".", ""]
    lines += [f"**Remedy:** {plain(text)}\n" for name, text in notes if name == "Remedy"]
    return lines


def code(message):
    return int(message.msgctxt)


messages = sorted(polib.pofile(template), key=code)
page = ["# Messages", "",
        "All message codes, what causes them, and what to do. A text of an error has the form", "",
        "    PROGRAM, PLACE: SEVERITY PREFIXCODE - MESSAGE.", "",
        'as in "tool, saving: fatal error TL1001 - file /tmp/x not found." Look for the number. The severity follows '
        "from it: below 2000 fatal errors, up to 3999 errors, from 4000 warnings. 1000, 2000 and 4000 have the text that "
        "came with them. \"A code for programs\" is kept for programs on the library, which never raises it itself. What else "
        "a program has stands in its manual.", ""]
for number, (first, title) in enumerate(PARTS):
    last = PARTS[number + 1][0] if number + 1 < len(PARTS) else 1 << 32
    page += [f"## {title}", ""]
    for message in messages:
        if first <= code(message) < last:
            page += entry(message)
page += ["## Errors of tvkpack", ""]
for message in sorted(polib.pofile(program), key=code):
    if code(message) < 5000:
        page += entry(message)
with open(output, "w", encoding="utf-8") as file:
    file.write("\n".join(page))
