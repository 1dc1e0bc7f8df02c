#!/bin/sh
# Calls between code of pelorus-cc and code of clang, each on both sides: all four programs must find nothing
# wrong. Usage: abi.sh BIN-DIRECTORY
set -eu
bin=$1
source=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

clang="clang-19 --target=armv7-linux-gnueabihf -std=gnu11 -w"
for side in caller callee; do
    $clang -c "$source/abi_$side.c" -o "$work/clang_$side.o"
    for level in 0 2; do
        "$bin/pelorus-cc" -O$level -std=gnu11 -w -c "$source/abi_$side.c" -o "$work/pelorus${level}_$side.o"
    done
done
status=0
for caller in clang pelorus0 pelorus2; do
    for callee in clang pelorus0 pelorus2; do
        arm-linux-gnueabihf-gcc "$work/${caller}_caller.o" "$work/${callee}_callee.o" -o "$work/program"
        if ! qemu-arm -L /usr/arm-linux-gnueabihf "$work/program" >"$work/output"; then
            echo "caller by $caller, callee by $callee:"
            cat "$work/output"
            status=1
        fi
    done
done
exit $status
