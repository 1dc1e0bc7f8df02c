#!/bin/sh
# What build systems do with the compiler: an installation, a CMake project and a Meson project, with the
# files that are installed for them, and the questions that their like and configure scripts ask.
# Usage: build_systems.sh BUILD-DIRECTORY
set -eu
build=$(cd "$1" && pwd)
. "$(dirname "$0")/../prelude.sh"

cmake --install "$build" --prefix "$work/prefix" >/dev/null || fail "cmake --install"
PATH=$work/prefix/bin:$PATH
cc=$work/prefix/bin/pelorus-cc

# asked <pattern> <words>: the answer has a line that matches
asked() {
    pattern=$1
    shift
    pelorus-cc "$@" >answer 2>&1 </dev/null && grep -qx -- "$pattern" answer || fail "pelorus-cc $*: $(cat answer)"
}
asked 'pelorus-cc (front end: clang [0-9.]*) [0-9.]*' --version
asked '[0-9.]*' -dumpversion
asked 'arm-linux-gnueabihf' -dumpmachine
asked 'arm-linux-gnueabihf' -print-multiarch
asked 'Linker: arm-linux-gnueabihf-gcc' -v
asked '.*/ld' -print-prog-name=ld
asked "$work/prefix/bin/icode-val" -print-prog-name=icode-val
asked '/.*/libc.so' -print-file-name=libc.so
asked 'no-such-file' -print-file-name=no-such-file
asked 'libraries: =.*/arm-linux-gnueabihf/.*' -print-search-dirs
asked 'GNU ld .*' -Wl,--version
asked '#define __ARM_PCS_VFP 1' -E -dM -
asked '#define __GNUC__ 4' -E -dM -x c /dev/null
asked '#include <...> search starts here:' -v -E -
[ -f "$(pelorus-cc -print-file-name=include)/stddef.h" ] || fail "-print-file-name=include"
[ -f "$(pelorus-cc -print-resource-dir)/include/stddef.h" ] || fail "-print-resource-dir"
echo 'int main(void) { return 0; }' >empty.c
asked '.*collect2.* -dynamic-linker .*' -v empty.c -o empty

cat >part.c <<'C'
int part(int x);
int part(int x) { return x + 1; }
C
cat >main.c <<'C'
#include <stdio.h>
#include "config.h"
int part(int);
int main(void) { printf("%d %d %d\n", part(41), HAVE_STRDUP, HAVE_NOTHING); return 0; }
C

cat >CMakeLists.txt <<'C'
cmake_minimum_required(VERSION 3.16)
project(hello C)
include(CheckFunctionExists)
include(CheckCCompilerFlag)
check_function_exists(strdup HAVE_STRDUP)
check_function_exists(no_such_function HAVE_NOTHING)
check_c_compiler_flag(-ffunction-sections HAVE_SECTIONS)
check_c_compiler_flag(-fsanitize=address HAVE_SANITIZER)
if(NOT HAVE_SECTIONS OR HAVE_SANITIZER OR NOT CMAKE_C_COMPILER_ID STREQUAL "Clang")
  message(FATAL_ERROR "options or compiler: ${HAVE_SECTIONS} ${HAVE_SANITIZER} ${CMAKE_C_COMPILER_ID}")
endif()
if(NOT CMAKE_LIBRARY_ARCHITECTURE STREQUAL "arm-linux-gnueabihf" OR NOT CMAKE_C_IMPLICIT_INCLUDE_DIRECTORIES)
  message(FATAL_ERROR "folders: ${CMAKE_LIBRARY_ARCHITECTURE} ${CMAKE_C_IMPLICIT_INCLUDE_DIRECTORIES}")
endif()
set(CMAKE_C_STANDARD 17)
file(WRITE ${CMAKE_BINARY_DIR}/config.h "#define HAVE_STRDUP ${HAVE_STRDUP}\n#define HAVE_NOTHING 0${HAVE_NOTHING}\n")
add_library(parts SHARED part.c)
add_executable(hello main.c)
target_include_directories(hello PRIVATE ${CMAKE_BINARY_DIR})
target_link_libraries(hello parts m)
install(TARGETS hello parts)
enable_testing()
add_test(NAME hello COMMAND hello)
set_tests_properties(hello PROPERTIES PASS_REGULAR_EXPRESSION "^42 1 0\n$")
C
{
    cmake -S . -B cmake -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_TOOLCHAIN_FILE="$work/prefix/share/pelorus/toolchain.cmake" &&
        cmake --build cmake && ctest --test-dir cmake -V && cmake --install cmake --strip --prefix "$work/installed"
} >log 2>&1 || fail "the CMake project: $(cat log)"

cat >meson.build <<'M'
project('hello', 'c', default_options: ['c_std=c17', 'warning_level=3', 'werror=true', 'buildtype=debugoptimized'])
cc = meson.get_compiler('c')
assert(cc.get_id() == 'clang' and cc.sizeof('void *') == 4)
assert(cc.has_argument('-ffunction-sections') and not cc.has_argument('-fsanitize=address'))
config = configuration_data()
config.set10('HAVE_STRDUP', cc.has_function('strdup'))
config.set10('HAVE_NOTHING', cc.has_function('no_such_function'))
configure_file(output: 'config.h', configuration: config)
parts = shared_library('parts', 'part.c')
test('hello', executable('hello', 'main.c', link_with: parts, dependencies: cc.find_library('m')))
M
{
    meson setup --cross-file "$work/prefix/share/pelorus/meson-cross.ini" meson . && meson compile -C meson &&
        meson test -C meson -v && grep -q '^42 1 0$' meson/meson-logs/testlog.txt
} >log 2>&1 || fail "the Meson project: $(cat log)"
[ $failures = 0 ]
