#!/usr/bin/env python3
"""Compiles C as the peers of the optimizer do: what clang makes of it before any optimization goes through passes of opt and through the same
llc as our code. Everything else is left to clang.

  peer.py PASSES WORD...

When REALWORLD_KEEP is set the code before the passes stays beside each object, as NAME.o.bc.
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

CLANG = ["clang-19", "--target=armv7-linux-gnueabihf", "-Wno-unused-command-line-argument"]
UNOPTIMIZED = ["-O1", "-Xclang", "-disable-llvm-passes", "-emit-llvm", "-c"]
LLC = ["llc-19", "-O2", "-relocation-model=pic", "-filetype=obj"]
NOT_COMPILED = {"-S", "-E", "-M", "-MM", "-fsyntax-only"}


def compile_source(passes, source, words, compiled, folder):
    bitcode = folder / "code.bc"
    subprocess.run([*CLANG, *words, *UNOPTIMIZED, source, "-o", bitcode], check=True)
    if os.environ.get("REALWORLD_KEEP"):
        shutil.copy(bitcode, f"{compiled}.bc")
    subprocess.run(["opt-19", f"-passes={passes}", bitcode, "-o", bitcode], check=True)
    subprocess.run([*LLC, bitcode, "-o", compiled], check=True)


def split_words(words):
    """The C sources, the output (None when none is named), and the other words."""
    sources, output, others = [], None, []
    rest = iter(words)
    for word in rest:
        if word == "-o":
            output = next(rest)
        elif word.endswith(".c") and pathlib.Path(word).exists():
            sources.append(word)
        else:
            others.append(word)
    return sources, output, others


def run(passes, words, folder):
    sources, output, others = split_words(words)
    if not sources or NOT_COMPILED & set(words):
        return subprocess.run([*CLANG, *words]).returncode
    only_objects = "-c" in words
    objects = []
    for number, source in enumerate(sources):
        compiled = output or f"{pathlib.Path(source).stem}.o"
        objects.append(compiled if only_objects else folder / f"{number}.o")
        compile_source(passes, source, others, objects[-1], folder)
    if only_objects:
        return 0
    return subprocess.run([*CLANG, *objects, *others, "-o", output or "a.out"]).returncode


def main():
    with tempfile.TemporaryDirectory(prefix="peer-") as folder:
        try:
            return run(sys.argv[1], sys.argv[2:], pathlib.Path(folder))
        except subprocess.CalledProcessError as failure:
            return failure.returncode


if __name__ == "__main__":
    sys.exit(main())
