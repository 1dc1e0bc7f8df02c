"""The upstream projects that scripts/realworld builds.

The commands are lines of a shell that stops at the first failure. They run in the folder of the first source's files, with CC, AR, RANLIB
and NM in the environment. SOURCES names the folder in which every source has its files under its name: $SOURCES/zlib.
"""
from dataclasses import dataclass, field

CMAKE = """cmake -S . -B realworld -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=arm -DCMAKE_C_COMPILER="$CC" \
-DCMAKE_AR="$(command -v "$AR")" -DCMAKE_RANLIB="$(command -v "$RANLIB")" """
HOST = "--build=x86_64-linux-gnu --host=arm-linux-gnueabihf"
# A library that another project needs.
ZLIB = '(cd "$SOURCES/zlib" && CHOST=arm-linux-gnueabihf ./configure --static && make -j2 libz.a)'
INEXACT = "the number of instructions differs a little from run to run"
CTEST = "ctest --test-dir realworld --output-on-failure"


@dataclass
class Project:
    sources: list  # names of Debian source packages; the first is the project
    build: str     # builds without running anything, so far as the makefiles can tell the two apart
    test: str      # the project's own tests
    configure: str = ""
    # Scripts beyond the project's own tests: what they print must be what they print when clang has built the
    # project.
    compare: str = ""
    note: str = ""  # what a reader of the counts should know


