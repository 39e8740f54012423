#!/usr/bin/env python3
"""Turns PO catalogues into the C table of a language library or of a text library; see TvkLanguage.cmake.

  tvk-language.py MSGFMT language|text OUTPUT CATALOGUE [LIBRARY'S CATALOGUE]

The texts of the first catalogue win. Texts that are missing or fuzzy are left out, so that they stay English; a text
library answers them as they stand in the catalogue. What is wrong is told as FILE:LINE: CODE: PROBLEM, all of it.
"""
import re
import subprocess
import sys

import polib

CHARSET = "iso8859-15"
BEGIN = """/* Made by tvk-language.py. */
#include <tvk/text/MessageEntry.h>

#include <string.h>

static const TvkMessageEntry s_texts[] = {"""
ENDS = {"language": """
TVK_MODULE_EXPORT const TvkMessageEntry* GetStrings(void);
TVK_MODULE_EXPORT const TvkMessageEntry* GetStrings(void) { return s_texts; }
""", "text": """
TVK_MODULE_EXPORT uint32_t TvkLoadStringFromResource(uint32_t code, uint32_t size, char* buffer);
TVK_MODULE_EXPORT uint32_t TvkLoadStringFromResource(uint32_t code, uint32_t size, char* buffer) {
  const TvkMessageEntry* entry = s_texts;
  while (entry->text != 0 && entry->code != code) ++entry;
  if (entry->text == 0) return 0;
  for (uint32_t at = 0; at < size; ++at) {
    buffer[at] = entry->text[at];
    if (entry->text[at] == 0) break;
  }
  if (size > 0) buffer[size - 1] = 0;
  return (uint32_t)strlen(entry->text);
}
"""}


def placeholders(text):
    return set(re.findall("%[1-9]", text))


def problems_of(entry, text):
    """What is wrong with the text that stands for one of the program."""
    for lost in sorted(placeholders(entry.msgid) - placeholders(text)):
        yield f"{lost} is missing in the translation"
    for new in sorted(placeholders(text) - placeholders(entry.msgid)):
        yield f"{new} stands in the translation only; the program has no value for it"
    for character in sorted(set(text)):
        try:
            character.encode(CHARSET)
        except UnicodeEncodeError:
            yield f"'{character}' (U+{ord(character):04X}) has no place in ISO-8859-15"
    width = re.search(r"^Width: (\d+)$", entry.comment, re.M)
    if width and len(text) != int(width[1]):
        yield f"has {len(text)} characters and must have {width[1]}"


def read(path, keep_untranslated, complaints):
    """The texts of a catalogue by their codes, in its order."""
    texts, untranslated = {}, 0
    for entry in polib.pofile(path):
        if entry.obsolete:
            continue
        code = entry.msgctxt or ""
        place = f"{path}:{entry.linenum}: {code or 'no code'}: "
        if not re.fullmatch("[1-9][0-9]{0,9}", code) or int(code) >= 1 << 32:
            complaints.append(f'{place}the msgctxt must be the code of the text, as in msgctxt "5001"')
            continue
        if int(code) in texts:
            complaints.append(place + "the code is there twice")
        text = entry.msgstr if "fuzzy" not in entry.flags else ""
        untranslated += not text
        texts[int(code)] = text = text or (entry.msgid if keep_untranslated else None)
        if text is not None:
            complaints.extend(place + problem for problem in problems_of(entry, text))
    if untranslated and not keep_untranslated:
        print(f"{path}: {untranslated} of {len(texts)} texts are not translated and stay English")
    return {code: text for code, text in texts.items() if text is not None}


def literal(text):
    """The text as C has it: bytes above ASCII in octal, a line of the text a line."""
    escaped = {"\n": '\\n"\n     "', "\t": "\\t", '"': '\\"', "\\": "\\\\", "?": "\\?"}
    shown = "".join(escaped.get(c) or (c if " " <= c <= "~" else f"\\{c.encode(CHARSET)[0]:03o}") for c in text)
    return f'"{shown}"'


def main(msgfmt, kind, output, *catalogues):
    complaints, texts = [], {}
    for path in catalogues:
        checked = subprocess.run([msgfmt, "--check-format", "--output-file=/dev/null", path],
                                 stderr=subprocess.PIPE, text=True)
        if checked.returncode != 0:
            sys.exit(checked.stderr.strip())
        texts = read(path, kind == "text", complaints) | texts
    if complaints:
        sys.exit("\n".join(complaints))
    lines = [f"    {{{code}, {literal(texts[code])}}}," for code in sorted(texts)]
    with open(output, "w", encoding="ascii") as file:
        file.write("\n".join([BEGIN, *lines, "    {0, 0},", "};", ENDS[kind]]))


main(*sys.argv[1:])
