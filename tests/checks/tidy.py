#!/usr/bin/env python3
"""Runs clang-tidy over all of src/ and tools/, several files at a time.

  tidy.py BUILD [--analyze] [--jobs N]     BUILD holds compile_commands.json

The findings of .clang-tidy are errors. Its static analyzer takes three times as long as all other checks together, so that
it runs only with --analyze.
"""
import argparse
import concurrent.futures
import json
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
FOLDERS = (ROOT / "src", ROOT / "tools")


def sources(build):
    """The files of the build that are ours, largest first, so that none is left for the end."""
    entries = json.loads((build / "compile_commands.json").read_text())
    files = {pathlib.Path(entry["file"]).resolve() for entry in entries}
    ours = [path for path in files if any(path.is_relative_to(folder) for folder in FOLDERS)]
    return sorted(ours, key=lambda path: -path.stat().st_size)


def check(path, build, analyze):
    command = ["clang-tidy-19", "-p", build, "--quiet"] + ([] if analyze else ["--checks=-clang-analyzer-*"]) + [path]
    result = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    return result.stdout if result.returncode else ""


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--analyze", action="store_true")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    arguments = parser.parse_args()
    files = sources(arguments.build)
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        findings = [text for text in pool.map(lambda path: check(path, arguments.build, arguments.analyze), files) if text]
    print("".join(findings), end="")
    print(f"clang-tidy: {len(files)} files, {len(findings)} with findings")
    return 1 if findings or not files else 0


if __name__ == "__main__":
    sys.exit(main())
