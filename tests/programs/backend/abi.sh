#!/bin/sh
# Calls between code of pelorus-cc and code of other compilers, each on both sides: all programs must find
# nothing wrong. clang without vector instructions takes vectors apart for calls, so that those are tested
# with what follows the convention: gcc, and clang with vector instructions.
# Usage: abi.sh BIN-DIRECTORY
set -eu
bin=$1
source=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

clang="clang-19 --target=armv7-linux-gnueabihf"
gcc="arm-linux-gnueabihf-gcc -O1"
neon="$clang -mfpu=neon -O1"
pelorus0="$bin/pelorus-cc -O0"
pelorus2="$bin/pelorus-cc -O2"
status=0

# compare COMPILERS [OPTION]
compare() {
    compilers="$1 pelorus0 pelorus2"
    for compiler in $compilers; do
        for side in caller callee; do
            eval "\$$compiler" -std=gnu11 -w ${2-} -c "$source/abi_$side.c" -o "$work/${compiler}_$side.o"
        done
    done
    for caller in $compilers; do
        for callee in $compilers; do
            arm-linux-gnueabihf-gcc "$work/${caller}_caller.o" "$work/${callee}_callee.o" -o "$work/program"
            if ! qemu-arm -L /usr/arm-linux-gnueabihf "$work/program" >"$work/output"; then
                echo "caller by $caller, callee by $callee:"
                cat "$work/output"
                status=1
            fi
        done
    done
}

compare clang
compare "gcc neon" -DVECTORS
exit $status
