#!/usr/bin/env python3
"""Prints the man page of a program, made from what it prints as --help and from its part of the manual.

  manual_page.py PROGRAM VERSION PURPOSE [MANUAL.md]

The lines of --help become the synopsis, paragraphs and a list of options, the manual's headings sections. A table becomes a list: its first
column names what the others tell of.
"""
import pathlib
import re
import subprocess
import sys

OPTION = re.compile(r"^ {2,}([-@]\S.*?)(?: {2,}|: )(.*)$|^ {2,}([-@]\S+) (?=[a-z])(.*)$")


def escaped(text):
    text = text.replace("\\", "\\e").replace("-", "\\-").replace("'", "\\(aq").replace("`", "\\(ga").replace("^", "\\(ha").replace("~", "\\(ti")
    text = "".join(c if ord(c) < 128 else f"\\[u{ord(c):04X}]" for c in text)
    return "\\&" + text if text.startswith(".") else text


def inline(text):
    """Code becomes bold, emphasis italic; of a link only its text stays."""
    result = []
    for i, part in enumerate(re.split(r"(`[^`]*`)", text)):
        if i % 2:
            result.append("\\fB" + escaped(part[1:-1]) + "\\fR")
            continue
        part = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", part)
        for word in re.split(r"(\*\*[^*]+\*\*|\*[^*\s][^*]*\*)", part):
            emphasis = word.strip("*") if word.startswith("*") and word.endswith("*") and len(word) > 2 else None
            result.append("\\fI" + escaped(emphasis) + "\\fR" if emphasis else escaped(word))
    text = "".join(result)
    return "\\&" + text if text[:1] in (".", "'") else text


def item(head, text):
    return [".TP", head, *text]


def verbatim(lines):
    return [".PP", ".RS 4", ".EX", *(escaped(line) for line in lines), ".EE", ".RE"]


# --- The help ---

def help_page(name, text):
    lines = text.rstrip().splitlines()
    synopsis = []
    while lines and re.match(rf"(usage:)?\s*(\S*/)?{re.escape(name)}\s", lines[0], re.IGNORECASE):
        words = re.sub(r"^(usage:)?\s*(\S*/)?", "", lines.pop(0), flags=re.IGNORECASE)
        synopsis += [".br"] * bool(synopsis) + ["\\fB" + escaped(name) + "\\fR" + escaped(re.split(r" {2,}", words)[0][len(name):])]
    return [".SH SYNOPSIS", ".nh", *synopsis, ".hy", ".SH DESCRIPTION", *help_body(lines)]


def help_body(lines):
    page, in_list = [], False
    for line in lines:
        option = OPTION.match(line)
        if option:
            head, told = option[1] or option[3], option[2] or option[4]
            page += item("\\fB" + escaped(head) + "\\fR", [escaped(told)])
        elif line.startswith("  -"):  # options without a word about them
            page += item("\\fB" + escaped(line.strip()) + "\\fR", ["\\&"])
        elif line.startswith(" ") and in_list:
            page.append(escaped(line.strip()))
        elif line.strip():
            page += ([".PP"] if in_list or line.startswith(("Example:", "Exit status:")) else []) + [escaped(line)]
        else:
            page.append(".PP")
        in_list = bool(option) or line.startswith("  ")
    return page


# --- The manual ---

def cells(line):
    return [cell.strip().replace("\\|", "|") for cell in re.split(r"(?<!\\)\|", line.strip())[1:-1]]


def table(lines):
    """A list: the first cell of each row with the others below it, under the names of their columns."""
    names, page = cells(lines[0]), []
    for row in map(cells, lines[2:]):
        told = [(name, cell) for name, cell in zip(names[1:], row[1:]) if cell]
        text = []
        for name, cell in told:
            text += [".br"] * bool(text) + [("\\fI" + escaped(name) + "\\fR: " if name and len(names) > 2 else "") + inline(cell)]
        page += item(inline(row[0]), text or ["\\&"])
    return page


def blocks(lines):
    """Divides the text into (kind, lines)."""
    i = 0
    while i < len(lines):
        start = i
        i += 1
        if lines[start].startswith("```"):
            while not lines[i].startswith("```"):
                i += 1
            i += 1
            yield "code", lines[start + 1:i - 1]
        elif lines[start].startswith("    "):
            while i < len(lines) and lines[i].startswith("    "):
                i += 1
            yield "code", [line[4:] for line in lines[start:i]]
        elif lines[start].startswith("|"):
            while i < len(lines) and lines[i].startswith("|"):
                i += 1
            yield "table", lines[start:i]
        elif lines[start].startswith("#"):
            yield "heading", lines[start:i]
        elif lines[start].strip():
            while i < len(lines) and lines[i].strip() and not re.match(r"(```|\||#|- |\d+\. )", lines[i]):
                i += 1
            yield "text", [line.strip() for line in lines[start:i]]


def manual_page(lines):
    page = []
    for kind, content in blocks(lines):
        first = content[0] if content else ""
        if kind == "code":
            page += verbatim(content)
        elif kind == "table":
            page += table(content)
        elif first.startswith("# "):
            page += [".SH MANUAL"]
        elif first.startswith("## "):
            page += [".SH " + inline(first[3:].upper())]
        elif kind == "heading":
            page += [".SS " + inline(first.lstrip("# "))]
        elif mark := re.match(r"(-|\d+\.) ", first):
            text = inline(" ".join([first[mark.end():], *content[1:]]))
            page += [".IP \\(bu 2" if mark[1] == "-" else f".IP {mark[1]} 4", text]
        else:
            page += [".PP", inline(" ".join(content))]
    return page


def main():
    program, version, purpose = sys.argv[1:4]
    name = pathlib.Path(program).name
    help_text = subprocess.run([program, "--help"], capture_output=True, text=True, check=False).stdout
    page = [f'.TH {escaped(name.upper())} 1 "" "Pelorus {version}" "Pelorus"', ".SH NAME", f"{escaped(name)} \\- {escaped(purpose)}"]
    manual = pathlib.Path(sys.argv[4]).read_text().splitlines() if len(sys.argv) > 4 else []
    # The optimizer prints the state of its options; what they do is in the manual.
    page += help_page(name, help_text) if "SEEN" not in help_text else [".SH SYNOPSIS", f"\\fB{name}\\fR [\\-options] input [output]"]
    page += manual_page(manual)
    page += [".SH SEE ALSO", "The whole manual lies in \\fIshare/doc/pelorus\\fR."]
    print("\n".join(page))


main()
