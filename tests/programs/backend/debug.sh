#!/bin/sh
# Debug information of optimized code: a breakpoint by line under gdb and qemu, the variables that it shows,
# and code that is the same as without.
# Usage: debug.sh BIN-DIRECTORY
set -eu
cc=$(cd "$1" && pwd)/pelorus-cc
. "$(dirname "$0")/../prelude.sh"

cat >list.c <<'C'
struct node { int value; struct node *next; unsigned flag : 3; };
enum color { RED, GREEN = 5 };
static int counter = 3;
static int sum(struct node *list, int factor)
{
    int total = 0;
    for (; list; list = list->next) {
        static int calls;
        total += list->value * factor;
        counter++, calls++;
    }
    return total;
}
static double corner(double (*rows)[3]) { return rows[1][2]; }
int main(void)
{
    struct node b = {7, 0, 2}, a = {5, &b, 1};
    volatile enum color color = GREEN;
    double grid[2][3] = {{1, 2, 3}, {4, 5, 6}};
    return (int)corner(grid) + sum(&a, 2) + color - 35;
}
C
port=$((20000 + $$ % 20000))
cat >commands <<G
set pagination off
set architecture arm
target remote :$port
break list.c:9
continue
print *list
print factor
print counter
ptype list
backtrace
up
print color
print grid
G
for level in 0 2; do
    "$cc" -g -O$level -static list.c -o list
    qemu-arm -g $port ./list &
    program=$!
    sleep 1
    timeout -s KILL 60 gdb-multiarch -q -batch -x commands ./list >output 2>&1 || true
    kill -9 $program 2>/dev/null || true
    wait $program 2>/dev/null || true
    for line in 'Breakpoint 1, sum (list=0x[0-9a-f]*, factor=2) at list.c:9' 'total += list->value \* factor;' \
        '= {value = 5, next = 0x[0-9a-f]*, flag = 1}' '= 2$' '= 3$' 'type = struct node {' 'struct node \*next;' \
        'in main () at list.c:20' '= GREEN$' '= {{1, 2, 3}, {4, 5, 6}}$'; do
        grep -q -- "$line" output || fail "level $level: no '$line' in $(cat output)"
    done
    "$cc" -g -O$level -c list.c -o with.o
    "$cc" -O$level -c list.c -o without.o
    arm-linux-gnueabihf-objdump -d with.o | tail -n +4 >with
    arm-linux-gnueabihf-objdump -d without.o | tail -n +4 >without
    cmp -s with without || fail "level $level: the code is another one"
done
"$cc" -g3 -gdwarf-5 -c list.c && readelf --debug-dump=info list.o | grep -q 'Version:  *5' || fail "-gdwarf-5"
"$cc" -g -g0 -c list.c && readelf -S list.o | grep -q debug && fail "-g0"

# What is said of folders.
folders() { "$cc" -g "$@" -c "$work/list.c" -o list.o && llvm-dwarfdump-19 list.o | sed -n 's/.*DW_AT_\(name\|comp_dir\).*("\(.*list.c\|\/.*\)")$/\2/p' | tr '\n' ' '; }
# told <wanted> <options>
told() {
    wanted=$1
    shift
    [ "$(folders "$@")" = "$wanted " ] || fail "$*: $(folders "$@")"
}
told "/here/list.c /there" -fdebug-compilation-dir=/there -fdebug-prefix-map="$work=/here"
told "/b/list.c /a" -ffile-prefix-map="$work=/a" -ffile-prefix-map="$work/=/b/"
[ $failures = 0 ]
