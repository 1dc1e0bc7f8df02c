#!/usr/bin/env python3
"""Comments and Markdown end before column 111. Tables, fenced text and lines of one long word may not."""
import pathlib
import re
import subprocess
import sys

WIDTH = 110
CODE = {".h": "//", ".cpp": "//", ".def": "//", ".py": "#", ".sh": "#", ".txt": "#", "": "#"}
FOLDERS = ("src", "tools", "tests", "bench", "scripts", "docs", ".ci")


def long_comments(lines, mark):
    """Yields the numbers of the lines whose comment goes too far; a mark in a string is none."""
    comment = re.compile(r"^(?:[^\"'`]|\"(?:\\.|[^\"\\])*\"|'(?:\\.|[^'\\])*')*?(?:^|\s)" + re.escape(mark) + r"(?!\!)")
    for number, line in enumerate(lines, 1):
        if len(line) > WIDTH and comment.search(line):
            yield number


def long_prose(lines):
    """Yields the numbers of the lines of Markdown that could be wrapped and are not."""
    fenced = False
    for number, line in enumerate(lines, 1):
        if line.lstrip().startswith("```"):
            fenced = not fenced
        elif not fenced and len(line) > WIDTH and not line.startswith(("|", "    ")) and " " in line[:WIDTH].strip():
            yield number


def main():
    root = pathlib.Path(sys.argv[1])
    listed = subprocess.run(["git", "-C", root, "ls-files"], check=True, capture_output=True, text=True).stdout
    bad = []
    for name in listed.splitlines():
        path = pathlib.Path(name)
        if len(path.parts) > 1 and path.parts[0] not in FOLDERS:
            continue
        if path.suffix != ".md" and (path.suffix not in CODE or path.name in ("LICENSE", ".gitignore")):
            continue
        lines = (root / path).read_text(errors="replace").splitlines()
        found = long_prose(lines) if path.suffix == ".md" else long_comments(lines, CODE[path.suffix])
        bad += [f"{name}:{number}: longer than {WIDTH} columns" for number in found]
    print("\n".join(bad))
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
