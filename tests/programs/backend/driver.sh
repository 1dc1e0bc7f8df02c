#!/bin/sh
# pelorus-cc as makefiles and configure scripts use it.
# Usage: driver.sh BIN-DIRECTORY
set -eu
bin=$(cd "$1" && pwd)
cc=$bin/pelorus-cc
. "$(dirname "$0")/../prelude.sh"
mkdir tmp
TMPDIR=$work/tmp
export TMPDIR
run() { qemu-arm -L /usr/arm-linux-gnueabihf "$@"; }

mkdir inc sub
echo '#define GREETING "hello"' >inc/greeting.h
cat >main.c <<'C'
# include <stdio.h>
# include <greeting.h>
extern double twice(double);
extern int plus_one(int);
int main(int argc, char **argv) { printf("%s %g %d %s\n", GREETING, twice(1.5), plus_one(41), argc > 1 ? argv[1] : NAME); return 3; }
C
echo 'double twice(double x) { return x + x; }' >sub/twice.c
printf '.text\n.global plus_one\n.type plus_one, %%function\nplus_one: add r0, r0, #ONE\n bx lr\n.section .note.GNU-stack\n' >plus.S

# Everything at once, with assembly and libraries.
"$cc" -O2 -Iinc '-DNAME="a b"' main.c sub/twice.c -DONE=1 plus.S -lm -o all
status=0
run ./all >out || status=$?
[ "$status" = 3 ] && [ "$(cat out)" = "hello 3 42 a b" ] || fail "several files at once: $status $(cat out)"

# Separate objects, an archive, a response file, -static.
"$cc" -c -Iinc '-DNAME="x"' main.c && "$cc" -c sub/twice.c && "$cc" -c -DONE=1 plus.S -o plus.o
ar cr libparts.a twice.o plus.o
printf -- '-static\nmain.o "-L." -lparts' >words
"$cc" @words -o static && [ "$(run ./static word || true)" = "hello 3 42 word" ] || fail "archive and response file"

# Dependencies name the object, and the steps between leave nothing behind.
"$cc" -MD -MP -Iinc '-DNAME="x"' -c main.c -o sub/main.o
grep -q '^sub/main.o: main.c' sub/main.d && grep -q 'inc/greeting.h:' sub/main.d || fail "dependency file"
[ "$("$cc" -MM -Iinc main.c)" = "main.o: main.c inc/greeting.h" ] || fail "-MM"
[ -z "$(ls tmp)" ] || fail "temporary files are left: $(ls tmp)"

# Each place to stop.
"$cc" -S sub/twice.c && grep -q '^twice:' twice.s || fail "-S"
"$cc" -E -P -Iinc -include greeting.h -xc - >pre.i <<'C'
GREETING
C
grep -qx '"hello"' pre.i || fail "-E from the standard input"
"$cc" --icode -O1 sub/twice.c && [ -s twice.if ] && [ -s twice.opt ] || fail "--icode"
"$cc" -c twice.opt -o again.o && "$cc" -c twice.if -o again.o || fail "icode as input"
"$cc" -### -O3 -c sub/twice.c 2>steps && grep -q 'pelorus -o3 ' steps && [ "$(wc -l <steps)" = 4 ] || fail "-###"

# A report of the steps, for two files and the linker, and the files that it names.
mkdir kept
"$cc" --time-report=times --keep-temps=kept -Iinc '-DNAME="x"' main.c sub/twice.c plus.S -DONE=1 -o timed
"$cc" --time-report=times -fsyntax-only sub/twice.c
[ "$(cut -f 1 times | tr '\n' ' ')" = "icode-cc pelorus icode-llvm llc-19 icode-cc pelorus icode-llvm llc-19 arm-linux-gnueabihf-gcc arm-linux-gnueabihf-gcc icode-cc " ] || fail "steps of --time-report"
awk -F '\t' -v top="$work" '$1 == "pelorus" && $2 >= 0 && $3 ~ "^" top "/(main|sub/twice).c$" { print $4 }' times >outputs
[ "$(wc -l <outputs)" = 2 ] || fail "--time-report: $(cat times)"
while read -r output; do
    "$cc" -c -x optimized-icode "$output" -o again.o || fail "--keep-temps: $output"
done <outputs
tail -n 2 times | head -n 1 | grep -q "	-	$work/timed\$" || fail "--time-report of the linker"

# A shared library.
"$cc" -fPIC -shared sub/twice.c plus.S -DONE=1 -o libtwice.so
"$cc" -Iinc '-DNAME="x"' main.c -L. -ltwice '-Wl,-rpath,$ORIGIN' -o shared
[ "$(run ./shared || true)" = "hello 3 42 x" ] || fail "shared library"

# What must fail, with one status and no output.
echo 'int f(void) { return }' >bad.c
for words in "-c bad.c -o bad.o" "-V" "-qversion" "nowhere.c" "-c main.c sub/twice.c -o x" "-O2" "-c -Xpelorus -o9 sub/twice.c -o bad.o" "-c -Xpelorus --tarce sub/twice.c -o bad.o"; do
    status=0
    # shellcheck disable=SC2086
    "$cc" $words >messages 2>&1 || status=$?
    [ "$status" = 1 ] && [ -s messages ] && [ ! -e bad.o ] || fail "$words: status $status"
done
[ -z "$(ls tmp)" ] || fail "temporary files are left after failures"

