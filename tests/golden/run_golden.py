#!/usr/bin/env python3
"""Golden cases: text icode goes in, what pelorus makes of it is compared with text that is kept.

A case is a file NAME.ict. Its first line is a comment that says why the case exists. Further comment lines
direct the run:

  ; RUN: -o1 --trace      options of pelorus; without this line -o0. With several such lines the case runs once
                          with each, and the result of each begins with the line
  ; STATUS: 1             the exit status; 0 when not given
  ; OUTPUT: regex         of the output only the lines that match are part of the result
  ; TRACE: regex          lines of the debug trace that match are part of the result, in order; may stand
                          several times
  ; INFO                  the information file is part of the result; needs --info in RUN
  ; ERROR                 what pelorus prints on the error stream is part of the result
  ; SAME                  the program behaves alike before and after, and no function does what the optimizer
                          says that it never does; NAME.rest.c has what the case lacks to be a program

The result is the text form of the output, then the trace lines, the information file, then the error stream.
It is compared with NAME.expected; --refresh writes that file instead, for the author to read with git diff.
"""
import argparse
import difflib
import pathlib
import re
import subprocess
import sys
import tempfile

SECONDS = 60
STEPS = "--limit=1000000"
VERSION = re.compile(r"\A.*\nBuild Number .*\n\n")  # the head of the information file


class Case:
    def __init__(self, path):
        self.path = path
        comments = [line[1:].strip() for line in path.read_text().splitlines() if line.startswith(";")]
        self.runs = self.directive(comments, "RUN") or ["-o0"]
        self.status = int((self.directive(comments, "STATUS") or [0])[0])
        self.output_patterns = [re.compile(text) for text in self.directive(comments, "OUTPUT")]
        self.patterns = [re.compile(text) for text in self.directive(comments, "TRACE")]
        self.wants_info = "INFO" in comments
        self.wants_errors = "ERROR" in comments
        self.is_run = "SAME" in comments
        self.differences = ""

    @staticmethod
    def directive(comments, name):
        return [line[len(name) + 1:].strip() for line in comments if line.startswith(name + ":")]

    def result(self, tools):
        if len(self.runs) == 1:
            return self.result_of(self.runs[0], tools)
        return "".join(f"==== RUN: {options}\n{self.result_of(options, tools)}" for options in self.runs)

    def result_of(self, options, tools):
        with tempfile.TemporaryDirectory(prefix="pelorus-golden-") as folder:
            return self.result_in(options.split(), tools.resolve(), pathlib.Path(folder))

    def result_in(self, options, tools, folder):
        """Names are relative to the folder: the optimizer writes its command line into the output."""
        def run(*command):
            return subprocess.run([str(word) for word in command], cwd=folder, capture_output=True,
                                  timeout=SECONDS, text=True, errors="replace")

        assembled = run(tools / "icode-as", self.path.resolve(), "-o", "case.if")
        if assembled.returncode:
            return f"icode-as: {assembled.stderr}"
        optimized = run(tools / "pelorus", *options, "case.if", "case.opt")
        parts = []
        if optimized.returncode != self.status:
            parts.append(f"status {optimized.returncode}, {self.status} expected\n"
                         f"{optimized.stdout}{optimized.stderr}")
        if (folder / "case.opt").exists():
            parts.append(matching(run(tools / "icode-dis", "case.opt").stdout, self.output_patterns))
        if self.patterns:
            parts.append(matching(text_of(folder / "case.odb"), self.patterns))
        if self.wants_info:
            parts.append(VERSION.sub("", text_of(folder / "case.nfo")))
        if self.wants_errors:
            parts.append(optimized.stderr)
        if self.is_run:
            self.differences += self.difference(tools, run)
        return "\n====\n".join(parts)

    def difference(self, tools, run):
        """What the program does otherwise after the optimizer; without a front end only whole programs run."""
        rest = self.path.resolve().with_suffix(".rest.c")
        commands = [["icode-run", "--check-functions", STEPS, "--compare", "case.if", "case.opt"]]
        if rest.exists():
            if not (tools / "icode-cc").exists():
                return ""
            commands = [["icode-cc", rest, "-o", "rest.if"],
                        ["icode-join", "-o", "before.if", "rest.if", "case.if"],
                        ["icode-join", "-o", "after.if", "rest.if", "case.opt"],
                        ["icode-run", "--check-functions", STEPS, "--compare", "before.if", "after.if"]]
        for command in commands:
            finished = run(tools / command[0], *command[1:])
            if finished.returncode:
                return f"{self.path}: {finished.stdout}{finished.stderr}"
        return ""


def matching(text, patterns):
    """The lines that match one of the patterns; all when there is no pattern."""
    lines = text.splitlines(True)
    return "".join(line for line in lines if not patterns or any(each.search(line) for each in patterns))


def text_of(path):
    return path.read_text(errors="replace") if path.exists() else f"no {path.name}\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", type=pathlib.Path, required=True, help="folder of the tools")
    parser.add_argument("--refresh", action="store_true", help="write the expected files")
    parser.add_argument("cases", type=pathlib.Path, nargs="+")
    arguments = parser.parse_args()
    failures = 0
    for path in arguments.cases:
        case = Case(path)
        result = case.result(arguments.bin)
        if case.differences:
            failures += 1
            print(case.differences)
        expected_path = path.with_suffix(".expected")
        if arguments.refresh:
            expected_path.write_text(result)
            continue
        expected = expected_path.read_text() if expected_path.exists() else ""
        if result != expected:
            failures += 1
            sys.stdout.writelines(difflib.unified_diff(expected.splitlines(True), result.splitlines(True),
                                                       str(expected_path), "now"))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
