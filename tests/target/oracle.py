#!/usr/bin/env python3
"""Checks the target's arithmetic against computations made by other means.

  oracle.py --bin build/bin [--integers N] [--floats N] [--exact N] [--seed S]

Integers against Python's, which have no limit. Floating point against a program that runs on the target (under qemu-arm) and against exact rational
arithmetic with a rounding written out here. The numbers say how many operand pairs; each goes through some ten to fifteen operations.
"""
import argparse
import pathlib
import subprocess
import sys
import tempfile
from fractions import Fraction
from math import isqrt

HERE = pathlib.Path(__file__).resolve().parent
BITS = 96
MASK = (1 << BITS) - 1


# --- integers ---

def signed(text):
    value = int(text, 16)
    return value - (1 << BITS) if value >> (BITS - 1) else value


def kept(value, bits, is_unsigned):
    value &= (1 << bits) - 1
    return value if is_unsigned or not value >> (bits - 1) else value - (1 << bits)


def wrap(value):
    return kept(value, BITS, False)


def divided(a, b):
    quotient = abs(a) // abs(b)
    if (a < 0) != (b < 0):
        quotient = -quotient
    return wrap(quotient), wrap(a - quotient * b)


def log2(value):
    return value.bit_length() - 1 if value > 0 and value & (value - 1) == 0 else -1


INTEGER_OPERATIONS = {
    "add": lambda a, b, r: signed(r) == wrap(signed(a) + signed(b)),
    "sub": lambda a, b, r: signed(r) == wrap(signed(a) - signed(b)),
    "mul": lambda a, b, r: signed(r) == wrap(signed(a) * signed(b)),
    "mulx": lambda a, b, exact, r: signed(r) == wrap(signed(a) * signed(b)) and (exact == "1") == (signed(a) * signed(b) == signed(r)),
    "div": lambda a, b, q, r: (signed(q), signed(r)) == divided(signed(a), signed(b)),
    "and": lambda a, b, r: int(r, 16) == int(a, 16) & int(b, 16),
    "or": lambda a, b, r: int(r, 16) == int(a, 16) | int(b, 16),
    "xor": lambda a, b, r: int(r, 16) == int(a, 16) ^ int(b, 16),
    "not": lambda a, r: int(r, 16) == int(a, 16) ^ MASK,
    "neg": lambda a, r: signed(r) == wrap(-signed(a)),
    "shl": lambda a, n, r: int(r, 16) == int(a, 16) << int(n) & MASK,
    "shr": lambda a, n, r: signed(r) == signed(a) >> int(n),
    "cmp": lambda a, b, r: int(r) == (signed(a) > signed(b)) - (signed(a) < signed(b)),
    "log2": lambda a, r: int(r) == log2(signed(a)),
    "trunc": lambda a, bits, u, r: signed(r) == wrap(kept(signed(a), int(bits), u == "1")),
    "fits": lambda a, bits, u, r: (r == "1") == (kept(signed(a), int(bits), u == "1") == signed(a)),
    "text": lambda a, text, r: int(text) == signed(a) and str(signed(a)) == text and r == a,
}


# --- floating point, by exact rationals ---