PROJECTS = {
    "zlib": Project(
        sources=["zlib"],
        configure="CHOST=arm-linux-gnueabihf ./configure",
        build="make -j2 all",
        test="make test",
    ),
    "bzip2": Project(
        sources=["bzip2"],
        build='make -j2 CC="$CC" AR="$AR" RANLIB="$RANLIB" bzip2 bzip2recover',
        test='make CC="$CC" AR="$AR" RANLIB="$RANLIB" test',
    ),
    "cjson": Project(
        sources=["cjson"],
        configure=CMAKE + "-DENABLE_CJSON_UTILS=On",
        build="cmake --build realworld -j2",
        test=CTEST,
    ),
    "jansson": Project(
        sources=["jansson"],
        configure=CMAKE + "-DJANSSON_BUILD_DOCS=OFF",
        build="cmake --build realworld -j2",
        test=CTEST,
        note="hashes have a seed from the system: " + INEXACT,
    ),
    "lua5.4": Project(
        # lua-lpeg is a module in C with tests of its own; lua-unit a big one in Lua; lua5.1 has the scripts
        # "to make sure Lua is built correctly".
        sources=["lua5.4", "lua-lpeg", "lua-unit", "lua5.1"],
        # The seed of string hashes would otherwise depend on the time.
        build="""
            make -C src -j2 linux CC="$CC -std=gnu99" AR="$AR rcu" RANLIB="$RANLIB" MYCFLAGS="'-Dluai_makeseed(L)=0x5eed'"
            make -C "$SOURCES/lua-lpeg" CC="$CC" LUADIR="$PWD/src" linux
        """,
        test="""
            make test
            (cd "$SOURCES/lua-lpeg" && "$SOURCES/lua5.4/src/lua" test.lua)
            (cd "$SOURCES/lua-unit" && "$SOURCES/lua5.4/src/lua" run_unit_tests.lua)
        """,
        compare="""
            cd "$SOURCES/lua5.1/test"
            for script in bisect cf factorial fibfor hello sort table life; do "$SOURCES/lua5.4/src/lua" "$script.lua" </dev/null; done
        """,
        note="math.random has a seed from the time: " + INEXACT,
    ),
    "pcre2": Project(
        sources=["pcre2"],
        # With fork, pcre2grep starts a script before it flushes its own output, so that the order of the two
        # in a test is chance.
        configure="./configure " + HOST + " --disable-shared --disable-pcre2grep-callout-fork",
        build="make -j2",
        test="make check",
    ),
    "mawk": Project(
        sources=["mawk"],
        configure="./configure " + HOST + " --with-build-cc=cc",
        build="make -j2",
        test="make check",
    ),
    "jimtcl": Project(
        sources=["jimtcl"],
        # qemu-arm on a 64-bit file system can read directories with the large-file calls only.
        configure='CFLAGS="-O2 -D_FILE_OFFSET_BITS=64" ./configure ' + HOST,
        build="make -j2",
        # One test wants another process to have started within a tenth of a second, which an emulated one on
        # a busy machine has not.
        test="mv tests/lock.test tests/lock.test.left-out && make test",
        note="lock.test is left out, as it depends on the machine's speed; the tests wait for timers and other processes: " + INEXACT,
    ),
    "xxhash": Project(
        sources=["xxhash"],
        build="make -j2 xxhsum",
        test="make test-xxhsum-c",  # "make check" measures speeds for minutes
        compare="for form in 0 1 2 3; do ./xxhsum -H$form xxhash.h cli/*.c; done",
        note="the tests read the launcher, which contains names of temporary files: " + INEXACT,
    ),
    "json-c": Project(
        sources=["json-c"],
        configure=CMAKE + "-DDISABLE_WERROR=ON",
        build="cmake --build realworld -j2",
        test="USE_VALGRIND=0 " + CTEST,
        note="hashes have a seed from the system: " + INEXACT,
    ),
    "yajl": Project(
        sources=["yajl"],
        configure=CMAKE,
        build="cmake --build realworld -j2",
        test="cmake --build realworld -t test test-api",
    ),
    "libyaml": Project(
        sources=["libyaml"],
        configure=CMAKE,
        build="cmake --build realworld -j2",
        test=CTEST,
        # Every example through the scanner, the parser, the loader and the emitter.
        compare="""
            for test in scanner parser loader emitter dumper; do
                $CC -Iinclude "tests/run-$test.c" realworld/libyaml.a -o "realworld/run-$test"
                "realworld/run-$test" examples/*.yaml
            done
        """,
    ),
    "xz-utils": Project(
        sources=["xz-utils"],
        configure="./configure " + HOST + " --disable-shared --disable-nls --disable-doc",
        build="make -j2",
        test="make check",
    ),
    "libonig": Project(
        sources=["libonig"],
        configure=CMAKE + "-DENABLE_POSIX_API=ON -DBUILD_SHARED_LIBS=OFF",
        # The tests are left to automake.
        build="""
            cmake --build realworld -j2
            for test in test_utf8 test_syntax test_options test_regset test_back testc testp testu; do
                $CC -Isrc -Irealworld "test/$test.c" realworld/libonig.a -o "realworld/$test"
            done
        """,
        test="for test in realworld/test*; do $test; done",
    ),
    "libdeflate": Project(
        sources=["libdeflate", "zlib"],
        configure=ZLIB,
        build='make -j2 CFLAGS="-I$SOURCES/zlib" LDFLAGS="-L$SOURCES/zlib" all test_programs',
        test='make CFLAGS="-I$SOURCES/zlib" LDFLAGS="-L$SOURCES/zlib" check',
    ),
    "lzo2": Project(
        sources=["lzo2"],
        configure="./configure " + HOST,
        build="make -j2",
        test="make check",
    ),
    "giflib": Project(
        sources=["giflib"],
        build='make -j2 CC="$CC" AR="$AR" all',
        test='make CC="$CC" AR="$AR" check',
    ),
    "liquid-dsp": Project(
        # Complex numbers nearly everywhere.
        sources=["liquid-dsp"],
        configure="./bootstrap.sh && ./configure " + HOST + " --enable-simdoverride",
        build="make -j2 all xautotest",
        # All of it would run for an hour.
        test="for part in agc channel dotprod eqlms fft iirdes matrix nco ofdm poly sumsq; do ./xautotest -q -s $part; done",
        note="of the tests those are run that end in seconds",
    ),
}
