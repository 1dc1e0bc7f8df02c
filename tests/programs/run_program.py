#!/usr/bin/env python3
"""Sends C programs through the whole tool chain and compares what they print.

For each program: clang compiles it straight for the target, and icode-cc, pelorus, icode-llvm, llc and the cross linker make executables from
the icode before the optimizer, after it at each level, and after a second run of the optimizer over its own output. All of them must
print what clang's prints and end with the same status; where the program has a file of expected output (NAME.out), clang's must print that.

All icode must obey the rules that icode-val checks. Icode that means the same is compiled once only. Exit status 1 and a table of differences when something differs; with --keep the files stay.
"""
import argparse
import pathlib
import shutil
import subprocess
import sys
import tempfile

from chain import Chain, Failure, Refused, digest, execute


class Program:
    def __init__(self, source, tools, folder, levels):
        self.source = source
        self.chain = Chain(tools)
        self.folder = folder
        self.levels = levels
        self.outcomes = {}  # digest of LLVM's text of it -> (status, output)

    def by_clang(self):
        executable = self.folder / "clang"
        self.chain.clang(self.source, executable)
        return execute(executable)

    def by_icode(self, icode):
        code = icode.with_suffix(".ll")
        self.chain.llvm(icode, code)
        key = digest(code)
        if key not in self.outcomes:
            executable = icode.with_suffix("")
            self.chain.build(code, executable)
            self.outcomes[key] = execute(executable)
        return self.outcomes[key]

    def optimize(self, icode, level, name):
        output = self.folder / f"{name}.opt"
        self.chain.pelorus(icode, output, level)
        return output

    def broken_rules(self):
        """What icode-val says of all icode of the program; "" when it finds no fault."""
        icode = sorted(path for path in self.folder.iterdir() if path.suffix in (".if", ".opt"))
        return self.chain.faults(icode)

    def differences(self):
        """Names of the ways to the executable that print something else than clang's."""
        expected = self.by_clang()
        known = self.source.with_suffix(".out")
        if known.exists() and expected[1] != known.read_bytes():
            yield f"clang's own output is not that of {known.name}"
        icode = self.folder / "before.if"
        self.chain.icode_cc(self.source, icode)
        if self.by_icode(icode) != expected:
            yield "before the optimizer"
        for level in self.levels:
            once = self.optimize(icode, level, f"level{level}")
            if self.by_icode(once) != expected:
                yield f"level {level}"
            twice = self.optimize(once, level, f"level{level}twice")
            if self.by_icode(twice) != expected:
                yield f"level {level}, a second time"
        faults = self.broken_rules()
        if faults:
            yield "icode-val: " + faults


def check(source, arguments):
    """Prints a line about the program; True when nothing differs."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix=f"pelorus-{source.stem}-"))
    program = Program(source, arguments.bin, folder, arguments.levels)
    try:
        faults = list(program.differences())
    except (Failure, Refused, subprocess.TimeoutExpired) as failure:
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
