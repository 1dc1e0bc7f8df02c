#!/usr/bin/env python3
"""The same input and options give the same bytes: on every run, wherever the system puts the program in memory, in whatever locale and
directory, and whoever compiled the tools.

  determinism.py --bin build/bin [--other build-asan/bin] program.c ...

icode-cc is compared with itself; pelorus (output and information file, at every level) and icode-llvm also with the --other builds of them. Exit status 77 when
something could not be tried here, and nothing that could be was wrong.
"""
import argparse
import os
import pathlib
import subprocess
import sys
import tempfile

SKIPPED = 77
LEVELS = range(5)
LOCALE = "de_DE"  # writes a comma where C writes the decimal point


class Runner:
    """A way to run the tools: in `folder`, which has a name of its own, with some environment, behind some command."""

    def __init__(self, name, tools, root, before=(), environment=None):
        self.name = name
        self.tools = tools
        self.before = list(before)
        self.environment = {**os.environ, **(environment or {})}
        self.folder = root / name.replace(" ", "-")
        self.folder.mkdir()

    def run(self, tool, *arguments):
        command = [*self.before, self.tools / tool, *arguments]
        result = subprocess.run([str(word) for word in command], cwd=self.folder, env=self.environment, capture_output=True)
        if result.returncode:
            sys.exit(f"determinism: {self.name}: {' '.join(map(str, command))}\n{result.stderr.decode(errors='replace')}")

    def front_end(self, source):
        self.run("icode-cc", "-w", source, "-o", "out.if")
        return {"icode-cc": (self.folder / "out.if").read_bytes()}

    def back_end(self, icode):
        """What pelorus and icode-llvm make of the icode, by name."""
        made = {}
        (self.folder / "in.if").write_bytes(icode)
        for level in LEVELS:
            self.run("pelorus", f"-o{level}", "--info", "in.if", "out.opt")
            made[f"pelorus -o{level}"] = (self.folder / "out.opt").read_bytes()
            information = self.folder / "in.nfo"
            if information.exists():
                made[f"pelorus -o{level} --info"] = information.read_bytes()
                information.unlink()
        self.run("icode-llvm", "in.if", "-o", "out.ll")
        made["icode-llvm"] = (self.folder / "out.ll").read_bytes()
        return made


def succeeds(*command):
    return subprocess.run(command, capture_output=True).returncode == 0


def runners(tools, others, root):
    """The ways that are possible here, the first being the one to compare with; and what is not possible."""
    ways = [Runner("first run", tools, root), Runner("second run", tools, root),
            Runner("a directory with quite another name", tools, root, environment={"PADDING": "x" * 5000})]
    missing = []
    if succeeds("setarch", "-R", "true"):
        ways.append(Runner("no address randomization", tools, root, ["setarch", "-R"]))
    else:
        missing.append("switching address randomization off")
    locales = root / "locales"
    locales.mkdir()
    if succeeds("localedef", "-i", LOCALE, "-f", "UTF-8", str(locales / LOCALE)):
        ways.append(Runner("locale " + LOCALE, tools, root, environment={"LOCPATH": str(locales), "LC_ALL": LOCALE}))
    else:
        missing.append(f"the locale {LOCALE}")
    builds = []
    for folder in others:
        if (folder / "pelorus").exists():
            builds.append(Runner(f"build {folder.parent.name}", folder, root))
        else:
            missing.append(f"the build in {folder.parent.name}")
    return ways, builds, missing


def differences(ways, builds, source):
    first = ways[0].front_end(source)
    for way in ways[1:]:
        if way.front_end(source) != first:
            yield f"{source.name}: icode-cc differs: {way.name}"
    expected = ways[0].back_end(first["icode-cc"])
    for way in ways[1:] + builds:
        made = way.back_end(first["icode-cc"])
        yield from (f"{source.name}: {name} differs: {way.name}" for name in expected if made.get(name) != expected[name])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bin", type=lambda text: pathlib.Path(text).resolve(), required=True, help="folder of the tools")
    parser.add_argument("--other", type=lambda text: pathlib.Path(text).resolve(), action="append", default=[], help="folder of another build")
    parser.add_argument("sources", type=lambda text: pathlib.Path(text).resolve(), nargs="+")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="pelorus-determinism-") as name:
        ways, builds, missing = runners(arguments.bin, arguments.other, pathlib.Path(name))
        faults = [fault for source in arguments.sources for fault in differences(ways, builds, source)]
    for fault in faults:
        print(fault)
    print(f"{len(arguments.sources)} programs, {len(ways) + len(builds)} ways to run: {len(faults)} differences")
    if missing:
        print("not tried: " + "; ".join(missing))
    return 1 if faults else SKIPPED if missing else 0


if __name__ == "__main__":
    sys.exit(main())
