#!/usr/bin/env python3
"""Compares icode-run with the processor: does a C program do in the interpreter what its executable does under qemu-arm?

  tests/programs/judge.py --bin build/bin examples/*.c
  tests/programs/judge.py --bin build/bin --csmith 300 --jobs 3

Each program is translated to icode once. The executable is made of that icode, without the optimizer, and the interpreter runs the same icode: output
and exit status must be the same. A program that a signal ends has the status that a shell shows, and what it had not written out by then does not
count. Then icode-run --compare runs it beside the optimizer's output of each level, and looks whether each function keeps what the optimizer takes
it never to do. The verdicts:

  same         all runs agree
  DIFFERS      the interpreter's run ends as a program does, and differs; or a function breaks a promise
  TRAP         the interpreter says that the program does what has no meaning
  UNSUPPORTED  the interpreter does not know something that the program uses, and the program is not in the list of those that may
  FAILED       a tool refused its input or crashed
  limit        too long for the interpreter, or for qemu: nothing to compare
  undefined    it differs or traps, and so do builds of other compilers with traps on undefined behaviour

Exit status 1 after a verdict in capitals, whose files stay in --failures.
"""
import argparse
import collections
import concurrent.futures
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from chain import CSMITH_HEADERS, Chain, Failure, Refused, execute, status_text, write_csmith_program

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
QEMU_SECONDS = 20
CSMITH_SECONDS = 2  # csmith's programs need not end
STEPS = 1_000_000_000
RUN_SECONDS = 300
# Programs about what only a processor has.
MAY_BE_UNSUPPORTED = {
    "assembly.c": "assembly",
    "control.c": "assembly",
    "file_level.c": "the function from_asm",  # which file-level assembly defines
    "linkage.c": "the variable __start_entries",  # which the linker defines
}


class Verdict(Exception):
    def __init__(self, name, text=""):
        super().__init__(text)
        self.name = name


def shell_status(status):
    return status if status >= 0 else 128 - status


class Judged:
    """One program. `work` is its folder; what the program itself writes goes to folders below it."""

    def __init__(self, chain, levels, source, work, seconds):
        self.chain = chain
        self.levels = levels
        self.source = source
        self.work = work
        self.seconds = seconds  # of the executable

    def runs_folder(self):
        folder = self.work / "files"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        return folder

    def by_processor(self, icode):
        code = self.work / "program.ll"
        self.chain.llvm(icode, code)
        executable = self.work / "program"
        self.chain.build(code, executable)
        try:
            return execute(executable, self.seconds, self.runs_folder())
        except subprocess.TimeoutExpired:
            raise Verdict("limit", "qemu's run does not end") from None

    def icode_run(self, name, *words):
        """Status, output and message of a run; what is no end of a program is a verdict."""
        command = [self.chain.tools / "icode-run", f"--limit={STEPS}", f"--folder={self.runs_folder()}", *words]
        try:
            result = subprocess.run([str(word) for word in command], stdin=subprocess.DEVNULL, capture_output=True, timeout=RUN_SECONDS)
        except subprocess.TimeoutExpired:
            raise Verdict("limit", f"{name} takes more than {RUN_SECONDS} seconds") from None
        message = result.stderr.decode(errors="replace").strip()[-1500:]
        if result.returncode < 0:
            raise Verdict("FAILED", f"{name}: icode-run ends with {status_text(result.returncode)}: {message}")
        return result.returncode, result.stdout, message

    def by_interpreter(self, icode):
        status, output, message = self.icode_run("not optimized", icode)
        ends = [line for line in message.splitlines() if line.startswith("icode-run: ")]
        for word, verdict in (("trap", "TRAP"), ("not supported", "UNSUPPORTED"), ("limit reached", "limit")):
            if ends and ends[-1].startswith(f"icode-run: {word}"):
                raise Verdict(verdict, message)
        return status, output

    def compare_levels(self, icode):
        for level in self.levels:
            optimized = self.work / f"level{level}.opt"
            self.chain.pelorus(icode, optimized, level)
            status, output, message = self.icode_run(f"level {level}", "--check-functions", "--compare", icode, optimized)
            if status != 0:
                raise Verdict("DIFFERS", f"level {level}: {output.decode(errors='replace')[-1500:]}{message}")

    def judge(self):
        icode = self.work / "program.if"
        self.chain.icode_cc(self.source, icode)
        expected = self.by_processor(icode)
        result = self.by_interpreter(icode)
        same = result[1].startswith(expected[1]) if expected[0] < 0 else result[1] == expected[1]
        if not same or result[0] != shell_status(expected[0]):
            raise Verdict("DIFFERS", difference(expected, result))
        self.compare_levels(icode)


