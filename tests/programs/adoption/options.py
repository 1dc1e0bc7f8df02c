#!/usr/bin/env python3
"""No option that changes the code is dropped: tries each -f... option that clang lists on a file in which it may matter.

  options.py BIN-DIRECTORY [OPTION...]

Where clang's assembly becomes another one, that of pelorus-cc must too, or the option must be refused; so must one that clang refuses. The
exceptions stand below, each with its reason.
"""
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import tempfile

CLANG = ["clang-19", "--target=armv7-linux-gnueabihf", "-O1", "-S", "-o", "-"]

# Arguments to try; "1" for other options.
ARGUMENTS = {
    "-fcf-protection=": ["return"], "-fdebug-compilation-dir=": ["/there"], "-fexcess-precision=": ["fast"], "-ffile-compilation-dir=": ["/there"],
    "-ffile-prefix-map=": ["code=other"], "-ffp-contract=": ["off", "fast"], "-ffp-eval-method=": ["double"], "-ffp-exception-behavior=": ["strict"],
    "-ffp-model=": ["strict", "fast"], "-falign-functions=": ["32"], "-fmacro-prefix-map=": ["code=other"], "-fpack-struct=": ["1"],
    "-fpatchable-function-entry=": ["2"], "-ftls-model=": ["initial-exec"], "-ftrap-function=": ["trap"],
    "-ftrivial-auto-var-init=": ["zero", "pattern"], "-fvisibility=": ["hidden", "protected"], "-fstrict-flex-arrays=": ["3"],
}
# Options that --help leaves out.
FURTHER = ["-fcommon", "-funsigned-char", "-fsigned-char", "-fno-unsigned-char", "-fno-inline", "-fno-optimize-sibling-calls", "-funwind-tables",
           "-fexceptions", "-fno-omit-frame-pointer", "-frecord-gcc-switches", "-falign-functions=32", "-fno-zero-initialized-in-bss"]

PERMISSION = "clang may use it, and need not"
NO_CODE = "nothing that runs or is linked becomes different"
ALWAYS = "always so here"
ACCEPTED = {
    "-ffast-math": "sums of the file have no terms to regroup", "-ffinite-math-only": PERMISSION,
    "-ffp-contract=fast": PERMISSION, "-freciprocal-math": PERMISSION, "-funsafe-math-optimizations": PERMISSION,
    "-finline-hint-functions": PERMISSION, "-fno-inline": "nothing is inlined yet",
    "-fno-inline-functions": PERMISSION, "-fglobal-isel": PERMISSION, "-fno-strict-aliasing": ALWAYS, "-fwrapv": ALWAYS,
    "-fno-delete-null-pointer-checks": "nothing is concluded from an access yet", "-flto": "objects hold code", "-flto=auto": "objects hold code",
    "-flto=jobserver": "objects hold code", "-flto=1": "objects hold code", "-fno-addrsig": NO_CODE, "-fno-discard-value-names": NO_CODE,
    "-fno-integrated-as": NO_CODE, "-fno-verbose-asm": NO_CODE, "-fno-ident": NO_CODE, "-fforce-dwarf-frame": NO_CODE, "-fmodules": NO_CODE,
    "-fapple-kext": "clang ignores it", "-fvisibility-from-dllstorageclass": "there are no such classes",
    "-fno-optimize-sibling-calls": "no call becomes a jump but that of a function by itself",
}

SOURCE = r"""
#include <setjmp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
typedef enum { A, B } letters;
struct bits { int a : 3; char c; long long d; };
int tentative, zero = 0;
static const int unused_constant = 7;
static int unused(void) { return 3; }
inline int external(int x) { return x * 2; }
__thread int own; extern __thread int other;
extern int value;
letters letter; struct bits bits;
wchar_t wide[] = L"ab";
char shifted(char c) { return c >> 1; }
int called(int a, int b);
static inline int helper(int x) { return x * 3 + value; }
int inlined(int x) { return helper(x) + helper(x + 1); }
double fused(double a, double b, double c) { return a * b + c; }
double regrouped(double a, double b) { return (a + b) - a + b / 3.0; }
int is_nan(double a) { return a != a; }
float constant(float a) { return a * 2.1; }
float product(float a, float b, float c) { return a * b * c; }
int chosen(int x) { switch (x) { case 0: return 5; case 1: return called(1, 8); case 2: return 13; case 3: return called(x, 2); case 4: puts("x"); return 1; case 5: return value; default: return 0; } }
int buffers(int n) { char small[n], large[9000]; memset(small, 0, n); gets_s(large); return puts(large) + called((int)small, small[n / 2]); }
int checked(int *p) { int v = *p; if (!p) return 3; return v; }
int overflows(int x) { return x + 1 > x; }
int sums(int *p, int n) { int s = 0; for (int i = 0; i < n; i++) s += p[i]; return s; }
int jumps(int x) { return called(x, x); }
int recursive(int n, int s) { if (n) return recursive(n - 1, s + n); return s; }
int aliases(int *i, float *f) { *i = 1; *f = 2; return *i; }
int volatile_bits(volatile struct bits *p) { p->a = 3; return p->a; }
const char *text(void) { return __FILE__; }
int threads(void) { return own + other; }
void trapped(void) { __builtin_trap(); }
static void clean(int *p) { value = *p; }
int cleaned(void) { int v __attribute__((cleanup(clean))) = 3; return called(v, 1); }
int tested(double d) { return d < 1 && (unsigned char)d; }
__attribute__((constructor)) static void first(void) { value = 1; }
""".replace("gets_s(large);", "memset(large, n, 9000);")


def listed_options():
    text = subprocess.run(["clang-19", "--help-hidden"], capture_output=True, text=True, check=True).stdout
    for word in re.findall(r"^  (-f[^ ]+)", text, re.MULTILINE):
        name = re.split(r"[<\[]", word)[0]
        # Sanitizers, other languages and other machines' registers have one rule each or none at all.
        if re.match(r"-f(no-)?(sanitize|objc|openmp|gpu|hip|cuda|sycl|profile|coro|c\+\+|cxx|modules?-|crash|diagnostics|fixed|plugin)", name):
            continue
        yield from ([name] if name == word else [name + argument for argument in ARGUMENTS.get(name, ["1"])])


class Trial:
    def __init__(self, tools, folder):
        self.file = folder / "code.c"
        self.file.write_text(SOURCE)
        self.ours = [tools / "pelorus-cc", "-O1", "-S", "-o", "-"]
        self.plain = self.text(CLANG), self.text(self.ours)
        assert all(self.plain), "the file does not compile"

    def text(self, compiler, *options):
        """The assembly, or None."""
        result = subprocess.run([*compiler, *options, self.file.name], cwd=self.file.parent, capture_output=True, text=True, timeout=120, check=False)
        return None if result.returncode else result.stdout

    def fault(self, option):
        theirs = self.text(CLANG, option)
        if option in ACCEPTED or theirs == self.plain[0]:
            return None
        ours = self.text(self.ours, option)
        if ours != self.plain[1]:  # changed or refused
            return None
        return f"{option}: clang {'refuses it' if theirs is None else 'makes other code'}, pelorus-cc does nothing"


def main():
    options = sys.argv[2:] or sorted({*listed_options(), *FURTHER})
    with tempfile.TemporaryDirectory() as folder, concurrent.futures.ThreadPoolExecutor(max(1, os.cpu_count() // 2)) as pool:
        trial = Trial(pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(folder))
        faults = [fault for fault in pool.map(trial.fault, options) if fault]
    print("\n".join([*faults, f"{len(options)} options"]))
    return bool(faults)


sys.exit(main())
