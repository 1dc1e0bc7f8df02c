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
  ssa           instructions that pelorus itself executes at level 2 (counted as for decisions) without the passes that work on SSA form, and
                without the form, against the whole
  costs         time and peak memory of pelorus at levels 2 and 4 against opt-19 -O2 on the bitcode of the same source, unoptimized; on the
                examples, the kernels and the largest file of an upstream project
  instructions  ARM instructions that each program executes: the examples, the kernels of bench/kernels and the tests of four upstream projects
                (scripts/realworld --peers, all processes); of the first two exact, counted by a plugin of qemu-arm, less those of an empty program: from
                icode after pelorus at each level, against clang's IR of the same source after opt-19 with mem2reg, O1 and O2; everything goes
                through llc-19 -O2, and nothing else on our side
  registers     the same of each kernel of bench/pressure.c, which have more variables at once than there are registers: at levels 1 and 2 as it
                is, with variables in memory for which no register is free, and with all of them in memory
  frames        bytes of the stack frames of the functions, as llc-19 -O2 lays them out, at levels 1 to 4 with and without the sharing of
                places: of the examples and kernels, and of the icode files of each folder that --icode names
  expressions   what is left of each function of bench/expressions.c: operators of our trees before and after level 2, instructions of
                clang's IR after opt-19 with instcombine; and the ARM instructions of both after llc-19 -O2, returns not counted
  interpreter   operations a second that icode-run executes, on the examples after pelorus at level 2, and its time against that of
                qemu-arm for the executable that pelorus-cc -O2 makes

