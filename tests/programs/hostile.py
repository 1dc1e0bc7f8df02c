#!/usr/bin/env python3
"""Damaged icode and text must end with a message and a status that the program documents: no crash, no sanitizer report,
no endless loop, no unbounded memory.

    hostile.py --bin FOLDER --text FOLDER [--memory MB] [--runs N] [--seed N]

Makes icode of the .ict files in the text folder, damages it and its text in ways that the seed decides, and runs the
programs of the bin folder on the result. What icode-val finds no fault in, the others must accept. A limit on memory is
for builds without the address sanitizer, which reserves far more than it uses. What a failing run was given stays in the working folder; raise --runs for a longer search.
"""
import argparse
import pathlib
import random
import re
import resource
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

TIMEOUT = 60  # seconds; a run takes milliseconds, but the machine may be busy
INTERESTING = bytes([0, 1, 2, 5, 35, 46, 94, 101, 105, 116, 126, 127, 128, 254, 255])

# Program, its input, the statuses that it documents, and its arguments around the input's name. icode-val
# comes first.
TARGETS = [
    ("icode-val", ".if", (0, 1), ["INPUT"]),
    ("pelorus", ".if", (0, 1), ["-o4", "--interleave", "--debug=verify", "INPUT", "OUTPUT"]),
    ("pelorus", ".if", (0, 1), ["-o2", "--trace", "--print_debug", "INPUT", "OUTPUT"]),
    ("icode-llvm", ".if", (0, 1), ["INPUT", "-o", "OUTPUT"]),
    ("icode-join", ".if", (0, 1), ["-o", "OUTPUT", "INPUT"]),
    ("icode-dis", ".if", (0, 1), ["--offsets", "INPUT", "-o", "OUTPUT"]),
    ("icode-as", ".ict", (0, 1), ["INPUT", "-o", "OUTPUT"]),
]


def damage_bytes(data, other, dice):
    """A damaged copy: cut, spliced with another file, or with bytes changed, taken out or doubled."""
    place = dice.randrange(len(data))
    way = dice.randrange(8)
    if way == 0:
        return data[:place]
    if way == 1:
        return data[:place] + other[dice.randrange(len(other)):]
    if way == 2:
        return data[:place] + data[place + dice.randint(1, 8):]
    if way == 3:
        start = dice.randrange(len(data))
        return data[:place] + data[start:start + 64] + data[place:]
    copy = bytearray(data)
    for _ in range(dice.choice((1, 1, 2, 3, 20))):
        copy[dice.randrange(len(copy))] = dice.choice((dice.randrange(256), dice.choice(INTERESTING)))
    return bytes(copy)


def damage_text(text, dice):
    """A damaged copy whose words are mostly right, so that much of it still is icode: with other numbers, other words of the
    same file, or a line that has moved."""
    if dice.random() < 0.3:
        lines = text.split("\n")
        lines.insert(dice.randrange(len(lines)), lines.pop(dice.randrange(len(lines))))
        return "\n".join(lines)
    words = list(re.finditer(r"[A-Za-z_]+|\d+", text))
    word, other = dice.choice(words), dice.choice(words).group()
    if word.group().isdigit() or other.isdigit():
        other = dice.choice(("0", "1", "3", "255", "32767", "2147483648", "4294967295", str(dice.randrange(64))))
    return text[:word.start()] + other + text[word.end():]


def uleb(value):
    groups = bytearray()
    while value >= 0x80:
        groups.append(value & 0x7F | 0x80)
        value >>= 7
    return bytes(groups) + bytes([value])


def nested(data, depth):
    """The file with its stream of records replaced by one tree of unary minus signs, `depth` of them nested."""
    header = 2 + data[1]  # kind, length, body
    pieces, size = [b"\x65\x03\x04\x00\x01"], 5
    for _ in range(depth):
        head = b"\x65" + uleb(size + 2) + b"\x0a\x00"
        pieces.append(head)
        size += len(head)
    return data[:header] + b"".join(reversed(pieces)) + b"\xff"


def assemble(options, text, path):
    path.write_text(text, encoding="latin-1")
    result = path.with_suffix(".if")
    done = subprocess.run([options.bin / "icode-as", path, "-o", result], capture_output=True, timeout=TIMEOUT)
    return result.read_bytes() if done.returncode == 0 else None


