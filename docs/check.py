#!/usr/bin/env python3
"""No code in a page that is not compiled and run: every block of code or output in docs/*.md stands, line by line, in a
file below examples/, where the tests build and run it. Blocks of shell commands and of plain text without a language are
free. Links must lead somewhere.

check.py [PROJECT]
"""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent)


def stripped(text):
    """The lines without indentation and blank lines, between line feeds."""
    return "\n" + "".join(line.strip() + "\n" for line in text.split("\n") if line.strip())


sources = [stripped(path.read_text()) for path in sorted((root / "examples").rglob("*"))
           if path.suffix in (".cpp", ".c", ".h", ".txt", ".po", ".pot")]
# Output is the expectation of a test, which begins and ends in the middle of a line.
outputs = [re.sub(r'(?<!\\)"', "\n", source).replace(r'\"', '"') for source in sources]
findings = blocks = 0
pages = sorted((root / "docs").glob("*.md"))
for page in pages:
    text = page.read_text()
    for match in re.finditer(r"^```(\S+)\n(.*?)^```$", text, re.M | re.S):
        language, block = match[1], stripped(match[2])
        if language == "sh":
            continue
        blocks += 1
        if not any(block in source for source in sources + outputs * (language == "text")):
            findings += 1
            line = text[:match.start()].count("\n") + 1
            print(f"{page.relative_to(root)}:{line}: this block stands in no file below examples/")
    for match in re.finditer(r"\]\(([^)#:\s]+)(?:#[^)\s]*)?\)", text):
        if not (page.parent / match[1]).exists() and not match[1].endswith(("messages.md", ".svg")):  # made, not kept
            findings += 1
            print(f"{page.relative_to(root)}: the link to {match[1]} leads nowhere")
print(f"{len(pages)} pages, {blocks} blocks of code and output, {findings} findings")
sys.exit(findings > 0)