Times are user plus system time, the median of --runs runs that alternate between the two programs.
"""
import argparse
import functools
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile

from generated import SHAPE_FILE, SHAPES, VARIABLE_SIZES, generated_source, variables

ROOT = pathlib.Path(__file__).resolve().parent.parent
TARGET = "--target=armv7-linux-gnueabihf"
LEVELS = range(5)
SKIPPED = 77  # scripts/realworld, when the sources of a project could not be fetched
# What is no operation by itself in the text form of a tree.
NO_OPERATORS = {"ASG", "PCOMMA", "COMMA", "COLON", "RETURN", "URETURN", "IF", "BRANCH", "UAND", "NAME", "LCON", "FCON"}
# The projects whose own tests are programs of the bench; each builds in a minute.
PROJECTS = ("zlib", "bzip2", "lua5.4", "mawk")
# The upstream project with the largest C file of those that scripts/realworld builds, and that file.
LARGEST = ("jimtcl", "jim")
INLINE_LIMITS = (0, 1, 50, 75, 100, 125, 150, 175, 200, 250, 300, 400, 800, 1600)
PEERS = {"mem2reg": "mem2reg", "O1": "default<O1>", "O2": "default<O2>"}


def run(*command):
    result = subprocess.run([str(word) for word in command], capture_output=True)
    if result.returncode:
        sys.exit(f"{' '.join(str(word) for word in command)}\n{result.stderr.decode(errors='replace')}")
    return result.stdout


class Bench:
    def __init__(self, tools, folder, arguments):
        self.tools = tools
        self.folder = folder
        self.runs = arguments.runs
        self.against = arguments.against
        self.icode = arguments.icode
        self.measure = folder / "measure"
        run("cc", "-O2", ROOT / "bench" / "measure.c", "-o", self.measure)

    def cost(self, command):
        """(seconds, bytes): user and system time, and peak memory, of one run."""
        seconds, peak = run(self.measure, *command).split()
        return float(seconds), int(peak)

    def compare(self, *commands):
        """Medians (seconds, bytes) of each command over alternating runs."""
        samples = [[] for _ in commands]
        for _ in range(self.runs):
            for side, command in zip(samples, commands):
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

    def decisions(self, examples):
        asked = {"statistics": "--debug=stats", "limit": "--debug=stop_after=1000000", "trace": "--trace"}
        print("\nInstructions of pelorus -o2 when decisions are asked for; ratio to nobody asking\n")
        print("| input | nobody asks (millions) | " + " | ".join(asked) + (" | other build |" if self.against else " |"))
        print("|---" * (len(asked) + 2 + bool(self.against)) + "|")
        generated = self.folder / "generated.c"
        generated.write_text(generated_source(2000))
        for source in [generated, *sorted(examples, key=lambda path: -path.stat().st_size)[:3]]:
            icode, _ = self.both_forms(source)
            base = self.own_instructions(self.tools, icode)
            ratios = [self.own_instructions(self.tools, icode, option) / base for option in asked.values()]
            if self.against:
                ratios.append(self.own_instructions(self.against, icode) / base)
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

    def frames(self, programs):
        files = {"examples and kernels": [self.folder / f"{source.stem}.if" for source in programs]}
        for source, icode in zip(programs, files["examples and kernels"]):
            run(self.tools / "icode-cc", source, "-o", icode)
        files |= {folder.name: sorted(folder.rglob("*.if")) for folder in self.icode}
        print("\nStack frames with and without shared places\n")
        print("| files | level | functions | with smaller frames | with larger ones | bytes of all frames | without sharing | ratio |\n|---|---|---|---|---|---|---|---|")
        for name, inputs in files.items():
            for level in range(1, 5):
                pairs = [(self.frame_sizes(icode, level), self.frame_sizes(icode, level, "--no_stack_sharing")) for icode in inputs]
                sizes = [(sharing[function], apart[function]) for sharing, apart in pairs for function in apart]
                sharing, apart = (sum(side) for side in zip(*sizes))
                print(f"| {name} | {level} | {len(sizes)} | {sum(a < b for a, b in sizes)} | {sum(a > b for a, b in sizes)} | {sharing} | {apart} "
                      f"| {sharing / apart:.3f} |", flush=True)

    def frame_sizes(self, icode, level, *options):
        """The bytes of the frame of each function."""
        output, ir, unit = (self.folder / f"frames.{ending}" for ending in ("opt", "ll", "o"))
        run(self.tools / "pelorus", f"-o{level}", *options, icode, output)
        run(self.tools / "icode-llvm", output, "-o", ir)
        run("llc-19", "-O2", "-filetype=obj", "-stack-size-section", ir, "-o", unit)
        sizes = run("llvm-readelf-19", "--stack-sizes", unit).decode()
        return {name: int(size) for size, name in re.findall(r"^ *(\d+) +(\S+)$", sizes, re.M)}

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

    def ssa(self, examples):
        passes = ["--disable=propagate_SSA_constants", "--disable=elim_dead_SSA_assignments"]
        print("\nSSA form: instructions of pelorus -o2, ratio to the whole\n")
        print("| source | whole, millions | without its passes | without the form |\n|---|---|---|---|")
        for source in examples:
            icode, _ = self.both_forms(source)
            whole, form, none = (self.own_instructions(self.tools, icode, *options) for options in ([], passes, [*passes, "--disable=construct_SSA_form"]))
            print(f"| {source.name} | {whole / 1e6:.1f} | {form / whole:.3f} | {none / whole:.3f} |", flush=True)

    def largest(self):
        """The icode and the bitcode of the largest file of an upstream project; None where its sources cannot be fetched."""
        project, stem = LARGEST
        command = [ROOT / "scripts" / "realworld", "--peers", "--keep", "--bin", self.tools, project, "2"]
        printed = subprocess.run(command, capture_output=True, text=True).stdout
        kept = pathlib.Path(re.search(r"everything is kept in (.*)", printed)[1])
        patterns = {"if": f"level2/temporaries/*/0-{stem}.if", "bc": f"mem2reg/**/{stem}.o.bc"}
        forms = [self.folder / f"{stem}.{form}" for form in patterns]
        for form, pattern in zip(forms, patterns.values()):
            for file in (kept / project).glob(pattern):
                shutil.copy(file, form)
        shutil.rmtree(kept)
        return forms if all(form.exists() for form in forms) else None

    def costs(self, sources):
        print("\nCost of the optimizer: ours at level 2; at level 4; opt-19 -O2; ratios\n")
        print("| source | time ms | level 4 | opt-19 | ratio | level 4 | memory MB | level 4 | opt-19 | ratio | level 4 |\n" + "|---" * 11 + "|")
        largest = self.largest()
        if not largest:
            print(f"The sources of {LARGEST[0]} could not be fetched.", file=sys.stderr)
        for icode, bitcode in [*map(self.both_forms, sources), *([largest] if largest else [])]:
            levels = [[self.tools / "pelorus", f"-o{level}", icode, self.folder / "out.opt"] for level in (2, 4)]
            costs = self.compare(*levels, ["opt-19", "-O2", bitcode, "-o", self.folder / "out.bc"])
            columns = []
            for scale, values in zip((1e-3, 1e6), zip(*costs)):
                columns += [f"{value / scale:.1f}" for value in values] + [f"{value / values[2]:.3f}" for value in values[:2]]
            print(f"| {pathlib.Path(icode).stem} | {' | '.join(columns)} |", flush=True)

    def project_counts(self, name):
        """Instructions of a project's tests at each level and of each peer; None where its sources cannot be fetched."""
        table = self.folder / "counts"
        table.unlink(missing_ok=True)
        command = [ROOT / "scripts" / "realworld", "--peers", "--counts", table, "--bin", self.tools, name]
        status = subprocess.run(command, capture_output=True).returncode
        if status == SKIPPED:
            return None
        if status:
            sys.exit(f"scripts/realworld --peers {name} failed")
        counts = {compiler: int(count) for _, compiler, count, _ in (line.split("\t") for line in table.read_text().splitlines())}
        return [counts[str(level)] for level in LEVELS], {peer: counts[peer] for peer in PEERS}

    def instructions(self, sources):
        base = self.start_counting()
        print("\nInstructions executed, as ratios to the peer: levels " + ", ".join(str(level) for level in LEVELS) + "\n")
        print("| program | clang mem2reg (thousands) | " + " | ".join(f"/ {peer}" for peer in PEERS) + " |\n" + "|---" * (len(PEERS) + 2) + "|")
        all_ratios = []
        programs = [(source.stem, functools.partial(self.counts, source, base)) for source in sources]
        programs += [(name, functools.partial(self.project_counts, name)) for name in PROJECTS]
        for name, count_program in programs:
            counted = count_program()
            if not counted:
                print(f"The sources of {name} could not be fetched.", file=sys.stderr)
                continue
            ours, peers = counted
            ratios = [[count / peers[peer] for count in ours] for peer in PEERS]
            all_ratios.append(ratios)
            print(f"| {name} | {peers['mem2reg'] / 1e3:.0f} | {self.level_texts(ratios)} |", flush=True)
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


