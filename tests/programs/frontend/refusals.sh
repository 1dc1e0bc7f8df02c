#!/bin/sh
# What icode-cc must refuse, and what its command line must do besides: each refusal names the place and the
# construct, ends with status 1 and leaves no output.
#   refusals.sh <folder of icode-cc>
tools=$(cd "$1" && pwd) || exit 1
. "$(dirname "$0")/../prelude.sh"

# refused <place> <text of the message> <program>
refused() {
    printf '%s\n' "$3" > input.c
    if "$tools/icode-cc" -w input.c -o output.if 2> messages; then fail "accepted: $3"; fi
    grep -qF "input.c:$1: error: $2 has no icode" messages || fail "wrong message for: $(printf %.100s "$3"): $(head -n 1 messages)"
    [ -e output.if ] && fail "an output is left for: $3"
    rm -f output.if
}

refused 1:37 "an operand of assembly that is no number or pointer" 'void f(struct{int x;}s){asm(""::"r"(s));}'
refused 1:14 "inline assembly with labels" 'void f(void){asm goto("" :::: out); out:;}'
refused 1:54 "the type '__attribute__((__vector_size__(4 * sizeof(__fp16)))) __fp16'" 'typedef __fp16 v4 __attribute__((vector_size(8)));v4 v;'
refused 1:81 "a choice by a vector" 'typedef int v4 __attribute__((ext_vector_type(4)));v4 f(v4 a,v4 b,v4 c){return (a ? b : c);}'
refused 1:41 "the type '_Atomic(struct s)'" 'struct s {char c[3];}; _Atomic struct s x;'
refused 1:58 "an atomic operation on 12 bytes" 'struct s {int i[3];}; void f(struct s *p, struct s *q) { __atomic_store(p, q, 0); }'
refused 1:44 "this operator on an atomic object" '_Atomic float _Complex z; void f(void) { z *= 2; }'
refused 1:42 "the builtin function '__builtin_setjmp'" 'void *b[5]; int f(void) { return 1 + 0 * __builtin_setjmp(b); }'
refused 1:14 "a global register variable" 'register int r asm("r9"); int f(void){return r;}'

# Texts that do not fit a record; what stands outside functions may have any number of lines.
long=$(printf '%09000d' 0)
refused 1:14 "assembly of more than 7936 bytes" "void f(void){asm(\"$long\");}"
refused 1:1 "a line of assembly of more than 7936 bytes" "asm(\"$long\");"
refused 1:5 "the text of an attribute of more than 7936 bytes" "int x __attribute__((section(\"$long\")));"
refused 1:14 "a name of more than 7936 bytes" "struct s{int a$long;} x;"
awk 'BEGIN { printf "asm(\""; for (i = 0; i < 5000; i++) printf ".set s%d, 0\\n", i; print "\");" }' > input.c
"$tools/icode-cc" input.c -o output.if && "$tools/icode-val" output.if || fail "many lines of assembly are refused"
rm -f output.if

# All refusals of a file are reported in one run.
printf 'void f(int n){asm goto("" :::: out);out:;}\n_Float16 x;\n' > input.c
"$tools/icode-cc" -w input.c -o output.if 2> messages
grep -q 'input.c:1:15' messages && grep -q 'input.c:2:' messages || fail "not all refusals are reported"

# Chains of any length: cases and labels in front of one statement, `else if`.
awk 'BEGIN { print "int f(int x) { switch (x) {"; for (i = 0; i < 20000; i++) print "case " i ":"; print "return 1; }"
             for (i = 0; i < 20000; i++) print "l" i ":"; for (i = 0; i < 3000; i++) print "if (x == " i ") return 2; else";
             print "return 3; }" }' > input.c
"$tools/icode-cc" -w input.c -o output.if || fail "long chains are refused"
rm -f output.if

# An error of the language and a missing file are clang's, with the same status.
echo 'int f(void){return x;}' > input.c
"$tools/icode-cc" input.c -o output.if 2> /dev/null && fail "a faulty program was accepted"
"$tools/icode-cc" missing.c -o output.if 2> /dev/null && fail "a missing file was accepted"
"$tools/icode-cc" input.c 2> /dev/null && fail "no output was named, but the status is 0"
[ -e output.if ] && fail "an output is left after errors"

# Options reach clang: macros, headers, dependency files, the preprocessor alone.
printf '#include "inner.h"\nint VALUE = NUMBER;\n' > input.c
mkdir include
echo '#define VALUE value' > include/inner.h
"$tools/icode-cc" -Iinclude -DNUMBER=7 -O2 -MMD -MF deps -MT target input.c -o output.if || fail "a correct program was refused"
[ -s output.if ] || fail "there is no output"
grep -q '^target: input.c include/inner.h$' deps || fail "wrong dependencies: $(cat deps)"
"$tools/icode-cc" -E -P -Iinclude -DNUMBER=7 input.c | grep -q '^int value = 7;$' || fail "wrong preprocessed text"
echo 'int __OPTIMIZE__;' > input.c
"$tools/icode-cc" -O2 input.c -o output.if || fail "-O defines __OPTIMIZE__"
echo 'void __attribute__((interrupt("IRQ"))) f(void) {}' > input.c
"$tools/icode-cc" -w input.c -o output.if && "$tools/icode-val" output.if && "$tools/icode-llvm" output.if -o output.ll || fail "a function for interrupts is refused"
grep -qF '"interrupt"="IRQ"' output.ll || fail "a function for interrupts became one like others"
echo 'int tentative; int given = 1; static int own; int *p = &own; __attribute__((section("x"))) int placed;' > input.c
"$tools/icode-cc" -fcommon -fvisibility=hidden input.c -o output.if && "$tools/icode-llvm" output.if -o output.ll || fail "a correct program was refused"
grep -c common output.ll | grep -qx 1 && grep -q '^@tentative = common .*hidden' output.ll || fail "-fcommon or -fvisibility has no effect"
"$tools/icode-cc" input.c -o output.if && "$tools/icode-llvm" output.if -o output.ll && grep -q common output.ll && fail "definitions are merged without -fcommon"

[ $failures = 0 ]
