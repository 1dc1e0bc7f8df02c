#!/usr/bin/env python3
"""Measures pelorus against LLVM's optimizer, as ratios in the same run.

  files         time and peak memory of pelorus reading and writing an icode file, against opt-19 reading and writing the bitcode of the same
                source without a pass; on the examples and on a generated file of 2,000 functions
  growth        the same for generated files of 500 to 8,000 functions, as ratios to the half size
  shapes        one function of many blocks: chains, a switch, nested tests; time and memory at level 1, as ratios to half the size
  graphs        milliseconds of the fast dominators, of the two sets, of the check's trees and of the loop hierarchy on graphs of 100 to 30,000
                blocks: chains, nests of loops, ladders, graphs at random, switches; the best of several runs in one process
  callgraph     milliseconds of the analysis of a file of 5,000 to 20,000 functions, whole and by its steps: chains, stars, circles, calls
                at random; the best of several runs in one process; and what recursion would cost as a closure
  decisions     instructions that pelorus itself executes at level 2 (exact, counted by valgrind): when nobody asks for decisions, with
                statistics, with a limit, with a trace; and against another build of it, with --against
  variables     one function of 1,000 to 64,000 statements with 10 to 10,000 variables at level 2: time for each statement
  levels        ARM instructions that each example executes at levels 1 and 2, and at level 2 without the passes over assignments and
                without the loop hierarchy, against level 0, counted as below; and the operations that icode-run counts for it
  inline        ARM instructions that each example executes, and the size of its code, at levels 3 and 4, as a part of a program and as the
                whole of it (-op2), against level 2 and against clang's IR after opt-19 O2; everything through llc-19 -O2 as above
  limits        the same for levels 1 to 4 with several limits of inline expansion, against no expansion; below level 3, where only what is
                declared inline counts, on the examples with every static function declared so
  layout        jumps to blocks that do not follow, and ARM instructions, with and without the last steps of level 2, which rotate loops and
                split tests; llc-19 keeps the layout in one group of columns and makes its own in the other
  instructions  ARM instructions that each example executes (exact, counted by a plugin of qemu-arm, less those of an empty program): from
                icode after pelorus at each level, against clang's IR of the same source after opt-19 with mem2reg, O1 and O2; everything goes
                through llc-19 -O2, and nothing else on our side
  registers     the same of each kernel of bench/pressure.c, which have more variables at once than there are registers: at levels 1 and 2 as it
                is, with variables in memory for which no register is free, and with all of them in memory
  expressions   what is left of each function of bench/expressions.c: operators of our trees before and after level 2, instructions of
                clang's IR after opt-19 with instcombine; and the ARM instructions of both after llc-19 -O2, returns not counted
  interpreter   operations a second that icode-run executes, on the examples after pelorus at level 2, and its time against that of
                qemu-arm for the executable that pelorus-cc -O2 makes

Times are user plus system time, the median of --runs runs that alternate between the two programs.
"""
import argparse
import pathlib
import random
import re
import statistics
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
TARGET = "--target=armv7-linux-gnueabihf"
LEVELS = range(5)
# What is no operation by itself in the text form of a tree.
NO_OPERATORS = {"ASG", "PCOMMA", "COMMA", "COLON", "RETURN", "URETURN", "IF", "BRANCH", "UAND", "NAME", "LCON", "FCON"}
PEERS = {"mem2reg": "mem2reg", "O1": "default<O1>", "O2": "default<O2>"}


def run(*command):
    result = subprocess.run([str(word) for word in command], capture_output=True)
    if result.returncode:
        sys.exit(f"{' '.join(str(word) for word in command)}\n{result.stderr.decode(errors='replace')}")
    return result.stdout