# What each table needs: nothing, the examples, or the examples and the kernels.
TABLES = {"files": "examples", "growth": "", "shapes": "", "graphs": "", "callgraph": "", "variables": "", "decisions": "examples", "levels": "examples",
          "inline": "examples", "limits": "examples", "layout": "examples", "frames": "programs", "expressions": "", "interpreter": "examples", "ssa": "examples",
          "costs": "programs", "instructions": "programs", "registers": ""}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", type=lambda text: pathlib.Path(text).resolve(), default=ROOT / "build" / "bin", help="folder of the tools (a release build)")
    parser.add_argument("--runs", type=int, default=11, help="runs of each timed command")
    parser.add_argument("--against", type=pathlib.Path, help="folder of the tools of another build, for the table of decisions")
    parser.add_argument("--icode", type=pathlib.Path, action="append", default=[], help="a folder of icode files, for the table of frames; may stand several times")
    parser.add_argument("tables", nargs="*", help=", ".join(TABLES) + "; all when none is named")
    arguments = parser.parse_args()
    unknown = set(arguments.tables) - set(TABLES)
    if unknown:
        parser.error(f"there is no table {', '.join(sorted(unknown))}")
    examples = sorted((ROOT / "examples").glob("*.c"))
    sources = {"": [], "examples": [examples], "programs": [examples + sorted((ROOT / "bench" / "kernels").glob("*.c"))]}
    with tempfile.TemporaryDirectory(prefix="pelorus-bench-") as folder:
        bench = Bench(arguments.bin, pathlib.Path(folder), arguments)
        for table in arguments.tables or TABLES:
            getattr(bench, table)(*sources[TABLES[table]])


if __name__ == "__main__":
    main()
