#!/usr/bin/env python3
"""Sends C programs through the whole tool chain and compares what they print.

For each program: clang compiles it straight for the target, and icode-cc, pelorus, icode-llvm, llc and the cross linker make executables from
the icode before the optimizer, after it at each level, and after a second run of the optimizer over its own output. All of them must
print what clang's prints and end with the same status; where the program has a file of expected output (NAME.out), clang's must print that.

Equal icode is compiled once only. Exit status 1 and a table of differences when something differs; with --keep the files stay.
"""
import argparse
import hashlib
import pathlib
import shutil
import subprocess
import sys
import tempfile

TARGET = "--target=armv7-linux-gnueabihf"
SECONDS = 120  # for one step of one program


class Failure(Exception):
    pass


def run(command, what, **options):
    """Runs a command that must succeed; its output is the failure's text otherwise."""
    result = subprocess.run([str(word) for word in command], capture_output=True, timeout=SECONDS, **options)
    if result.returncode != 0:
        shown = " ".join(str(word) for word in command)
        text = (result.stderr + result.stdout).decode(errors="replace").strip()[-2000:]
        raise Failure(f"{what} failed (status {result.returncode}): {shown}\n{text}")
    return result


def execute(executable):
    """Status and output of an ARM executable under qemu-arm."""
    result = subprocess.run(["qemu-arm", executable], capture_output=True, timeout=SECONDS, stdin=subprocess.DEVNULL)
    return result.returncode, result.stdout


class Program:
    def __init__(self, source, tools, folder, levels):
        self.source = source
        self.tools = tools
        self.folder = folder
        self.levels = levels
        self.outcomes = {}  # digest of icode -> (status, output)

    def by_clang(self):
        executable = self.folder / "clang"
        run(["clang-19", TARGET, "-O1", "-std=gnu11", "-w", "-static", self.source, "-o", executable, "-lm"], "clang")
        return execute(executable)

    def by_icode(self, icode):
        digest = hashlib.sha256(icode.read_bytes()).hexdigest()
        if digest not in self.outcomes:
            stem = icode.with_suffix("")
            run([self.tools / "icode-llvm", icode, "-o", f"{stem}.ll"], "icode-llvm")
            run(["llc-19", "-O2", "-relocation-model=pic", "-filetype=obj", f"{stem}.ll", "-o", f"{stem}.o"], "llc")
            run(["arm-linux-gnueabihf-gcc", "-static", f"{stem}.o", "-o", stem, "-lm"], "linking")
            self.outcomes[digest] = execute(stem)
        return self.outcomes[digest]

    def optimize(self, icode, level, name):
        output = self.folder / f"{name}.opt"
        run([self.tools / "pelorus", f"-o{level}", icode, output], f"pelorus -o{level}")
        return output

    def differences(self):
        """Names of the ways to the executable that print something else than clang's."""
        expected = self.by_clang()
        known = self.source.with_suffix(".out")
        if known.exists() and expected[1] != known.read_bytes():
            yield f"clang's own output is not that of {known.name}"
        icode = self.folder / "before.if"
        run([self.tools / "icode-cc", self.source, "-o", icode], "icode-cc")
        if self.by_icode(icode) != expected:
            yield "before the optimizer"
        for level in self.levels:
            once = self.optimize(icode, level, f"level{level}")
            if self.by_icode(once) != expected:
                yield f"level {level}"
            twice = self.optimize(once, level, f"level{level}twice")
            if self.by_icode(twice) != expected:
                yield f"level {level}, a second time"


def check(source, arguments):
    """Prints a line about the program; True when nothing differs."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix=f"pelorus-{source.stem}-"))
    program = Program(source, arguments.bin, folder, arguments.levels)
    try:
        faults = list(program.differences())
    except (Failure, subprocess.TimeoutExpired) as failure:
        faults = [str(failure)]
    if not faults:
        output = program.by_icode(folder / f"level{arguments.levels[-1]}.opt")[1]
        first = output.decode(errors="replace").splitlines()[:1]
        print(f"  same  {source.name:24} levels {arguments.levels}" + (f"  {first[0][:60]}" if arguments.show and first else ""))
    else:
        print(f"DIFFERS {source.name}")
        for fault in faults:
            print("        " + fault.replace("\n", "\n        "))
    if arguments.keep:
        print(f"        files in {folder}")
    else:
        shutil.rmtree(folder)
    sys.stdout.flush()
    return not faults


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bin", type=pathlib.Path, required=True, help="folder of the tools")
    parser.add_argument("--levels", default="01234", help="optimization levels, such as 02")
    parser.add_argument("--keep", action="store_true", help="keep the intermediate files")
    parser.add_argument("--show", action="store_true", help="show the first line of each program's output")
    parser.add_argument("sources", type=pathlib.Path, nargs="+")
    arguments = parser.parse_args()
    same = [check(source, arguments) for source in arguments.sources]
    print(f"{sum(same)} of {len(same)} programs print the same as clang's")
    return 0 if all(same) else 1


if __name__ == "__main__":
    sys.exit(main())