# Nothing writes over an input, whatever links lead to it, and what cannot be written is named.
cp sub/twice.c source.c
ln -s source.c link.o
ln source.c hard.o
for output in source.c ./source.c link.o hard.o; do
    "$cc" -c source.c -o $output 2>messages && fail "-c source.c -o $output"
    grep -q "$output" messages || fail "-o $output is not named: $(cat messages)"
    "$bin/icode-cc" source.c -o $output 2>messages && fail "icode-cc source.c -o $output"
    "$bin/icode-cc" -E source.c -o $output 2>messages && fail "icode-cc -E source.c -o $output"
    "$bin/icode-cc" -MD -MF $output source.c -o x.if 2>messages && fail "icode-cc -MF $output source.c"
done
"$cc" -E source.c -o source.c 2>messages && fail "-E source.c -o source.c"
cmp -s sub/twice.c source.c || fail "a source was written over"
for words in "source.c" "-c source.c" "-S source.c" "--icode source.c"; do
    "$cc" $words -o nowhere/x 2>messages && fail "$words -o nowhere/x"
    grep -q nowhere/x messages || fail "$words: nowhere/x is not named: $(cat messages)"
done
"$bin/icode-cc" nowhere.c -o x.if 2>messages && fail "icode-cc nowhere.c"
grep -q nowhere.c messages || fail "icode-cc does not name nowhere.c"

# The trace and the information file lie beside the output.
"$cc" -O3 -Xpelorus --trace -c source.c -o sub/traced.o >messages && [ -s sub/traced.odb ] && [ -s sub/traced.nfo ] || fail "-Xpelorus --trace -c"
"$cc" -Iinc '-DNAME="x"' -Xpelorus --trace main.c sub/twice.c -DONE=1 plus.S -o sub/all >messages && [ -s sub/main.odb ] && [ -s sub/twice.odb ] || fail "-Xpelorus --trace"

# Options that change the code are honoured.
cat >code.c <<'C'
#include <string.h>
int sum(int n, int s) { if (n) return sum(n - 1, s + n); return s; }
void copy(int *to, int *from) { memcpy(to, from, 8); }
int guarded(int n) { char text[40]; memset(text, n, 40); return text[n]; }
extern int is_thumb;
int zero[100];
int choose(int n) { switch (n) { case 0: return zero[4]; case 1: return guarded(n); case 2: return 13; case 3: return zero[n]; case 4: return 9; case 5: return is_thumb; default: return 1; } }
int is_thumb =
#ifdef __thumb__
    1;
#else
    0;
#endif
C
# honoured <options> <what the assembly then has>
honoured() {
    # shellcheck disable=SC2086
    "$cc" -O2 $1 -S code.c -o code.s && grep -q -- "$2" code.s || fail "$1"
}
honoured -fno-optimize-sibling-calls 'bl	sum'
honoured -fno-builtin 'bl	memcpy'
honoured -fno-builtin-memcpy 'bl	memcpy'
honoured -ffreestanding 'bl	memcpy'
honoured -fstack-protector-strong __stack_chk_fail
honoured -fno-omit-frame-pointer '	r11, sp'
honoured -fexceptions '\.save'
honoured '-marm -mthumb' '\.thumb_func'
honoured -mthumb 'asciz	"\\001\\000'
honoured -falign-functions=32 '\.p2align	5'
honoured -ffunction-sections '\.text\.copy'
honoured -fno-zero-initialized-in-bss 'zero:$'
"$cc" -S code.c -o code.s && grep -q '^\.LJTI' code.s || fail "no jump table to do without"
"$cc" -fno-jump-tables -S code.c -o code.s && ! grep -q '^\.LJTI' code.s || fail "-fno-jump-tables"
"$cc" -fno-zero-initialized-in-bss -S code.c -o code.s && ! grep -q '\.bss' code.s || fail "-fno-zero-initialized-in-bss"
"$cc" -c code.c -Wa,--defsym,WANTED=7 -Wa,-alh=listing -o code.o && [ -s listing ] && arm-linux-gnueabihf-nm code.o | grep -q ' WANTED$' || fail "-Wa, for C"
for words in "" "-fno-optimize-sibling-calls -foptimize-sibling-calls" "-fno-builtin -fbuiltin" "-fstack-protector -fno-stack-protector" "-mthumb -marm -march=armv7-a -mfpu=neon -mfloat-abi=hard"; do
    # shellcheck disable=SC2086
    "$cc" -O2 $words -S code.c -o code.s && ! grep -q '\sbl	memcpy\|\sbl	sum\|__stack_chk\|thumb_func' code.s || fail "$words is not as nothing"
done
"$cc" -### -ffast-math -fno-inline -Xpelorus -i3 -c code.c 2>steps && grep -q -- ' -i0 --float_reassociate -i3 \| --float_reassociate -i0 -i3 ' steps || fail "the optimizer's own options"

# An unmodified makefile with built-in rules.
cat >Makefile <<'M'
CFLAGS = -O2 -Wall -g -pipe -Iinc -DNAME='"make"' -MMD
CPPFLAGS = -DONE=1
prog: main.o sub/twice.o plus.o
	$(CC) $(LDFLAGS) $^ $(LDLIBS) -o $@
-include main.d
M
rm -f ./*.o sub/*.o
make -s CC="$cc" LDLIBS=-lm prog || fail "make"
[ "$(run ./prog || true)" = "hello 3 42 make" ] || fail "makefile"
[ $failures = 0 ]
