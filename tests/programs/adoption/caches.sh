#!/bin/sh
# Programs compiled side by side, from a cache and by a server: the objects are those of plain runs.
# Usage: caches.sh BIN-DIRECTORY EXAMPLES
set -eu
built=$(cd "$1" && pwd)
examples=$(cd "$2" && pwd)
. "$(dirname "$0")/../prelude.sh"
server=
trap '[ -z "$server" ] || kill $server; rm -rf "$work"' EXIT
# What the settings of whoever runs this say, such as that there is no cache, is not asked here.
for name in $(env | sed -n 's/^\(CCACHE_[A-Z_]*\|DISTCC_[A-Z_]*\)=.*/\1/p'); do unset "$name"; done
# The server runs as nobody when root starts it, and the build may lie where only root can read.
bin=$work/bin
cc=$bin/pelorus-cc
mkdir bin
for program in pelorus-cc pelorus icode-cc icode-llvm; do cp "$built/$program" bin; done
chmod 755 "$work" bin bin/*

mkdir sources
for name in json lz packets sha256 sorts tokens; do cp "$examples/$name.c" sources; done
cat >Makefile <<'M'
objects = $(patsubst sources/%.c,$(OUT)/%.o,$(wildcard sources/*.c))
all: $(objects)
$(OUT)/%.o: sources/%.c
	$(CC) -O2 -Wall -g -fdebug-compilation-dir=/project -gno-column-info -MD -MP -c $< -o $@
M
# same <folder> <make's words>: the folder gets the objects of plain runs
same() {
    out=$1
    shift
    mkdir -p "$out"
    rm -f "$out"/*
    make -s OUT="$out" "$@" >log 2>&1 || fail "$out: $(cat log)"
    for file in plain/*.o; do cmp "$file" "$out/${file##*/}" || fail "$out"; done
}
mkdir plain
make -s OUT=plain CC="$cc"
same parallel CC="$cc" -j4

CCACHE_DIR=$work/cache CCACHE_CONFIGPATH=$work/ccache.conf CCACHE_EXTRAFILES=$bin/pelorus:$bin/icode-cc:$bin/icode-llvm
export CCACHE_DIR CCACHE_CONFIGPATH CCACHE_EXTRAFILES
# hits <number>: so many objects have come from the cache
hits() { ccache --print-stats | grep -q "^direct_cache_hit	$1\$" || fail "$1 hits are expected: $(ccache --print-stats | grep -E 'hit|miss')"; }
same cached CC="ccache $cc" -j4
same cached CC="ccache $cc" -j4
hits 6
[ -s cached/json.d ] || fail "ccache: no dependency file"
# Another optimizer, which the driver's own time does not show.
cp "$bin/pelorus" other
same cached CC="ccache $cc" CCACHE_EXTRAFILES="$work/other" -j4
hits 6

# The server takes the preprocessed text.
port=$((20000 + $$ % 20000))
user=$(id -un)
[ "$user" != root ] || user=nobody
distccd --no-detach --daemon --user $user --allow 127.0.0.1 --listen 127.0.0.1 --port $port --jobs 4 \
    --enable-tcp-insecure --log-stderr --log-level info >server.log 2>&1 &
server=$!
mkdir distcc
DISTCC_DIR=$work/distcc DISTCC_HOSTS=127.0.0.1:$port/4 DISTCC_FALLBACK=0 DISTCC_LOG=$work/client.log
DISTCC_IO_TIMEOUT=60 DISTCC_BACKOFF_PERIOD=0
export DISTCC_DIR DISTCC_HOSTS DISTCC_FALLBACK DISTCC_LOG DISTCC_IO_TIMEOUT DISTCC_BACKOFF_PERIOD
for second in 1 2 3 4 5; do # until the server listens
    distcc "$cc" -c sources/lz.c -o lz.o 2>/dev/null && break
    sleep $second
done
same distributed CC="distcc $cc" -j4
[ "$(grep -c COMPILE_OK server.log)" = 7 ] || fail "distccd: $(cat server.log client.log)"
[ $failures = 0 ]