class Format:
    def __init__(self, size, fraction_bits, exponent_bits):
        self.size = size
        self.fraction_bits = fraction_bits
        self.bias = (1 << (exponent_bits - 1)) - 1
        self.top = (1 << exponent_bits) - 1
        self.sign_bit = 1 << (8 * size - 1)

    def split(self, bits):
        return bits & self.sign_bit, bits >> self.fraction_bits & self.top, bits & ((1 << self.fraction_bits) - 1)

    def is_nan(self, bits):
        _, exponent, fraction = self.split(bits)
        return exponent == self.top and fraction != 0

    def is_infinite(self, bits):
        _, exponent, fraction = self.split(bits)
        return exponent == self.top and fraction == 0

    def value(self, bits):
        """A finite value, exactly."""
        sign, exponent, fraction = self.split(bits)
        if exponent:
            fraction |= 1 << self.fraction_bits
        magnitude = fraction * Fraction(2) ** (max(exponent, 1) - self.bias - self.fraction_bits)
        return -magnitude if sign else magnitude

    def round(self, value, zero_sign=0):
        """The bits of the nearest value, ties to even."""
        if value == 0:
            return zero_sign
        sign = self.sign_bit if value < 0 else 0
        value = abs(value)
        exponent = value.numerator.bit_length() - value.denominator.bit_length()
        if Fraction(2) ** exponent > value:
            exponent -= 1
        exponent = max(exponent, 1 - self.bias)
        scaled = value / Fraction(2) ** (exponent - self.fraction_bits)
        digits, rest = divmod(scaled.numerator, scaled.denominator)
        if 2 * rest > scaled.denominator or (2 * rest == scaled.denominator and digits & 1):
            digits += 1
        # A carry out of the digits moves into the exponent, and from the largest exponent into infinity.
        bits = digits + ((exponent + self.bias - 1) << self.fraction_bits)
        return sign | min(bits, self.top << self.fraction_bits)

    def sqrt(self, value):
        """Enough digits of the root, with a last one that says whether there are more."""
        shift = 2 * (self.fraction_bits + 40 + max(0, value.denominator.bit_length()))
        scaled = (value.numerator << shift) // value.denominator
        root = isqrt(scaled)
        exact = root * root == scaled and (value.numerator << shift) % value.denominator == 0
        return Fraction(2 * root + (0 if exact else 1), 2 << (shift // 2))


FORMATS = {"4": Format(4, 23, 8), "8": Format(8, 52, 11)}


def exact_sum(form, a, b):
    total = form.value(a) + form.value(b)
    both_negative = form.sign_bit if a & b & form.sign_bit else 0
    return form.round(total, both_negative)


def exact_operation(name, form, a, b):
    """The bits that IEEE wants for finite operands; None where this oracle has no opinion."""
    if form.is_nan(a) or form.is_infinite(a) or (name in ("add", "sub", "mul", "div") and (form.is_nan(b) or form.is_infinite(b))):
        return None
    product_sign = (a ^ b) & form.sign_bit
    if name == "add":
        return exact_sum(form, a, b)
    if name == "sub":
        return exact_sum(form, a, b ^ form.sign_bit)
    if name == "mul":
        return form.round(form.value(a) * form.value(b), product_sign)
    if name == "div" and form.value(b) != 0:
        return form.round(form.value(a) / form.value(b), product_sign)
    if name == "sqrt" and form.value(a) >= 0:
        return form.round(form.sqrt(form.value(a)), a & form.sign_bit) if form.value(a) else a
    if name == "convert":
        return FORMATS["8" if form.size == 4 else "4"].round(form.value(a), (1 << (31 if form.size == 8 else 63)) if a & form.sign_bit else 0)
    return None


def integer_range(name):
    """Of the type that "nones16", "noneu8" and the like end in."""
    kind, bits = name[4], int(name[5:])
    return (0, (1 << bits) - 1) if kind == "u" else (-(1 << (bits - 1)), (1 << (bits - 1)) - 1)


def float_line_is_right(name, size, a, b, result):
    form = FORMATS[size]
    a = int(a, 16)
    if name.startswith("none"):  # nothing was folded: it must have no value in the type
        if form.is_nan(a) or form.is_infinite(a):
            return True
        low, high = integer_range(name)
        return not low <= int(form.value(a)) <= high
    if name not in ("add", "sub", "mul", "div", "sqrt", "convert"):
        return True
    expected = exact_operation(name, form, a, int(b, 16))
    return expected is None or expected == int(result, 16)


# --- running ---

def lines_of(tool, what, count, seed):
    process = subprocess.Popen([tool, what, str(count), str(seed)], stdout=subprocess.PIPE, text=True)
    yield from process.stdout
    if process.wait():
        sys.exit(f"{tool} ended with status {process.returncode}")


def check_lines(title, lines, is_right):
    count = faults = 0
    for line in lines:
        count += 1
        if not is_right(*line.split()):
            faults += 1
            if faults <= 20:
                print(f"WRONG {line}", end="")
    print(f"{title}: {count} operations, {faults} wrong")
    return faults or not count


def check_on_target(tool, count, seed):
    with tempfile.TemporaryDirectory(prefix="pelorus-oracle-") as folder:
        program = pathlib.Path(folder) / "oracle"
        subprocess.run(["clang-19", "--target=armv7-linux-gnueabihf", "-mfpu=vfpv3", "-O1", "-static", str(HERE / "float_oracle.c"), "-o", str(program), "-lm"],
                       check=True)
        source = subprocess.Popen([tool, "floats", str(count), str(seed)], stdout=subprocess.PIPE)
        result = subprocess.run(["qemu-arm", str(program)], stdin=source.stdout, capture_output=True, text=True)
        source.wait()
    print(f"floating point on the target: {result.stdout}", end="")
    return result.returncode or source.returncode


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", type=pathlib.Path, required=True, help="folder of check-arithmetic")
    parser.add_argument("--integers", type=int, default=20000)
    parser.add_argument("--floats", type=int, default=40000, help="pairs for the program on the target")
    parser.add_argument("--exact", type=int, default=5000, help="pairs for exact rationals")
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    tool = str(arguments.bin / "check-arithmetic")
    seed = arguments.seed
    faults = check_lines("integers", lines_of(tool, "integers", arguments.integers, seed), lambda name, *rest: INTEGER_OPERATIONS[name](*rest))
    faults += check_lines("floating point by rationals", lines_of(tool, "floats", arguments.exact, seed + 1), float_line_is_right)
    faults += check_on_target(tool, arguments.floats, seed + 2)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
