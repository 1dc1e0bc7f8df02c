"""The way of a C program through the tools to an ARM executable, and the same by clang alone; for the scripts that compare the two."""
import hashlib
import os
import pathlib
import signal
import subprocess
import tempfile

TARGET = "--target=armv7-linux-gnueabihf"
TOOL_SECONDS = 120  # for one step of one program
CSMITH_HEADERS = "/usr/include/csmith"
# What csmith is asked for, in turns, and how llc compiles our side. Large programs take csmith longer than
# the whole tool chain.
CSMITH_PROFILES = (
    (["--max-block-size", "3"], "-O2"),
    (["--max-funcs", "7", "--float", "--builtins", "--enable-builtin-kinds", "generic", "--disable-builtin-kinds", "x86,x86_64"], "-O2"),
    (["--no-packed-struct", "--max-funcs", "5"], "-O0"),
    (["--max-expr-complexity", "20", "--max-block-depth", "3", "--max-funcs", "5", "--inline-function"], "-O2"),
    (["--max-funcs", "5", "--no-argc", "--max-pointer-depth", "4", "--max-array-dim", "4"], "-O1"),
)


class Failure(Exception):
    """A step that must succeed did not; the text says which and how."""


class Refused(Exception):
    """The front end said that the program uses what icode cannot express."""


def run(command, what, **options):
    """Runs a command that must succeed."""
    shown = " ".join(str(word) for word in command)
    try:
        result = subprocess.run([str(word) for word in command], capture_output=True, timeout=TOOL_SECONDS, **options)
    except subprocess.TimeoutExpired:
        raise Failure(f"{what} took more than {TOOL_SECONDS} seconds: {shown}") from None
    if result.returncode != 0:
        text = (result.stderr + result.stdout).decode(errors="replace").strip()[-2000:]
        raise Failure(f"{what} failed (status {result.returncode}): {shown}\n{text}")
    return result
# Traps on undefined behaviour. Only gcc's see that a whole structure is assigned through a pointer that is
# not aligned for it.
CLANG_TRAPS = ("-fsanitize=undefined", "-fsanitize-trap=undefined", "-fno-sanitize=function")
GCC_TRAPS = ("-fsanitize=undefined", "-fsanitize-undefined-trap-on-error")


def csmith_options(seed):
    """csmith's options for a seed, and llc's for its program."""
    options, llc_option = CSMITH_PROFILES[seed % len(CSMITH_PROFILES)]
    if seed // len(CSMITH_PROFILES) % 2 and "--inline-function" not in options:
        options = [*options, "--inline-function", "--inline-function-prob", "30"]
    return options, llc_option


def write_csmith_program(seed, source):
    """The same seed is always the same program."""
    command = ["csmith", "--seed", str(seed), *csmith_options(seed)[0]]
    source.write_bytes(run(command, "csmith", cwd=source.parent).stdout)


def execute(executable, seconds=TOOL_SECONDS, folder=None):
    """Status and standard output of an ARM executable under qemu-arm, run in a folder. TimeoutExpired passes through. A program that crashes
    leaves no core file."""
    with tempfile.TemporaryFile() as output:
        process = subprocess.Popen(["qemu-arm", executable], stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.DEVNULL,
                                   preexec_fn=forbid_core_files, cwd=folder)
        try:
            status = process.wait(timeout=seconds)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            raise
        output.seek(0)
        return status, output.read()


def forbid_core_files():
    import resource
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def status_text(status):
    if status >= 0:
        return f"status {status}"
    return signal.Signals(-status).name if -status in set(signal.Signals) else f"signal {-status}"


class Chain:
    """The tools of one folder. `include` are folders of headers for the sources."""

    def __init__(self, tools, include=()):
        self.tools = pathlib.Path(tools)
        self.include = [f"-I{folder}" for folder in include]

    def clang(self, source, executable, *options):
        run(["clang-19", TARGET, "-O1", "-std=gnu11", "-w", "-static", *self.include, *options, source, "-o", executable, "-lm"], "clang")

    def gcc(self, source, executable, *options):
        run(["arm-linux-gnueabihf-gcc", "-O1", "-std=gnu11", "-w", "-static", *self.include, *options, source, "-o", executable, "-lm"], "gcc")

    def is_undefined(self, source, executable, seconds):
        """Do builds of other compilers show that the program's behaviour is undefined?"""

        def outcome(build, *options):
            build(source, executable, *options)
            try:
                return execute(executable, seconds, executable.parent)
            except subprocess.TimeoutExpired:
                return None

        for build, traps in ((self.clang, CLANG_TRAPS), (self.gcc, GCC_TRAPS)):
            trapped = outcome(build, *traps)
            if trapped is None or trapped[0] < 0:
                return True
        return outcome(self.clang, "-O0") != outcome(self.clang, "-O2")

    def icode_cc(self, source, icode):
        """Raises Refused when the program cannot be icode."""
        try:
            run([self.tools / "icode-cc", "-w", *self.include, source, "-o", icode], "icode-cc")
        except Failure as failure:
            if "has no icode" not in str(failure):
                raise
            raise Refused(str(failure)) from None

    def pelorus(self, icode, output, level, *options):
        run([self.tools / "pelorus", f"-o{level}", *options, icode, output], f"pelorus -o{level}")

    def faults(self, icode):
        """What icode-val says of the files; "" when they obey all rules."""
        command = [self.tools / "icode-val", "--max=5", *icode]
        result = subprocess.run([str(word) for word in command], capture_output=True, timeout=TOOL_SECONDS)
        if result.returncode not in (0, 1):
            raise Failure(f"icode-val failed (status {result.returncode}): {result.stderr.decode(errors='replace')}")
        return result.stdout.decode(errors="replace")

    def llvm(self, icode, code):
        """LLVM's text of the icode. It says nothing of options and file names, so that equal texts are equal programs."""
        run([self.tools / "icode-llvm", icode, "-o", code], "icode-llvm")

    def build(self, code, executable, llc_option="-O2"):
        run(["llc-19", llc_option, "-relocation-model=pic", "-filetype=obj", code, "-o", f"{executable}.o"], "llc")
        run(["arm-linux-gnueabihf-gcc", "-static", f"{executable}.o", "-o", executable, "-lm"], "linking")
        os.remove(f"{executable}.o")


def digest(file):
    return hashlib.sha256(pathlib.Path(file).read_bytes()).hexdigest()
