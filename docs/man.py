#!/usr/bin/env python3
"""Makes a man page of a Markdown page, with pandoc.

man.py PAGE NAME SECTION VERSION OUTPUT: its first sentence becomes NAME, links to other pages become theirs.
"""
import re
import subprocess
import sys

page, name, section, version, output = sys.argv[1:]
AREAS = ["cmdline", "console", "errors", "files", "module", "process", "text", "time", "translating"]


def link(match):
    text, target = match[1], match[2].rsplit("/", 1)[-1]
    stem = target.removesuffix(".md")
    if stem in AREAS:
        return f"**tvk-{stem}**(3)"
    if stem == "zed":
        return "**zed**(3)"
    if stem == "messages":
        return "**tvk-messages**(7)"
    return f"{text} ({target})" if target.endswith(".md") and not match[2].startswith("http") else text


with open(page, encoding="utf-8") as file:
    text = file.read().partition("\n")[2]
text = re.sub(r"\[([^]]+)\]\(([^)]+)\)", link, text)
# Tables of two columns do not fit where man wraps lines: a list does.
text = re.sub(r"^\| what \| where \|\n\|.*\n", "", text, flags=re.M)
text = re.sub(r"^\| (.+) \| (.+) \|$", r"- \1: \2", text, flags=re.M)
purpose = re.split(r"\.\s", text.strip(), 1)[0]
text = f"# NAME\n\n{name} - {purpose[0].lower() + purpose[1:]}\n\n# DESCRIPTION\n\n" + re.sub("^##", "#", text, flags=re.M)
roff = subprocess.run(["pandoc", "-s", "-f", "gfm", "-t", "man", "-V", f"title={name}", "-V", f"section={section}",
                       "-V", f"footer=tvk {version}"], input=text, capture_output=True, text=True, check=True).stdout
with open(output, "w", encoding="utf-8") as file:
    file.write(re.sub(r'^\.\\" Automatically generated.*\n\.\\"\n', "", roff, flags=re.M))
