#!/usr/bin/env python3
"""Doxygen's input filter for headers: their plain comments become documentation comments.

filter.py HEADER: the header on standard output. The comment at the top is that of the file; one in front of a
declaration or behind it belongs to the declaration. In it "Errors   text" becomes a titled paragraph, and deeper lines
become code or a table; "--- Title" begins a group of members.
"""
import re
import sys


def plain(text):
    """The text, with nothing left that Doxygen takes for a command or mark-up but code between backticks."""
    parts = text.split("`")
    for i in range(0, len(parts), 2):
        part = re.sub(r"([\\@<>#%*&|$])", r"\\\1", parts[i]).replace("--", r"\--").replace('"', "&quot;")
        parts[i] = re.sub(r"^(\d+)\.(?= |$)", r"\1\\.", re.sub(r"(?<!\w)::", r"\\::", part))
    return "`".join(parts)


def label(line, hanging):
    """The title of a paragraph and where its text begins, or None."""
    if match := re.match(r"([A-Z][a-z]+(?: [a-z]+)?)  +(?=\S)", line):
        return match[1], match.end()
    if hanging and re.fullmatch(r"[A-Z][a-z]+ +", line[:hanging]) and line[hanging:hanging + 1].strip():
        return line[:hanging].strip(), hanging
    return None


def documentation(lines):
    """The lines of one comment, without their slashes, in Doxygen's form."""
    out = []
    hanging = 0  # the column of the text beside a title
    at = 0
    while at < len(lines):
        line = lines[at]
        indent = len(line) - len(line.lstrip())
        begins = indent >= 2 and not line.lstrip().startswith("- ")
        if title := label(line, hanging):
            hanging = title[1]
            text = line[hanging:]
            out += ["", rf"\par {title[0]}", plain(text[0].upper() + text[1:] if re.match("[a-z]+ ", text) else text)]
        elif hanging and indent >= hanging:
            out.append(plain(line.strip()))
        elif begins and (at == 0 or not lines[at - 1] or lines[at - 1].endswith(":")):
            end = at
            while end < len(lines) and not label(lines[end], hanging) and (not lines[end] or lines[end].startswith("  ")):
                end += 1
            text = "\n".join(lines[at:end]).rstrip()
            is_code = re.search(r"[;{}]$|; +//", text, re.M)
            out += [r"\code{.cpp}" if is_code else r"\code{.unparsed}", *text.split("\n"), r"\endcode"]
            at = end
            continue
        else:
            hanging = hanging if not line else 0
            out.append(plain(line))
        at += 1
    return out


def with_brief(lines):
    """The same with the first sentence marked as the brief description."""
    end = 0
    while end < len(lines) and lines[end] and not re.match(r"\s*(\\(par|code)|- )", lines[end]):
        end += 1
    paragraph = " ".join(line.strip() for line in lines[:end])
    first = re.match(r".+?[.?!](?= [A-Z])", paragraph)
    brief = first[0] if first else paragraph
    return [rf"\brief {brief}", "", paragraph[len(brief):].strip(), *lines[end:]] if brief else lines


def main(path):
    is_first = True
    is_open = False  # a group of members
    text = open(path, encoding="utf-8").read()
    # The comments of C.
    text = re.sub(r"^/\*(.*?) ?\*/$", lambda m: "//" + re.sub(r"\n \*", "\n//", m[1]), text, flags=re.M | re.S)
    lines = text.split("\n")
    while lines:
        if not (first := re.match(r"( *)//", lines[0])):
            line = lines.pop(0)
            if line.startswith("template") and lines[0].startswith("struct std::"):
                break  # what is added to the standard library is at the end, and Doxygen finds no place for it
            if is_open and re.match(r" ?(public|protected|private):|};|}  // namespace", line):
                print(r"/// \}")
                is_open = False
            print(re.sub(r"(?<=[;,{}]) +// (.*)", lambda m: "  ///< " + plain(m[1]), line))
            continue
        comment = []
        while lines and (match := re.fullmatch(r" *// ?(.*)", lines[0])):
            comment.append(match[1])
            lines.pop(0)
        out = [r"\file"] if is_first else []
        if comment[0].startswith("--- "):
            title, _, rest = comment[0][4:].partition(". ")
            out = [r"\}"] * is_open + [rf"\name {plain(title.rstrip('.'))}"]
            out += documentation([rest] * bool(rest) + comment[1:]) + [r"\{"]
            is_open = True
        else:
            out += with_brief(documentation(comment))
        is_first = False
        for text in out:
            print(f"{first[1]}/// {text}".rstrip())


main(sys.argv[1])
