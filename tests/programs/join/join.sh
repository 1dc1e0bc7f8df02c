#!/bin/sh
# Several files as one unit: the joined file behaves as the linked program, before and after the optimizer,
# and what cannot be joined is refused with the files' names.
#   join.sh <folder of the programs>
tools=$(cd "$1" && pwd) || exit 1
sources=$(cd "$(dirname "$0")" && pwd)
. "$sources/../prelude.sh"
cc=$tools/pelorus-cc

# unit <name> <program>
unit() { printf '%s\n' "$2" >"$1.c" && "$tools/icode-cc" -w "$1.c" -o "$1.if" || fail "no icode for $2"; }

# refused <text of the message> <first program> <second program>
refused() {
    unit a "$2" && unit b "$3" && rm -f ab.if
    "$tools/icode-join" -o ab.if a.if b.if 2>messages && fail "joined: $2 | $3"
    grep -qF "icode-join: $1" messages || fail "not \"$1\" but $(cat messages)"
    [ -e ab.if ] && fail "an output is left"
}

# joined <first program> <second program>
joined() {
    unit a "$1" && unit b "$2"
    "$tools/icode-join" -o ab.if a.if b.if || fail "not joined: $1 | $2"
}

# --- A program of two files ---
for name in first second; do "$tools/icode-cc" -w "$sources/$name.c" -o $name.if || fail "$name.c"; done
"$cc" -w -static -O0 "$sources/first.c" "$sources/second.c" -o linked || fail "the linked program"
status=0
qemu-arm ./linked >expected || status=$?
# same <what> <command>: the command's output and status are the linked program's
same() {
    what=$1 answer=0
    shift
    "$@" >output 2>messages || answer=$?
    [ $answer = $status ] && cmp -s expected output || fail "$what: status $answer; $(cat messages; diff expected output)"
}
for order in "first.if second.if" "second.if first.if"; do
    # shellcheck disable=SC2086
    "$tools/icode-join" -o both.if $order && "$tools/icode-val" both.if || fail "$order"
    for level in 0 2 3 4; do
        for mode in -op0 -op2; do
            "$tools/pelorus" -o$level $mode both.if both.opt 2>/dev/null && "$tools/icode-val" both.opt || fail "-o$level $mode"
            if [ "$order" = "first.if second.if" ]; then same "-o$level $mode" "$tools/icode-run" both.opt; fi
        done
    done
    if [ "$order" = "first.if second.if" ]; then same "joined" "$tools/icode-run" both.if; fi
done
"$tools/icode-join" -o alone.if first.if && cmp -s alone.if first.if || fail "one file alone is not itself"

# --- The compiler driver ---
for level in 0 2 3; do
    "$cc" -w -static -O$level -fwhole-program "$sources/first.c" "$sources/second.c" -o whole || fail "-O$level -fwhole-program"
    same "-O$level -fwhole-program" qemu-arm ./whole
done
"$cc" -### -fwhole-program -c "$sources/first.c" "$sources/second.c" -o whole.o 2>steps
grep -c 'icode-cc\|llc' steps | grep -qx 3 && grep -q -- 'icode-join -o' steps && grep -q -- ' -op2 ' steps || fail "one unit of two files: $(cat steps)"
"$cc" -fwhole-program -c "$sources/first.c" "$sources/second.c" 2>messages && fail "two objects of one unit"
"$cc" -fwhole-program first.if first.if -o twice 2>messages && fail "main twice"
grep -qF "is defined in first.if and in first.if" messages || fail "the reason: $(cat messages)"

# --- What fits together, and what does not ---
joined 'struct s; extern struct s* p; struct s* get(void) {return p;}' 'struct s {int a; struct s* next;}; struct s* p;'
joined 'typedef int number; extern number x[]; int f(){return x[1];}' 'int x[3] = {1, 2, 3}; int f(); int g(void) {return f();}'
joined 'void f(const int); void g(void){f(1);}' 'void f(int a){}'
joined 'extern int w __attribute__((weak)); int *f(void){return &w;}' 'extern int w; int g(void){return w;}'
"$tools/icode-dis" ab.if | grep '"_w"' | grep -q weak && fail "a strong reference became weak"
joined 'struct s {int x;}; static int use(struct s *p){return p->x;} int a(void){struct s v = {1}; return use(&v);}' \
    'struct s {char c; int x;}; static int use(struct s *p){return p->x;} int b(void){struct s v = {1, 2}; return use(&v);}'
joined 'static int n; int f(void){return n;} asm(".globl other");' 'static int n; int g(void){return n;}'
refused "'f' is defined in a.if and in b.if" 'int f(void){return 1;}' 'int f(void){return 2;}'
refused "'x' is defined in a.if and in b.if" 'int x;' 'int x;'
refused "'x' has other types in a.if and in b.if" 'int x;' 'extern unsigned x; int f(void){return x;}'
refused "'x' has other types in a.if and in b.if" 'struct s {int a;} x;' 'extern struct s {long long a;} x; int f(void){return x.a;}'
refused "'x' has other types in a.if and in b.if" 'int x[3];' 'extern int x[4]; int f(void){return x[0];}'
refused "'x' has other types in a.if and in b.if" 'void x(void){}' 'extern int x; int f(void){return x;}'
refused "'x' has other types in a.if and in b.if" '_Thread_local int x;' 'extern int x; int f(void){return x;}'
refused "assembly of b.if names 'n'" 'static int n; int f(void){return n;}' 'static int n; int g(void){return n;} asm(".word n");'
printf 'nonsense' >c.if
"$tools/icode-join" -o ab.if a.if c.if 2>messages && fail "nonsense was joined"
grep -qF 'icode-join: c.if breaks the rules of icode' messages || fail "no word of nonsense"
[ $failures = 0 ]
