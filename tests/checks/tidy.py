#!/usr/bin/env python3
"""Runs clang-tidy over all of src/ and tools/, several groups of files at a time.

  tidy.py BUILD [--analyze] [--jobs N] [--alone]     BUILD holds compile_commands.json

The findings of .clang-tidy are errors. Most of the time goes into headers, clang's own above all, which every check walks
through anew for every file. So files of one folder are checked as one: a file in BUILD/tidy/ includes them. Files that do
not go together, since they give one name to two things, are checked alone, and so is every file with --alone. The static
analyzer takes three times as long as all other checks together, so that it runs only with --analyze.
"""
import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
FOLDERS = (ROOT / "src", ROOT / "tools")
GROUP = 12  # files: what two processors need to be done at the same time


def entries(build):
    """The build's command for each file that is ours."""
    found = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        path = pathlib.Path(entry["file"]).resolve()
        if any(path.is_relative_to(folder) for folder in FOLDERS):
            found.setdefault(path, entry)
    return found


def groups(files, alone):
    """Files of one folder in groups, those with most to check first, so that none of them is left for the end."""
    folders = collections.defaultdict(list)
    for path in sorted(files):
        folders[path.parent].append(path)
    found = []
    for members in folders.values():
        count = len(members) if alone else -(-len(members) // GROUP)
        found += [members[i::count] for i in range(count)]
    return sorted(found, key=lambda group: -sum(path.stat().st_size for path in group))


def write_group(folder, number, group, entry):
    """A file that includes the group's, with the command that belongs to it. Its compilation database's folder."""
    place = folder / str(number)
    place.mkdir(parents=True, exist_ok=True)
    together = place / "together.cpp"
    together.write_text("".join(f'#include "{path}" // NOLINT\n' for path in group))
    # One file's locals shadow what another one keeps to itself; the builds check shadowing file by file.
    command = entry["command"].replace(str(entry["file"]), f"-Wno-shadow {together}")
    (place / "compile_commands.json").write_text(json.dumps([{**entry, "command": command, "file": str(together)}]))
    return place, together


def tidy(path, build, analyze):
    command = ["clang-tidy-19", "-p", build, "--quiet"] + ([] if analyze else ["--checks=-clang-analyzer-*"]) + [path]
    result = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    return result.stdout if result.returncode else ""


def check(number, group, commands, build, analyze):
    if len(group) > 1:
        place, together = write_group(build / "tidy", number, group, commands[group[0]])
        found = tidy(together, place, analyze)
        if "clang-diagnostic-error" not in found:
            return found
    return "".join(tidy(path, build, analyze) for path in group)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--analyze", action="store_true")
    parser.add_argument("--alone", action="store_true")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    arguments = parser.parse_args()
    build = arguments.build.resolve()
    commands = entries(build)
    work = list(enumerate(groups(commands, arguments.alone)))
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        found = [text for text in pool.map(lambda item: check(*item, commands, build, arguments.analyze), work) if text]
    print("".join(found), end="")
    print(f"clang-tidy: {len(commands)} files in {len(work)} groups, {len(found)} with findings")
    return 1 if found or not commands else 0


if __name__ == "__main__":
    sys.exit(main())
