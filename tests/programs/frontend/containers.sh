#!/bin/sh
# Where icode-cc puts the containers of bit-fields: never over a member that is none, nor over a field behind
# one of no width, which other threads may write at the same time.
#   containers.sh <folder of icode-cc>
tools=$(cd "$1" && pwd) || exit 1
. "$(dirname "$0")/../prelude.sh"

# laid_out <members> <where each field lies, as container@offset>
laid_out() {
    printf 'struct s { %s };\nint size(struct s *p) { return sizeof *p; }\n' "$1" > input.c
    "$tools/icode-cc" input.c -o output.if && "$tools/icode-dis" output.if > text || fail "not compiled: $1"
    found=$(awk '/BITFIELD/ { sub(/.*container=/, ""); container[++types] = $1 }
                 /MEMBER.* bitfield/ { offset = 0; if (match($0, /offset=[0-9]+/)) offset = substr($0, RSTART + 7, RLENGTH - 7)
                                       printf "%s%s@%s", separator, container[++members], offset; separator = " " }' text)
    [ "$found" = "$2" ] || fail "struct { $1 } has its fields at $found, not at $2"
}

laid_out "unsigned a : 3, b : 6, c : 7, d : 16;" "uchar@0 ushort@0 uchar@1 ushort@2"
laid_out "int a : 17; unsigned : 15; int b;" "uint@0"
laid_out "int a : 17, : 0; unsigned b : 8;" "uint@0 uchar@4"
laid_out "int a : 17; char b;" "ushort@0 uchar@2"
laid_out "char a; int b : 20, c : 4;" "ushort@1 uchar@3 uchar@3"
laid_out "int a : 17; char : 0; unsigned b : 8;" "ushort@0 uchar@2 uchar@3"
[ $failures = 0 ]
