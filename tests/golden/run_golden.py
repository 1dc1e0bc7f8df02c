#!/usr/bin/env python3
"""Golden cases: text icode goes in, what pelorus makes of it is compared with text that is kept.

A case is a file NAME.ict. Its first line is a comment that says why the case exists. Further comment lines direct the run:

  ; RUN: -o1 --trace      options of pelorus; without this line -o0
  ; STATUS: 1             the exit status; 0 when not given
  ; TRACE: regex          lines of the debug trace that match are part of the result, in order; may stand several times
  ; INFO                  the information file is part of the result; needs --info in RUN
  ; ERROR                 what pelorus prints on the error stream is part of the result

The result is the text form of the output, then the trace lines, the information file, then the error stream. It is compared with NAME.expected; --refresh writes that file
instead, for the author to read with git diff.
"""
import argparse
import difflib
import pathlib
import re
import subprocess
import sys
import tempfile

SECONDS = 60


class Case:
    def __init__(self, path):
        self.path = path
        comments = [line[1:].strip() for line in path.read_text().splitlines() if line.startswith(";")]
        self.options = self.directive(comments, "RUN", "-o0").split()
        self.status = int(self.directive(comments, "STATUS", "0"))
        self.patterns = [re.compile(line[6:].strip()) for line in comments if line.startswith("TRACE:")]
        self.wants_info = "INFO" in comments
        self.wants_errors = "ERROR" in comments

    @staticmethod
    def directive(comments, name, default):
        for line in comments:
            if line.startswith(name + ":"):
                return line[len(name) + 1:].strip()
        return default

    def result(self, tools):
        with tempfile.TemporaryDirectory(prefix="pelorus-golden-") as folder:
            return self.result_in(tools.resolve(), pathlib.Path(folder))

    def result_in(self, tools, folder):
        """Names are relative to the folder: the optimizer writes its command line into the output."""
        def run(*command):
            return subprocess.run([str(word) for word in command], cwd=folder, capture_output=True, timeout=SECONDS, text=True, errors="replace")

        assembled = run(tools / "icode-as", self.path.resolve(), "-o", "case.if")
        if assembled.returncode:
            return f"icode-as: {assembled.stderr}"
        optimized = run(tools / "pelorus", *self.options, "case.if", "case.opt")
        parts = []
        if optimized.returncode != self.status:
            parts.append(f"status {optimized.returncode}, {self.status} expected\n{optimized.stdout}{optimized.stderr}")
        if (folder / "case.opt").exists():
            parts.append(run(tools / "icode-dis", "case.opt").stdout)
        if self.patterns:
            lines = (folder / "case.odb").read_text(errors="replace").splitlines() if (folder / "case.odb").exists() else ["no trace"]
            parts.append("".join(line + "\n" for line in lines if any(pattern.search(line) for pattern in self.patterns)))
        if self.wants_info:
            parts.append((folder / "case.nfo").read_text(errors="replace") if (folder / "case.nfo").exists() else "no information\n")
        if self.wants_errors:
            parts.append(optimized.stderr)
        return "\n====\n".join(parts)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", type=pathlib.Path, required=True, help="folder of the tools")
    parser.add_argument("--refresh", action="store_true", help="write the expected files")
    parser.add_argument("cases", type=pathlib.Path, nargs="+")
    arguments = parser.parse_args()
    failures = 0
    for path in arguments.cases:
        result = Case(path).result(arguments.bin)
        expected_path = path.with_suffix(".expected")
        if arguments.refresh:
            expected_path.write_text(result)
            continue
        expected = expected_path.read_text() if expected_path.exists() else ""
        if result != expected:
            failures += 1
            sys.stdout.writelines(difflib.unified_diff(expected.splitlines(True), result.splitlines(True), str(expected_path), "now"))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
