#!/usr/bin/env python3
"""Runs the compiler so that executables are made of whole programs.

  whole_program.py COMPILER WORD...

An object keeps the icode that it was made of in a section that no linker reads. When an executable has been linked, the icode of all
objects and members of archives that the linker took is one translation unit for -fwhole-program, which is compiled and linked in their
place. A program stays as it was linked when

- it gives its names to shared objects that it loads (-rdynamic and the like), for which -fwhole-program does not hold;
- its icode cannot be one unit: icode-join tells why.

REALWORLD_PROGRAMS names a folder that gets a file for each executable: empty, or with the reason why it is not a whole program.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

SECTION = ".icode"
OBJCOPY = "arm-linux-gnueabihf-objcopy"
AR = "arm-linux-gnueabihf-ar"
NO_LINKING = {"-c", "-S", "-E", "-M", "-MM", "-fsyntax-only", "--version", "-dumpmachine"}
NO_EXECUTABLE = {"-shared", "-r", *NO_LINKING}
EXPORTS = re.compile(r"-rdynamic|-Wl,(.*,)?(-E|--?export-dynamic)(,.*)?")
REFUSED = "icode-join: "


def value_of(words, name, default):
    """The last value of an option that is a word of its own or has its value in the same one."""
    value = default
    for index, word in enumerate(words):
        if word == name and index + 1 < len(words):
            value = words[index + 1]
        elif word.startswith(name) and word != name:
            value = word[len(name):]
    return value


def icode_of(report):
    """Where --keep-temps has left the icode of each source."""
    steps = [line.split("\t") for line in report.read_text().splitlines()] if report.exists() else []
    return {source: pathlib.Path(output) for step, _, source, output in steps if step == "icode-cc" and source != "-"}


def compile(compiler, words, folder, **settings):
    """Runs the compiler; its result, and the icode of the sources. What it reports goes to the report of the command, too."""
    own = folder / "report"
    asked = value_of(words, "--time-report=", None)
    result = subprocess.run([compiler, *words, f"--time-report={own}"], **settings)
    if asked and own.exists():
        with open(asked, "ab") as report:
            report.write(own.read_bytes())
    return result, icode_of(own)


def compile_whole(compiler, parts, words, output):
    """None, or why the parts are no unit. What the compiler reports is left out, for the parts were counted when they were compiled."""
    command = [compiler, *parts, *words, "-fwhole-program", "-o", output, "--time-report=/dev/null"]
    result = subprocess.run(command, stderr=subprocess.PIPE, text=True)
    refused = [line for line in result.stderr.splitlines() if line.startswith(REFUSED)]
    if result.returncode and not refused:
        sys.exit(f"{output} as a whole program: {result.stderr}")
    return refused[0].removeprefix(REFUSED) if refused else None


def keep_in_objects(words, icode):
    for source, file in icode.items():
        compiled = value_of(words, "-o", None) or pathlib.Path(source).with_suffix(".o").name
        subprocess.run([OBJCOPY, "--add-section", f"{SECTION}={file}", "--set-section-flags", f"{SECTION}=exclude", compiled], check=True)


def kept_icode(compiled, output):
    """Writes the icode that an object keeps; false when it has none."""
    command = [OBJCOPY, "-O", "binary", f"--only-section={SECTION}", "--set-section-flags", f"{SECTION}=alloc", compiled, output]
    return subprocess.run(command, capture_output=True).returncode == 0 and output.exists() and output.stat().st_size > 0


class Program:
    """An executable that was linked. `taken` is what the linker has printed: the files that it took."""

    def __init__(self, compiler, words, taken, icode, folder):
        self.compiler = compiler
        self.words = words
        self.folder = folder
        self.parts = list(icode.values())
        self.replaced = set(icode)
        for line in taken.splitlines():
            self.take(line)

    def take(self, line):
        member = re.fullmatch(r"\((.*)\)(.*)", line)
        compiled = pathlib.Path(line)
        if member:
            compiled = self.folder / f"member{len(self.parts)}.o"
            with open(compiled, "wb") as output:
                subprocess.run([AR, "p", *member.groups()], stdout=output, check=True)
        part = self.folder / f"part{len(self.parts)}-{compiled.stem}.if"
        if compiled.suffix in (".o", ".lo") and kept_icode(compiled, part):
            self.parts.append(part)
            self.replaced.add(line)

    def make_whole(self):
        """None, or why the program stays as it was linked."""
        if any(EXPORTS.fullmatch(word) for word in self.words):
            return "it gives its names to shared objects"
        output = value_of(self.words, "-o", "a.out")
        whole = self.folder / "whole"
        words = [word for word in self.words if word not in self.replaced]
        refused = compile_whole(self.compiler, self.parts, words, whole)
        if refused:
            return refused
        os.replace(whole, output)
        return None


def note(output, reason):
    folder = os.environ["REALWORLD_PROGRAMS"]
    with tempfile.NamedTemporaryFile("w", dir=folder, delete=False) as file:
        if reason:
            file.write(f"{output}: {reason}")


def run(compiler, words, folder):
    linked = not NO_EXECUTABLE & set(words) and bool(os.environ.get("REALWORLD_LAUNCH"))
    if not linked:
        result, icode = compile(compiler, words, folder)
        if "-c" in words and not result.returncode:
            keep_in_objects(words, icode)
        return result.returncode
    result, icode = compile(compiler, [*words, "-Wl,--trace,--trace"], folder, stdout=subprocess.PIPE, text=True)
    if result.returncode:
        return result.returncode
    program = Program(compiler, words, result.stdout, icode, folder)
    if program.parts:
        note(value_of(words, "-o", "a.out"), program.make_whole())
    return 0


def main():
    with tempfile.TemporaryDirectory(prefix="whole-program-") as folder:
        return run(sys.argv[1], sys.argv[2:], pathlib.Path(folder))


if __name__ == "__main__":
    sys.exit(main())