def difference(expected, result):
    """Where two runs part."""
    if shell_status(expected[0]) != result[0]:
        return f"{status_text(expected[0])} expected, not {status_text(result[0])}"
    ours, theirs = result[1].splitlines(), expected[1].splitlines()
    for number, (a, b) in enumerate(zip(ours, theirs), 1):
        if a != b:
            return f"line {number}: {b[:200]!r} expected, not {a[:200]!r}"
    return f"{len(theirs)} lines expected, not {len(ours)}"


def verdict_on(judged, name):
    try:
        judged.judge()
        return "same", ""
    except Verdict as verdict:
        if verdict.name == "UNSUPPORTED" and MAY_BE_UNSUPPORTED.get(name, "\0") in str(verdict):
            return "may be unsupported", str(verdict)
        if verdict.name in ("DIFFERS", "TRAP") and judged.chain.is_undefined(judged.source, judged.work / "trapping", QEMU_SECONDS):
            return "undefined", str(verdict)
        return verdict.name, str(verdict)
    except Refused as refusal:
        return "refused", str(refusal)
    except Failure as failure:
        return "FAILED", str(failure)


def judge_source(source, arguments):
    """A C file, or csmith's program of a number."""
    work = pathlib.Path(tempfile.mkdtemp(prefix="judge-"))
    try:
        if isinstance(source, int):
            name, file, seconds = f"csmith {source}", work / "program.c", CSMITH_SECONDS
            write_csmith_program(source, file)
        else:
            name, file, seconds = source.name, source, QEMU_SECONDS
        judged = Judged(Chain(arguments.bin, [CSMITH_HEADERS]), arguments.levels, file, work, seconds)
        verdict, text = verdict_on(judged, name)
        if verdict.isupper() and arguments.failures:
            kept = arguments.failures / name.replace(" ", "-")
            shutil.rmtree(kept, ignore_errors=True)
            shutil.copytree(work, kept)
            text += f"\n  files in {kept}"
        return name, verdict, text
    except Failure as failure:
        return str(source), "FAILED", str(failure)
    finally:
        shutil.rmtree(work, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", type=lambda text: pathlib.Path(text).resolve(), default=ROOT / "build" / "bin", help="folder of the tools")
    parser.add_argument("--levels", default="01234", help="optimization levels, such as 02")
    parser.add_argument("--csmith", type=int, default=0, metavar="N", help="how many of csmith's programs, too")
    parser.add_argument("--seed", type=int, default=1, help="the first of them")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="programs at the same time")
    parser.add_argument("--failures", type=lambda text: pathlib.Path(text).resolve(), help="where failures are kept")
    parser.add_argument("sources", type=pathlib.Path, nargs="*")
    arguments = parser.parse_args()
    sources = [*arguments.sources, *range(arguments.seed, arguments.seed + arguments.csmith)]
    counts = collections.Counter()
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        for name, verdict, text in pool.map(lambda source: judge_source(source, arguments), sources):
            counts[verdict] += 1
            if verdict != "same":
                print(f"{name} {verdict}: {text}", flush=True)
            if sum(counts.values()) % 50 == 0:
                print(f"... {sum(counts.values())} programs", flush=True)
    others = ", ".join(f"{number} {verdict}" for verdict, number in sorted(counts.items()) if verdict != "same")
    print(f"{counts['same']} of {len(sources)} programs do the same in the interpreter" + (f"; {others}" if others else ""))
    return 1 if any(verdict.isupper() for verdict in counts) else 0


if __name__ == "__main__":
    sys.exit(main())