def generated_source(functions):
    """A C file of so many functions, each with arithmetic, a loop, a switch, calls and memory accesses."""
    parts = ["extern int g[64]; int g[64]; struct s { int a, b; struct s *next; };\n"]
    for n in range(functions):
        callee = f"f{n - 1}(p, x - 1)" if n else "x"
        parts.append(f"""
int f{n}(struct s *p, int x) {{
    int sum = {n}, i;
    for (i = 0; i < x; i++) {{
        sum += g[(i + {n}) & 63] * (p->a - i);
        if (sum > {1000 + n} && p->next) p = p->next;
        else sum ^= p->b << (i & 7);
    }}
    switch (sum & 7) {{
    case 0: return {callee};
    case 1: sum += 3; break;
    case 2: case 3: sum *= {n % 13 + 2}; break;
    default: p->a = sum; g[x & 63] = (int)(sum * 0.5);
    }}
    return sum;
}}
""")
    parts.append("int main(void) { struct s s = { 1, 2, 0 }; return f0(&s, 3) & 1; }\n")
    return "".join(parts)


# --- Functions of many blocks, in the text form ---

def jumps(size):
    """A chain of blocks, each the only one that leads to the next."""
    for n in range(1, size + 1):
        yield f"label {n}\nstatement ASG:int(@_g, PLUS:int(@_g, {n}:int))\nstatement BRANCH(LABEL {n + 1})"
    yield f"label {size + 1}"


def tests(size):
    """A chain of blocks that end in tests, all of which may leave for the end."""
    for n in range(1, size + 1):
        yield f"label {n}\nstatement ASG:int(@_g, {n}:int)\nstatement IF(LT:int(@_h, {n}:int), COMMA(LABEL {n + 1}, LABEL {size + 1}))"
    yield f"label {size + 1}"


def switch(size):
    cases = ", ".join(f"CASE({n * 3}:int, LABEL {n})" for n in range(1, size + 1))
    yield f"statement SWITCH(@_h, COMMA({cases}, DEFAULT(LABEL {size + 1})))"
    for n in range(1, size + 1):
        yield f"label {n}\nstatement ASG:int(@_g, {n % 100}:int)\nstatement BRANCH(LABEL {size + 1})"
    yield f"label {size + 1}"


def nest(size):
    """Tests inside tests; behind each, a statement of its own."""
    for n in range(1, size + 1):
        yield f"statement IF(NEQ:int(ANDB:int(@_h, {n}:int), 0:int), COMMA(LABEL {n}, LABEL {size + n}))\nlabel {n}\nstatement ASG:int(@_g, {n}:int)"
    for n in range(size, 0, -1):
        yield f"label {size + n}\nstatement PLUSASG:int(@_g, {n}:int)"


def variables(statements, count):
    """Assignments among many variables, every eighth one behind a test."""
    dice = random.Random(1)
    for n in range(count):
        yield f'symbol "v{n}" class=auto type=int'
    for n in range(count):
        yield f"statement ASG:int(v{n}, @_g)"
    label = 1
    for n in range(statements):
        to, left, right = (dice.randrange(count) for _ in range(3))
        yield f"statement ASG:int(v{to}, PLUS:int(v{left}, MULT:int(v{right}, @_h)))"
        if n % 8 == 7 and label < 30000:
            yield f"statement IF(v{to}, COMMA(LABEL {label}, LABEL {label + 1}))\nlabel {label}\nstatement ASG:int(v{left}, {n}:int)\nlabel {label + 1}"
            label += 2
    yield "statement ASG:int(@_g, v0)"


INLINE_LIMITS = (0, 1, 50, 75, 100, 125, 150, 175, 200, 250, 300, 400, 800, 1600)
VARIABLE_SIZES = ((1000, 10), (4000, 10), (16000, 10), (64000, 10), (16000, 100), (16000, 1000), (16000, 10000), (64000, 10000))

SHAPES = {"chain of jumps": (jumps, 20000), "chain of tests": (tests, 20000), "switch": (switch, 10000), "nest of tests": (nest, 5000)}

SHAPE_FILE = """header "shape.c"
function @_f
body
{body}
end_function
end
section types
type void.fn FUNCTION return=void
end
section file_names
file_name "shape.c"
end
section symbols
symbol "_f" class=extdef flags=defined type=void.fn
symbol "_g" class=extern flags=referenced type=int
symbol "_h" class=extern flags=referenced type=int
end
"""