def fault_of(options, statuses, command):
    """What is wrong with a run, or None, and its status."""
    def limit():
        if options.memory:
            resource.setrlimit(resource.RLIMIT_AS, (options.memory << 20, options.memory << 20))

    try:
        done = subprocess.run(command, capture_output=True, stdin=subprocess.DEVNULL, timeout=TIMEOUT, preexec_fn=limit)
    except subprocess.TimeoutExpired:
        return f"no end within {TIMEOUT} seconds", None
    errors = done.stderr.decode(errors="replace")
    if "Sanitizer" in errors or "runtime error:" in errors:
        return "a sanitizer's report:\n" + errors[:2000], done.returncode
    if done.returncode not in statuses:
        return f"status {done.returncode}:\n{errors[:500]}", done.returncode
    if done.returncode and not errors.strip() and not done.stdout.strip():
        return f"status {done.returncode} without a message", done.returncode
    return None, done.returncode


def good_input_faults(options, folder):
    """Runs each program on undamaged input: with a plain output, which must succeed, since otherwise none of the other runs
    means anything; and with a full device as its output, which must not. The device is named by a link, which is all that a
    program that removes what it could not write can destroy."""
    good = {".ict": sorted(options.text.glob("*.ict"))[0], ".if": folder / "sample0.if"}
    outputs = [(folder / "plain", (0,))]
    link = folder / "full"
    if pathlib.Path("/dev/full").is_char_device():
        link.symlink_to("/dev/full")
        outputs.append((link, (1, 2)))
    faults = []
    for program, suffix, _, arguments in TARGETS:
        for output, statuses in outputs:
            if output == link and "OUTPUT" not in arguments:
                continue
            names = {"INPUT": str(good[suffix]), "OUTPUT": str(output)}
            command = [str(options.bin / program)] + [names.get(word, word) for word in arguments]
            fault, _ = fault_of(options, statuses, command)
            if output == link and not link.is_symlink():
                fault = "a device was removed"
                link.unlink(missing_ok=True)
                link.symlink_to("/dev/full")
            if fault:
                faults.append(f"{' '.join(command)}: {fault}")
    return faults


def inputs(options, folder):
    """(kind of input, bytes) of all runs but the fixed ones."""
    texts = [path.read_text(encoding="latin-1") for path in sorted(options.text.glob("*.ict"))]
    binaries = [assemble(options, text, folder / f"sample{i}.ict") for i, text in enumerate(texts)]
    for number in range(options.runs):
        dice = random.Random(options.seed + number)
        text, binary = dice.choice(list(zip(texts, binaries)))
        if number % 3 == 0:
            yield ".if", damage_bytes(binary, dice.choice(binaries), dice)
        elif number % 3 == 1:
            yield ".ict", damage_bytes(text.encode("latin-1"), dice.choice(texts).encode("latin-1"), dice)
        else:
            damaged = damage_text(text, dice)
            well_formed = assemble(options, damaged, folder / f"text{number}.ict")
            if well_formed:
                yield ".if", well_formed
            yield ".ict", damaged.encode("latin-1")
    yield ".if", nested(binaries[0], 1000)
    yield ".if", nested(binaries[0], 1000000)
    yield ".if", b""


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", type=pathlib.Path, required=True)
    parser.add_argument("--text", type=pathlib.Path, required=True)
    parser.add_argument("--memory", type=int, default=0)
    parser.add_argument("--runs", type=int, default=60)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="pelorus-hostile-"))
    runs, faults = 0, []

    def run(job):
        number, suffix, data = job
        path = folder / f"in{number}{suffix}"
        path.write_bytes(data)
        found, is_valid = [], False
        targets = [target for target in TARGETS if target[1] == suffix]
        for program, _, statuses, arguments in targets:
            names = {"INPUT": str(path), "OUTPUT": str(folder / f"out{number}")}
            command = [str(options.bin / program)] + [names.get(word, word) for word in arguments]
            fault, status = fault_of(options, statuses, command)
            if program == "icode-val":
                is_valid = status == 0
            elif is_valid and status and not fault:
                fault = f"status {status}, though icode-val finds no fault in the file"
            if fault:
                found.append(f"{' '.join(command)}: {fault}")
        return len(targets), found

    jobs = [(number, suffix, data) for number, (suffix, data) in enumerate(inputs(options, folder))]
    with ThreadPoolExecutor(2) as pool:
        for count, found in pool.map(run, jobs):
            runs += count
            faults += found
    faults += good_input_faults(options, folder)
    for fault in faults:
        print(fault)
    print(f"{runs} runs, {len(faults)} faults")
    if not faults:
        for path in folder.iterdir():
            path.unlink()
        folder.rmdir()
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
