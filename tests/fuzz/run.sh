#!/usr/bin/env bash
# run.sh FUZZ_BIN BIN SECONDS [TARGET...]: runs the fuzz targets of FUZZ_BIN, each for SECONDS and all beside
# each other, from the golden cases and the examples, which the tools of BIN make icode of. What a target
# learns stays in FUZZ_BIN/../corpus, and what it finds in FUZZ_BIN/../found.
set -euo pipefail
fuzz_bin=$(realpath "$1") bin=$(realpath "$2") seconds=$3
shift 3
source=$(realpath "$(dirname "$0")/../..")
targets=("$@")
[[ $# -gt 0 ]] || targets=(reader optimizer assembler interpreter)
work=$(realpath "$fuzz_bin/..")
mkdir -p "$work/inputs" "$work/found"

make_inputs() {
    mkdir -p "$work/inputs/icode" "$work/inputs/text"
    cp "$source"/tests/golden/*/*.ict "$work/inputs/text/"
    for case in "$source"/tests/golden/*/*.ict; do
        "$bin/icode-as" "$case" -o "$work/inputs/icode/$(basename "$case" .ict).if" 2> /dev/null || true
    done
    [[ -x $bin/icode-cc ]] || return 0
    for program in "$source"/examples/*.c "$source"/tests/programs/frontend/*.c; do
        "$bin/icode-cc" "$program" -o "$work/inputs/icode/$(basename "$program" .c).if" 2> /dev/null || true
    done
}

fuzz() { # a target; its words on its last line
    local kind=icode log=$work/found/$1.log
    [[ $1 != assembler ]] || kind=text
    mkdir -p "$work/corpus/$1"
    if nice "$fuzz_bin/fuzz-$1" -max_total_time="$seconds" -max_len=20000 -timeout=20 -rss_limit_mb=3000 \
        -artifact_prefix="$work/found/$1-" "$work/corpus/$1" "$source/tests/fuzz/found/$1" "$work/inputs/$kind" > "$log" 2>&1
    then
        printf '%s: %s\n' "$1" "$(tail -n 1 "$log")"
    else
        tail -n 40 "$log"
        printf '%s: found something; the whole of it is in %s\n' "$1" "$log"
        return 1
    fi
}

make_inputs
jobs=()
for target in "${targets[@]}"; do
    fuzz "$target" &
    jobs+=($!)
done
status=0
for job in "${jobs[@]}"; do wait "$job" || status=1; done
exit $status
