#!/bin/sh
# What C says about inlining reaches the optimizer at every level.
#   inlining.sh <folder of pelorus-cc>
tools=$(cd "$1" && pwd) || exit 1
. "$(dirname "$0")/../prelude.sh"
cat >code.c <<'C'
static inline int plain(int x) { return x + 1; }
static inline __attribute__((always_inline)) int ordered(int x) { return x + 2; }
static inline __attribute__((noinline)) int forbidden(int x) { return x + 3; }
extern inline __attribute__((gnu_inline, always_inline)) int copied(int x) { return x + 4; }
inline __attribute__((noinline)) int c99(int x) { return x + 5; }
__attribute__((optnone)) static int kept(int x) { return x + 6; }
int main(void) { return plain(1) + ordered(2) + forbidden(3) + copied(4) + c99(5) + kept(6); }
C

# marked <symbol> <its flags and attributes> <options>: what is said of the symbol in the optimizer's input
marked() {
    symbol=$1 wanted=$2
    shift 2
    "$tools/pelorus-cc" "$@" --icode code.c && "$tools/icode-val" code.if || fail "$*"
    "$tools/icode-dis" code.if | awk -v name="\"_$symbol\"" '$1 == "symbol" { on = $2 == name; if (on && /=inline/) print "inline" }
        on && $1 == "pragma" { gsub(/"/, "", $3); print $3 }' | tr '\n' ' ' >found
    [ "$(cat found)" = "$wanted" ] || fail "$* $symbol: $(cat found), not $wanted"
}
for level in 1 2 3 s; do marked plain "inline " -O$level; done
marked plain "" -O0
marked plain "inline " -O0 -finline
marked plain "" -O3 -fno-inline
marked plain "inline " -O3 -fno-inline -finline
for options in -O0 -O2 "-O3 -fno-inline"; do
    # shellcheck disable=SC2086
    for case in "ordered:inline always_inline " "copied\$inline:inline always_inline "; do marked "${case%%:*}" "${case#*:}" $options; done
    # shellcheck disable=SC2086
    marked kept "noinline " $options
done
marked forbidden "inline noinline " -O2
marked 'c99$inline' "inline noinline " -O2

# words <expected words of the optimizer> <options>
words() {
    wanted=$1
    shift
    "$tools/pelorus-cc" -### "$@" -c code.c 2>steps
    sed -n 's/.*--debug=strict //p' steps | grep -q -- "^$wanted[^ ]*/[^ ]*code.if " || fail "$*: $(grep strict steps)"
}
words "-i125 " -O2
words "-Z1 -i1 " -Os
words "-i0 " -O0
words "" -O0 -finline
words "-i125 -i0 " -O3 -fno-inline-functions
words "-i125 " -O3 -fno-inline-functions -finline-functions
words "-i40 " -O3 -finline-limit=7 -finline-limit=40
words "-i40 -i0 " -O3 -fno-inline -finline-limit=40
words "-i40 -op2 " -O3 -fwhole-program -finline-limit=40
words "-i125 " -O3 -fwhole-program -fno-whole-program
for word in -finline-limit= -finline-limit=x -finline-limit=99999999999; do
    "$tools/pelorus-cc" $word -c code.c 2>/dev/null && fail "$word"
done
# A caller that is as large as it may become takes what must be expanded, and nothing else.
{
    echo 'volatile int g;'
    for declared in "__attribute__((always_inline)) int ordered" "int plain"; do
        echo "static inline $declared(int x) {"
        i=0
        while [ $i -lt 1500 ]; do i=$((i + 1)) && echo 'g = x * 3 + g;'; done
        echo 'return x; }'
    done
    echo 'int main(int n, char** v) { (void)v; return plain(n) + ordered(n) + ordered(n * 2) + plain(n * 2); }'
} >large.c
"$tools/pelorus-cc" --icode large.c && "$tools/pelorus" -o1 -i100000 large.if large.opt || fail "large.c"
"$tools/icode-dis" large.opt >large.ict
grep -q '@_ordered' large.ict && fail "a call that must be expanded stays"
[ "$(grep -c 'CALL.*@_plain' large.ict)" = 1 ] || fail "a caller grows without end"
[ $failures = 0 ]