class Bench:
    def __init__(self, tools, folder, runs):
        self.tools = tools
        self.folder = folder
        self.runs = runs
        self.measure = folder / "measure"
        run("cc", "-O2", ROOT / "bench" / "measure.c", "-o", self.measure)

    def cost(self, command):
        """(seconds, bytes): user and system time, and peak memory, of one run."""
        seconds, peak = run(self.measure, *command).split()
        return float(seconds), int(peak)

    def compare(self, ours, theirs):
        """Medians ((seconds, bytes) of ours, of theirs) over alternating runs."""
        samples = ([], [])
        for _ in range(self.runs):
            for side, command in zip(samples, (ours, theirs)):
                side.append(self.cost(command))
        return [tuple(statistics.median(column) for column in zip(*side)) for side in samples]

    def both_forms(self, source):
        stem = self.folder / source.stem
        run(self.tools / "icode-cc", source, "-o", f"{stem}.if")
        run("clang-19", TARGET, "-std=gnu11", "-w", "-O1", "-Xclang", "-disable-llvm-passes", "-c", "-emit-llvm", source, "-o", f"{stem}.bc")
        return f"{stem}.if", f"{stem}.bc"

    def read_and_write(self, source):
        icode, bitcode = self.both_forms(source)
        ours = [self.tools / "pelorus", "-o0", icode, self.folder / "out.opt"]
        return self.compare(ours, ["opt-19", bitcode, "-o", self.folder / "out.bc"])

    def generated(self, functions):
        source = self.folder / f"generated{functions}.c"
        source.write_text(generated_source(functions))
        return source

    def files(self, examples):
        print("\nReading and writing (ours; peer; ratio)\n")
        print("| source | time ms | opt-19 | ratio | memory MB | opt-19 | ratio |\n|---|---|---|---|---|---|---|")
        for source in examples + [self.generated(2000)]:
            (time, memory), (peer_time, peer_memory) = self.read_and_write(source)
            print(f"| {source.name} | {time * 1e3:.1f} | {peer_time * 1e3:.1f} | {time / peer_time:.2f} "
                  f"| {memory / 1e6:.1f} | {peer_memory / 1e6:.1f} | {memory / peer_memory:.2f} |", flush=True)

    def growth(self):
        print("\nGrowth with the number of functions (ratio to the line above; 2.0 is linear)\n")
        print("| functions | time ms | ratio | memory MB | ratio | opt-19 time ratio | opt-19 memory ratio |\n|---|---|---|---|---|---|---|")
        before = None
        for functions in (500, 1000, 2000, 4000, 8000):
            ours, theirs = self.read_and_write(self.generated(functions))
            ratios = [f"{now / then:.2f}" for now, then in zip(ours + theirs, before)] if before else ["", "", "", ""]
            print(f"| {functions} | {ours[0] * 1e3:.1f} | {ratios[0]} | {ours[1] / 1e6:.1f} | {ratios[1]} | {ratios[2]} | {ratios[3]} |", flush=True)
            before = ours + theirs

    def text_form(self, lines):
        """An icode file with one function."""
        text, icode = self.folder / "shape.ict", self.folder / "shape.if"
        text.write_text(SHAPE_FILE.format(body="\n".join(lines)))
        run(self.tools / "icode-as", text, "-o", icode)
        return icode

    def variables(self):
        print("\nOne function of many variables, level 2\n")
        print("| statements | variables | time ms | microseconds a statement | memory MB |\n|---|---|---|---|---|")
        for statements, count in VARIABLE_SIZES:
            command = [self.tools / "pelorus", "-o2", self.text_form(variables(statements, count)), self.folder / "shape.opt"]
            time, memory = (statistics.median(column) for column in zip(*(self.cost(command) for _ in range(self.runs))))
            print(f"| {statements} | {count} | {time * 1e3:.1f} | {time * 1e6 / (statements + count):.2f} | {memory / 1e6:.1f} |", flush=True)

    def shapes(self):
        print("\nOne function of many blocks, level 1 (ratio to the line above; 2.0 is linear)\n")
        print("| shape | blocks | time ms | ratio | memory MB | ratio |\n|---|---|---|---|---|---|")
        for name, (generator, largest) in SHAPES.items():
            before = None
            for size in (largest // 8, largest // 4, largest // 2, largest):
                command = [self.tools / "pelorus", "-o1", self.text_form(generator(size)), self.folder / "shape.opt"]
                samples = [self.cost(command) for _ in range(self.runs)]
                time, memory = (statistics.median(column) for column in zip(*samples))
                ratios = (f"{time / before[0]:.2f}", f"{memory / before[1]:.2f}") if before else ("", "")
                print(f"| {name} | {size} | {time * 1e3:.1f} | {ratios[0]} | {memory / 1e6:.1f} | {ratios[1]} |", flush=True)
                before = (time, memory)

    def graphs(self):
        print("\nAlgorithms on the graph of one function, milliseconds\n", flush=True)
        run("cmake", "--build", self.tools.parent, "--target", "time-graphs")
        subprocess.run([self.tools / "time-graphs"], check=True)

    def callgraph(self):
        print("\nThe analysis of a file, milliseconds (ratio to the line above; 2.0 is linear)\n", flush=True)
        run("cmake", "--build", self.tools.parent, "--target", "time-calls")
        subprocess.run([self.tools / "time-calls"], check=True)

    def own_instructions(self, tools, icode, *options):
        """Instructions that the optimizer executes on the host."""
        result = subprocess.run(["valgrind", "--tool=callgrind", f"--callgrind-out-file={self.folder / 'callgrind'}", tools / "pelorus", "-o2",
                                 *options, icode, self.folder / "own.opt"], capture_output=True, text=True)
        return int(re.search(r"Collected : (\d+)", result.stderr)[1])

    def decisions(self, examples, against):
        asked = {"statistics": "--debug=stats", "limit": "--debug=stop_after=1000000", "trace": "--trace"}
        print("\nInstructions of pelorus -o2 when decisions are asked for; ratio to nobody asking\n")
        print("| input | nobody asks (millions) | " + " | ".join(asked) + (" | other build |" if against else " |"))
        print("|---" * (len(asked) + 2 + bool(against)) + "|")
        generated = self.folder / "generated.c"
        generated.write_text(generated_source(2000))
        for source in [generated, *sorted(examples, key=lambda path: -path.stat().st_size)[:3]]:
            icode, _ = self.both_forms(source)
            base = self.own_instructions(self.tools, icode)
            ratios = [self.own_instructions(self.tools, icode, option) / base for option in asked.values()]
            if against:
                ratios.append(self.own_instructions(against, icode) / base)
            print(f"| {source.stem} | {base / 1e6:.1f} | " + " | ".join(f"{ratio:.3f}" for ratio in ratios) + " |", flush=True)

    def levels(self, examples):
        base = self.start_counting()
        print("\nInstructions executed, and operations of the interpreter, as ratios to level 0\n")
        columns = "level 1 | level 2 | assignments left | tests at the top"
        print(f"| example | instructions (thousands) | {columns} | operations (thousands) | {columns} |\n{'|---' * 11}|")
        ratios = []
        for source in examples:
            icode, _ = self.both_forms(source)
            instructions, operations = [], []
            for options in (["-o0"], ["-o1"], ["-o2"], ["-o2", "--disable=fast_CP,combine_asgs_to_memory"],
                            ["-o2", "--disable=build_loop_hierarchy"]):
                run(self.tools / "pelorus", *options, icode, self.folder / "level.opt")
                run(self.tools / "icode-llvm", self.folder / "level.opt", "-o", self.folder / "level.ll")
                instructions.append(self.executed(self.folder / "level.ll", None) - base)
                operations.append(self.operations(self.folder / "level.opt"))
            ratios.append([count / counts[0] for counts in (instructions, operations) for count in counts[1:]])
            texts = [f"{ratio:.3f}" for ratio in ratios[-1]]
            print(f"| {source.stem} | {instructions[0] / 1e3:.0f} | {' | '.join(texts[:4])} | {operations[0] / 1e3:.0f} | {' | '.join(texts[4:])} |",
                  flush=True)
        texts = [f"{statistics.geometric_mean(column):.3f}" for column in zip(*ratios)]
        print(f"| geometric mean | | {' | '.join(texts[:4])} | | {' | '.join(texts[4:])} |")

    def inline(self, examples):
        base = self.start_counting()
        variants = {"3": ["-o3"], "3 whole": ["-o3", "-op2"], "4": ["-o4"], "4 whole": ["-o4", "-op2"]}
        rows = {}
        for source in examples:
            icode, bitcode = self.both_forms(source)
            ours = [self.counted_and_sized(icode, options, base) for options in (["-o2"], *variants.values())]
            rows[source.stem] = ours, (self.executed(bitcode, PEERS["O2"]) - base, self.text_bytes())
        self.print_inline("instructions executed", "level 2 (thousands)", 1e3, rows, variants, 0)
        self.print_inline("bytes of code", "level 2", 1, rows, variants, 1)

    @staticmethod
    def print_inline(title, unit, scale, rows, variants, side):
        print(f"\nWhat levels 3 and 4 make of calls: {title}; ratios to level 2 and to clang -O2\n")
        columns = [*(f"{name} / 2" for name in variants), *(f"{name} / clang" for name in ("2", *variants))]
        print(f"| example | {unit} | {' | '.join(columns)} |\n{'|---' * (len(columns) + 2)}|")
        ratios = {}
        for name, (ours, peer) in rows.items():
            counts = [count[side] for count in ours]
            ratios[name] = [count / counts[0] for count in counts[1:]] + [count / peer[side] for count in counts]
            print(f"| {name} | {counts[0] / scale:.0f} | {' | '.join(f'{ratio:.3f}' for ratio in ratios[name])} |")
        for name, summary in (("geometric mean", statistics.geometric_mean), ("worst", max)):
            print(f"| {name} | | {' | '.join(f'{summary(column):.3f}' for column in zip(*ratios.values()))} |", flush=True)

    def limits(self, examples):
        base = self.start_counting()
        print("\nInline limits: instructions executed and bytes of code, as ratios to no expansion; means over the examples, and the worst\n")
        print("| level | functions | limit | instructions | worst | bytes | worst |\n|---|---|---|---|---|---|---|")
        for level, declared in ((1, True), (2, True), (3, False), (4, False), (3, True)):
            ratios = {limit: [] for limit in INLINE_LIMITS}
            for source in examples:
                icode, _ = self.both_forms(self.declared_inline(source) if declared else source)
                before = self.counted_and_sized(icode, [f"-o{level}", "--disable=inline"], base)
                known = {}  # by the optimizer's output: equal icode runs once
                for limit, column in ratios.items():
                    counts = self.counted_and_sized(icode, [f"-o{level}", f"-i{limit}"], base, known)
                    column.append([now / then for now, then in zip(counts, before)] + [source.stem])
            for limit, column in ratios.items():
                sides = [f"{statistics.geometric_mean(row[side] for row in column):.3f} | {max(column, key=lambda row: row[side])[side]:.3f} "
                         f"{max(column, key=lambda row: row[side])[2]}" for side in (0, 1)]
                print(f"| {level} | {'all static ones inline' if declared else 'as written'} | {limit} | {' | '.join(sides)} |", flush=True)

    def declared_inline(self, source):
        """The same program with every static function declared inline."""
        copy = self.folder / source.name
        copy.write_text(re.sub(r"^static (?=(?:const )?(?:struct |unsigned )?\w+ \**\w+\()", "static inline ", source.read_text(), flags=re.M))
        return copy

    def counted_and_sized(self, icode, options, base, known=None):
        """Instructions executed and bytes of code of the optimizer's output; `known` holds what equal IR gave before."""
        output, ir = self.folder / "level.opt", self.folder / "level.ll"
        run(self.tools / "pelorus", *options, icode, output)
        run(self.tools / "icode-llvm", output, "-o", ir)
        key = ir.read_bytes()
        if known is None or key not in known:
            counts = self.executed(ir, None) - base, self.text_bytes()
            if known is None:
                return counts
            known[key] = counts
        return known[key]

    def text_bytes(self):
        """The code of the object that was executed last."""
        text = run("arm-linux-gnueabihf-size", "-A", self.folder / "program.o").decode()
        return sum(int(size) for size in re.findall(r"^\.text\S*\s+(\d+)", text, re.M))

    def layout(self, examples):
        base = self.start_counting()
        variants = (["--disable=rotate_loops,unsimp_blocks"], ["--disable=unsimp_blocks"], [])
        print("\nWhat the layout saves: jumps and instructions executed, level 2; ratios to neither step\n")
        print("| example | jumps (thousands) | rotated | and tests split | instructions, layout kept (thousands) | rotated | and tests split "
              "| as llc lays out (thousands) | rotated | and tests split |\n|---|---|---|---|---|---|---|---|---|---|")
        total = None
        for source in examples:
            icode, _ = self.both_forms(source)
            measured = [self.layout_counts(icode, options, base) for options in variants]
            self.print_layout(source.stem, measured)
            total = [[a + b for a, b in zip(*sides)] for sides in zip(total, measured)] if total else measured
        self.print_layout("all", total)

    def layout_counts(self, icode, options, base):
        """Jumps; instructions in the layout that llc gets; in its own."""
        output, ir = self.folder / "level.opt", self.folder / "level.ll"
        run(self.tools / "pelorus", "-o2", *options, icode, output)
        run(self.tools / "icode-llvm", output, "-o", ir)
        return self.jumps(output), self.executed(ir, None, "-disable-block-placement") - base, self.executed(ir, None) - base

    @staticmethod
    def print_layout(name, measured):
        columns = [f"{first / 1e3:.0f} | " + " | ".join(f"{count / first:.3f}" if first else "" for count in rest)
                   for first, *rest in zip(*measured)]
        print(f"| {name} | {' | '.join(columns)} |", flush=True)

    def statistics_of(self, icode):
        return subprocess.run([self.tools / "icode-run", "--stats", icode], capture_output=True, text=True, check=True).stderr

    def jumps(self, icode):
        """How often the program jumps to a block that does not follow; tests are not counted."""
        found = re.search(r"^ *(\d+)  BRANCH$", self.statistics_of(icode), re.M)
        return int(found[1]) if found else 0

    def operations(self, icode):
        """What icode-run counts for the program."""
        return int(re.search(r"^ *(\d+) .* all$", self.statistics_of(icode), re.M)[1])

    def operators(self, icode):
        """Operators of each function's trees; leaves, assignments and what holds a statement together count nothing."""
        text = run(self.tools / "icode-dis", icode).decode()
        counts = {}
        for name, body in re.findall(r"^function @_(\w+).*?$(.*?)^end_function", text, re.M | re.S):
            trees = "\n".join(line for line in body.split("\n") if not line.lstrip().startswith(("symbol", "note", "label")))
            counts[name] = sum(op not in NO_OPERATORS for op in re.findall(r"\b([A-Z]+)(?::[\w.*]+)?\(", trees))
        return counts

    def arm_instructions(self, ir):
        """ARM instructions of each function, its returns not counted."""
        text = run("llc-19", "-O2", "-filetype=asm", ir, "-o", "-").decode()
        functions = re.findall(r"^(\w+):[^\n]*$(.*?)^\.Lfunc_end", text, re.M | re.S)
        return {name: sum(not re.match(r"bx\tlr|pop\t.*pc", line) for line in re.findall(r"^\t([a-z].*)", body, re.M)) for name, body in functions}

    def expressions(self):
        source = ROOT / "bench" / "expressions.c"
        icode, bitcode = self.both_forms(source)
        optimized, stem = self.folder / "expressions.opt", self.folder / "expressions"
        run(self.tools / "pelorus", "-o2", icode, optimized)
        run(self.tools / "icode-llvm", optimized, "-o", f"{stem}.ll")
        run("opt-19", "-passes=mem2reg,instcombine", bitcode, "-S", "-o", f"{stem}.peer.ll")
        peer = re.findall(r"^define [^\n]*@(\w+)\([^\n]*\{$(.*?)^\}", pathlib.Path(f"{stem}.peer.ll").read_text(), re.M | re.S)
        peer = {name: len(re.findall(r"^  (?!ret |br )", body, re.M)) for name, body in peer}
        before, after = self.operators(icode), self.operators(optimized)
        ours_arm, peer_arm = self.arm_instructions(f"{stem}.ll"), self.arm_instructions(f"{stem}.peer.ll")
        print("\nOperators left of an expression; instructions\n")
        print("| function | operators before | after | opt-19 instcombine | ARM instructions | of opt-19 |\n|---|---|---|---|---|---|")
        for name in before:
            print(f"| {name} | {before[name]} | {after[name]} | {peer[name]} | {ours_arm[name]} | {peer_arm[name]} |")

    def interpreter(self, examples):
        print("\nOperations that icode-run executes, and its time against qemu-arm's\n")
        print("| example | operations (millions) | a second (millions) | time ms | qemu-arm | ratio |\n|---|---|---|---|---|---|")
        for source in examples:
            icode = self.folder / f"{source.stem}.if"
            optimized, executable = self.folder / f"{source.stem}.opt", self.folder / source.stem
            run(self.tools / "icode-cc", source, "-o", icode)
            run(self.tools / "pelorus", "-o2", icode, optimized)
            run(self.tools / "pelorus-cc", "-O2", "-static", source, "-lm", "-o", executable)
            ours = [self.tools / "icode-run", optimized]
            operations = self.operations(optimized)
            (time, _), (peer_time, _) = self.compare(ours, ["qemu-arm", executable])
            print(f"| {source.stem} | {operations / 1e6:.1f} | {operations / time / 1e6:.0f} | {time * 1e3:.0f} | {peer_time * 1e3:.0f} "
                  f"| {time / peer_time:.2f} |", flush=True)

    def build_counter(self):
        self.counter = self.folder / "count_instructions.so"
        run("cc", "-shared", "-fPIC", "-O2", ROOT / "bench" / "count_instructions.c", "-o", self.counter)

    def start_counting(self):
        """Builds the counter; what an empty program executes."""
        self.build_counter()
        empty = self.folder / "empty.c"
        empty.write_text("int main(void) { return 0; }\n")
        return self.executed(self.both_forms(empty)[1], "mem2reg")

    def executed(self, ir, passes, *options):
        """Instructions that a program executes; `passes` run over its IR before llc, None for none; the options are llc's."""
        stem = self.folder / "program"
        if passes:
            run("opt-19", f"-passes={passes}", ir, "-o", f"{stem}.bc")
            ir = f"{stem}.bc"
        run("llc-19", "-O2", *options, "-relocation-model=pic", "-filetype=obj", ir, "-o", f"{stem}.o")
        run("arm-linux-gnueabihf-gcc", "-static", f"{stem}.o", "-o", stem, "-lm")
        return self.executions(stem)

    def executions(self, program, *arguments):
        """Instructions that a run of the program executes."""
        count = self.folder / "count"
        subprocess.run(["qemu-arm", "-plugin", f"file={self.counter},out={count}", program, *arguments], capture_output=True)
        return int(count.read_text())

    def instructions(self, examples):
        base = self.start_counting()
        print("\nInstructions executed, as ratios to the peer: levels " + ", ".join(str(level) for level in LEVELS) + "\n")
        print("| example | clang mem2reg (thousands) | " + " | ".join(f"/ {peer}" for peer in PEERS) + " |\n" + "|---" * (len(PEERS) + 2) + "|")
        all_ratios = []
        for source in examples:
            ours, peers = self.counts(source, base)
            ratios = [[count / peers[peer] for count in ours] for peer in PEERS]
            all_ratios.append(ratios)
            print(f"| {source.stem} | {peers['mem2reg'] / 1e3:.0f} | {self.level_texts(ratios)} |", flush=True)
        for name, together in (("geometric mean", statistics.geometric_mean), ("worst", max)):
            print(f"| {name} |  | {self.level_texts([[together(level) for level in zip(*peer)] for peer in zip(*all_ratios)])} |")

    @staticmethod
    def level_texts(ratios):
        return " | ".join(", ".join(f"{ratio:.2f}" for ratio in levels) for levels in ratios)

    def counts(self, source, base):
        """Instructions at each level, and of each peer."""
        icode, bitcode = self.both_forms(source)
        peers = {peer: self.executed(bitcode, passes) - base for peer, passes in PEERS.items()}
        known = {}  # by the optimizer's output: equal icode runs once
        ours = []
        for level in LEVELS:
            ir = self.ir_of(icode, f"-o{level}")
            text = ir.read_bytes()
            if text not in known:
                known[text] = self.executed(ir, None) - base
            ours.append(known[text])
        return ours, peers

    def ir_of(self, icode, *options):
        """LLVM's IR of the icode after pelorus."""
        output, ir = self.folder / "level.opt", self.folder / "level.ll"
        run(self.tools / "pelorus", *options, icode, output)
        run(self.tools / "icode-llvm", output, "-o", ir)
        return ir

    def registers(self):
        self.build_counter()
        icode, bitcode = self.both_forms(ROOT / "bench" / "pressure.c")
        kernels = {"stream": "s", "wide": "w", "nested": "n", "product": "p", "calling": "c"}

        def count(ir, passes):
            self.executed(ir, passes)
            base, *counts = (self.executions(self.folder / "program", kernel) for kernel in ("", *kernels.values()))
            return [count - base for count in counts]

        columns = {"clang O2": count(bitcode, "default<O2>")}
        for level in (1, 2):
            for name, options in (("", []), (", spilled early", ["--debug=spill"]), (", in memory", ["--disable=allocate_regs"])):
                columns[f"level {level}{name}"] = count(self.ir_of(icode, f"-o{level}", *options), None)
        peer = count(bitcode, "mem2reg")
        print("\nMore variables than registers: instructions executed, as ratios to clang's mem2reg\n")
        print(f"| kernel | clang mem2reg (thousands) | {' | '.join(columns)} |\n" + "|---" * (len(columns) + 2) + "|")
        for number, kernel in enumerate(kernels):
            print(f"| {kernel} | {peer[number] / 1e3:.0f} | " + " | ".join(f"{counts[number] / peer[number]:.3f}" for counts in columns.values()) + " |")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", type=pathlib.Path, default=ROOT / "build" / "bin", help="folder of the tools (a release build)")
    parser.add_argument("--runs", type=int, default=11, help="runs of each timed command")
    parser.add_argument("--against", type=pathlib.Path, help="folder of the tools of another build, for the table of decisions")
    parser.add_argument("tables", nargs="*", help="files, growth, shapes, graphs, callgraph, variables, decisions, levels, inline, limits, layout, expressions, interpreter, instructions, registers; all when none is named")
    arguments = parser.parse_args()
    examples = sorted((ROOT / "examples").glob("*.c"))
    wanted = arguments.tables or ["files", "growth", "shapes", "graphs", "callgraph", "variables", "decisions", "levels", "inline", "limits", "layout", "expressions", "interpreter", "instructions", "registers"]
    with tempfile.TemporaryDirectory(prefix="pelorus-bench-") as folder:
        bench = Bench(arguments.bin, pathlib.Path(folder), arguments.runs)
        if "files" in wanted:
            bench.files(examples)
        if "growth" in wanted:
            bench.growth()
        if "shapes" in wanted:
            bench.shapes()
        if "graphs" in wanted:
            bench.graphs()
        if "callgraph" in wanted:
            bench.callgraph()
        if "variables" in wanted:
            bench.variables()
        if "decisions" in wanted:
            bench.decisions(examples, arguments.against)
        if "levels" in wanted:
            bench.levels(examples)
        if "inline" in wanted:
            bench.inline(examples)
        if "limits" in wanted:
            bench.limits(examples)
        if "layout" in wanted:
            bench.layout(examples)
        if "expressions" in wanted:
            bench.expressions()
        if "interpreter" in wanted:
            bench.interpreter(examples)
        if "instructions" in wanted:
            bench.instructions(examples)
        if "registers" in wanted:
            bench.registers()


if __name__ == "__main__":
    main()
