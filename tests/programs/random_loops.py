#!/usr/bin/env python3
"""Random counted loops: what the optimizer says of their trips against what the interpreter counts.

  random_loops.py --bin build/bin [--loops 10000] [--seed 1]

Each function holds a loop, or one inside another, with counters of all integer types and pointers, all
relations, steps that hit, miss or step over the limit, tests at the top and at the end, second exits. At
level 2 with --debug=check_trips the program counts its own trips and stops where the optimizer was wrong
about them; what it prints is compared with the input's. At the end stands of how many loops the trips were
known.
"""
import argparse
import pathlib
import random
import re
import subprocess
import sys
import tempfile

PER_FILE = 200
MOST_TRIPS = 300  # a loop is left then: most mistakes of a random loop are endless
TYPES = {"signed char": (8, True), "unsigned char": (8, False), "short": (16, True), "unsigned short": (16, False),
         "int": (32, True), "unsigned": (32, False), "long long": (64, True), "unsigned long long": (64, False)}
COMMON = ["int", "int", "unsigned"] + list(TYPES)


def wrapped(value, bits, signed):
    value &= (1 << bits) - 1
    return value - (1 << bits) if signed and value >> (bits - 1) else value


def holds(relation, a, b):
    return {"<": a < b, "<=": a <= b, ">": a > b, ">=": a >= b, "==": a == b, "!=": a != b}[relation]


class Loop:
    """A loop whose number of trips is known by counting them here."""

    def __init__(self, dice):
        while True:
            self.type = dice.choice(COMMON)
            self.bits, self.signed = TYPES[self.type]
            self.step = dice.choice([1, 1, 1, 2, 3, 4, 5, 7, 12, 100]) * dice.choice([1, 1, -1])
            self.relation = dice.choice(["<", "<", "<=", ">", ">=", "!=", "!=", "=="])
            low = dice.choice([-20, 0, 0, 5, -(1 << (self.bits - 1)) if self.signed else 0])
            far = dice.choice([10, 10, 40, 200, 255])
            self.start = wrapped(low if self.step > 0 else low + far, self.bits, self.signed)
            self.limit = wrapped(low + far + dice.randint(-2, 2) if self.step > 0 else low, self.bits, self.signed)
            if dice.random() < 0.1:
                self.limit = wrapped((1 << (self.bits - 1)) - 1 if self.signed else -1, self.bits, self.signed)
            self.at_end = dice.random() < 0.4
            self.old_value = dice.random() < 0.15 and abs(self.step) == 1
            trips = self.count()
            if trips is not None and trips <= MOST_TRIPS:
                return

    def count(self):
        value, trips = self.start, 0
        while trips <= MOST_TRIPS:
            if self.old_value or not self.at_end:
                go_on = holds(self.relation, value, self.limit)
            else:
                go_on = holds(self.relation, wrapped(value + self.step, self.bits, self.signed), self.limit)
            value = wrapped(value + self.step, self.bits, self.signed)
            if self.at_end:
                trips += 1
                if not go_on:
                    return trips
            else:
                if not go_on:
                    return trips
                trips += 1
        return None

    def text(self, number, body, start, limit):
        name = f"i{number}"
        step = f"{name} += {self.step}" if self.step > 0 else f"{name} -= {-self.step}"
        test = f"{name} {self.relation} ({self.type}){limit}"
        if self.old_value:
            sign = "++" if self.step > 0 else "--"
            test, step = f"{name}{sign} {self.relation} ({self.type}){limit}", ";"
        begin = f"{self.type} {name} = ({self.type}){start};"
        if self.at_end:
            return f"{begin} do {{ {body} {step}; }} while ({test});"
        return f"{begin} while ({test}) {{ {body} {step}; }}"


def function(dice, number):
    loops = [Loop(dice) for _ in range(dice.choice([1, 1, 2]))]
    arguments, values = [], []

    def value_of(value, kind):
        if dice.random() < 0.5:
            return f"{value}ULL" if value > (1 << 63) - 1 else f"({value}LL)" if value > -(1 << 63) else "(-1LL << 63)"
        arguments.append(f"{kind} a{len(arguments)}")
        values.append(f"{value}ULL" if value > (1 << 63) - 1 else f"{value}LL" if value > -(1 << 63) else "(-1LL << 63)")
        return f"a{len(arguments) - 1}"

    body = "n++;"
    if dice.random() < 0.2:
        body += f" if (n == {dice.randint(1, 60)}) break;"
    if dice.random() < 0.2:
        body += " d = 4 * d + n;"
    for place, loop in enumerate(loops):
        body = loop.text(place, body, value_of(loop.start, loop.type), value_of(loop.limit, loop.type))
    pointer = ""
    if dice.random() < 0.15:
        width = dice.choice(["char", "int", "struct three"])
        pointer = f"{width} *p = ({width} *)0x1000, *q = p + {dice.randint(0, 50)}; while (p != q) {{ n++; p++; }}"
    text = (f"static unsigned f{number}({', '.join(arguments) or 'void'}) {{ unsigned n = 0, d = 0; "
            f"{body} {pointer} return n + d; }}\n")
    return text, f"    printf(\"%u\\n\", f{number}({', '.join(values)}));\n"


def run(command, **options):
    return subprocess.run([str(word) for word in command], capture_output=True, text=True, **options)


def check_file(binary, folder, dice, count):
    functions = [function(dice, number) for number in range(count)]
    source = folder / "loops.c"
    source.write_text("#include <stdio.h>\nstruct three { int a, b, c; };\n" + "".join(text for text, _ in functions) +
                      "int main(void) {\n" + "".join(call for _, call in functions) + "    return 0;\n}\n")
    program, optimized = folder / "loops.if", folder / "loops.opt"
    made = run([binary / "icode-cc", "-w", source, "-o", program])
    if made.returncode:
        sys.exit(f"icode-cc: {made.stderr[:2000]}")
    passed = run([binary / "pelorus", "-o2", "--debug=verify,check_trips,stats", program, optimized])
    known = sum(int(n) for n in re.findall(r"(\d+)  build_loop_hierarchy: trips checked", passed.stdout)) // 2
    same = run([binary / "icode-run", "--compare", program, optimized])
    if passed.returncode or same.returncode:
        print(f"{source} of this seed fails:\n{passed.stderr[:2000]}{same.stdout[-2000:]}{same.stderr[-2000:]}")
        return known, False
    return known, True


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", type=pathlib.Path, required=True)
    parser.add_argument("--loops", type=int, default=400)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    known = done = 0
    with tempfile.TemporaryDirectory() as name:
        while done < options.loops:
            count = min(PER_FILE, options.loops - done)
            good = check_file(options.bin, pathlib.Path(name), random.Random(options.seed + done), count)
            if not good[1]:
                kept = pathlib.Path(f"random_loops-{options.seed + done}.c")
                kept.write_text((pathlib.Path(name) / "loops.c").read_text())
                print(f"kept as {kept}")
                return 1
            known += good[0]
            done += count
    print(f"{done} functions with loops, the trips of {known} loops known and right")
    return 0


if __name__ == "__main__":
    sys.exit(main())
