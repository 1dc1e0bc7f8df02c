#!/bin/sh
# What people put around a compiler: an installation, a CMake project, ccache, make -j.
# Usage: adoption.sh BUILD-DIRECTORY
set -eu
build=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
failures=0
fail() {
    echo "failed: $*"
    failures=$((failures + 1))
}

cmake --install "$build" --prefix "$work/prefix" >/dev/null || fail "cmake --install"
cc=$work/prefix/bin/pelorus-cc
[ -s prefix/share/doc/pelorus/pelorus-cc.md ] || fail "the manual is not installed"

mkdir project
cat >project/CMakeLists.txt <<'C'
cmake_minimum_required(VERSION 3.16)
project(hello C)
include(CheckFunctionExists)
check_function_exists(strdup HAVE_STRDUP)
check_function_exists(no_such_function HAVE_NOTHING)
add_library(parts SHARED part.c)
add_executable(hello main.c)
target_compile_definitions(hello PRIVATE FOUND=${HAVE_STRDUP} NOTHING=0${HAVE_NOTHING})
target_link_libraries(hello parts m)
enable_testing()
add_test(NAME hello COMMAND hello)
set_tests_properties(hello PROPERTIES PASS_REGULAR_EXPRESSION "^42 1 0\n$")
C
echo 'int part(int x) { return x + 1; }' >project/part.c
cat >project/main.c <<'C'
# include <stdio.h>
int part(int);
int main(void) { printf("%d %d %d\n", part(41), FOUND, NOTHING); return 0; }
C
cmake -S project -B cmake -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_TOOLCHAIN_FILE="$work/prefix/share/pelorus/toolchain.cmake" >log 2>&1 &&
    cmake --build cmake >log 2>&1 && ctest --test-dir cmake >log 2>&1 || fail "the CMake project: $(cat log)"

# Through make -j and ccache the objects are those of plain runs.
cat >Makefile <<'M'
objects = $(patsubst %,$(OUT)/%.o,1 2 3 4 5 6)
all: $(objects)
$(OUT)/%.o: project/part.c
	$(CC) -O2 -g -DNUMBER=$* -c $< -o $@
M
mkdir plain parallel cached
make -s CC="$cc" OUT=plain && make -s -j4 CC="$cc" OUT=parallel && diff -r plain parallel || fail "make -j"
if command -v ccache >/dev/null; then
    CCACHE_DIR=$work/cache
    export CCACHE_DIR
    make -s CC="ccache $cc" OUT=cached && rm cached/* && make -s CC="ccache $cc" OUT=cached && diff -r plain cached || fail "ccache"
    ccache --print-stats | grep -q '^direct_cache_hit	6' || fail "ccache has not helped: $(ccache --print-stats | grep hit)"
fi
exit $failures
