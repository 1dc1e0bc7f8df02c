#!/usr/bin/env python3
"""What --graph writes of real programs: `dot` can read it, every edge leads between blocks that are there, every step gives a picture of every
function, another run the same ones, and the output is as it is without them.

  pictures.py --bin build/bin program.c ...

Without graphviz its own reading of the text has to do.
"""
import argparse
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ALL_STEPS = "FFFFFF"
SHOWN_STEPS = range(3, 24)  # there are blocks from step 3 on, and none behind the output
DRAWN = 4  # pictures of each program, about, that `dot` has to draw; a large one takes a second

TOKEN = re.compile(r'"(?:[^"\\\n]|\\.)*"|->|[A-Za-z_0-9.]+|[{}\[\]=;,]|\s+')


def tokens_of(text):
    at = 0
    while at < len(text):
        match = TOKEN.match(text, at)
        if not match:
            raise ValueError(f"no token at byte {at}: {text[at:at + 30]!r}")
        at = match.end()
        if not match.group().isspace():
            yield match.group()


def faults_of(text):
    """Of a picture's text, which is a small part of the language: one statement a line, each with its ';'."""
    nodes, ends, depth = set(), set(), 0
    for line in text.splitlines():
        try:
            tokens = list(tokens_of(line))
        except ValueError as problem:
            return [str(problem)]
        depth += tokens.count("{") - tokens.count("}")
        if tokens[-1] not in ("{", "}", ";"):
            return [f"the line has no end: {line}"]
        if "->" in tokens:
            ends |= {tokens[0], tokens[2]}
        elif tokens[1:2] == ["["]:
            nodes.add(tokens[0])
    faults = ["what is opened is not closed"] if depth else []
    return faults + [f"an edge of {name}, which is no node" for name in sorted(ends - nodes)]


def pictures_of(tools, icode, folder, options):
    """The pictures by name, and the output as text without the note that names the command line."""
    folder.mkdir()
    output = folder / "p.opt"
    subprocess.run([tools / "pelorus", "-o2", *options, icode, output], check=True)
    text = subprocess.run([tools / "icode-dis", output], check=True, capture_output=True, text=True).stdout
    return {path.name: path.read_text() for path in sorted(folder.glob("*.dot"))}, re.sub(r"comment .*\n", "", text)


def complaints_about(text):
    return subprocess.run(["dot", "-Tsvg", "-o", "/dev/null"], input=text, text=True, capture_output=True).stderr


def faults_of_program(tools, program, root):
    icode = root / "p.if"
    subprocess.run([tools / "icode-cc", "-w", program, "-o", icode], check=True)
    pictures, output = pictures_of(tools, icode, root / "first", ["--graph=" + ALL_STEPS])
    if pictures_of(tools, icode, root / "second", ["--graph=" + ALL_STEPS])[0] != pictures:
        yield "another run gives other pictures"
    if pictures_of(tools, icode, root / "none", [])[1] != output:
        yield "the output differs from that without pictures"
    functions = {name.split(".")[1] for name in pictures}
    if set(pictures) != {f"p.{function}.step{step:02}.dot" for function in functions for step in SHOWN_STEPS}:
        yield "not every step has its picture"
    for name, text in pictures.items():
        yield from (f"{name}: {fault}" for fault in faults_of(text))
    if shutil.which("dot"):
        by_size = sorted(pictures.values(), key=len)
        yield from (f"dot: {message}" for message in map(complaints_about, by_size[::len(by_size) // DRAWN]) if message)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bin", type=lambda text: pathlib.Path(text).resolve(), required=True, help="folder of the tools")
    parser.add_argument("programs", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()
    faults = []
    for program in arguments.programs:
        with tempfile.TemporaryDirectory() as root:
            faults += [f"{program.name}: {fault}" for fault in faults_of_program(arguments.bin, program, pathlib.Path(root))]
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
