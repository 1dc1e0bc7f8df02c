#!/usr/bin/env bash
# run.sh FUZZ_BIN BIN SECONDS [TARGET...]: runs the fuzz targets of FUZZ_BIN, each for SECONDS and all beside
# each other, from the golden cases and the examples, which the tools of BIN make icode of. What a target
# learns stays in FUZZ_BIN/../corpus, and what it finds in FUZZ_BIN/../found.
# With "check" for SECONDS each runs some seconds, from a fixed seed, and learns nothing: the same every time.
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
    for case in "$source"/tests/golden/*/*.ict; do
        # Cases of two topics may have one name.
        name=$(basename "$(dirname "$case")")-$(basename "$case" .ict)
        cp "$case" "$work/inputs/text/$name.ict"
        "$bin/icode-as" "$case" -o "$work/inputs/icode/$name.if" 2> /dev/null || true
    done
    [[ -x $bin/icode-cc ]] || return 0
    for program in "$source"/examples/*.c "$source"/tests/programs/frontend/*.c; do
        "$bin/icode-cc" "$program" -o "$work/inputs/icode/$(basename "$program" .c).if" 2> /dev/null || true
    done
}

declare -A runs=([reader]=6000 [optimizer]=3500 [assembler]=40000 [interpreter]=2500)

fuzz() { # a target; its words on its last line
    local kind=icode log=$work/found/$1.log limit
    [[ $1 != assembler ]] || kind=text
    local folders=("$source/tests/fuzz/found/$1" "$work/inputs/$kind")
    if [[ $seconds == check ]]; then
        limit=(-runs="${runs[$1]}" -seed=1)
        folders=("$work/inputs/learned.$1" "${folders[@]}")
        rm -rf "$work/inputs/learned.$1"
        mkdir -p "$work/inputs/learned.$1"
    else
        limit=(-max_total_time="$seconds")
        mkdir -p "$work/corpus/$1"
        folders=("$work/corpus/$1" "${folders[@]}")
    fi
    if nice "$fuzz_bin/fuzz-$1" "${limit[@]}" -max_len=20000 -timeout=20 -rss_limit_mb=3000 \
        -artifact_prefix="$work/found/$1-" "${folders[@]}" > "$log" 2>&1
    then
        printf '%s: %s\n' "$1" "$(tail -n 1 "$log")"
    else
        # What a target finds wrong by itself stands in front of the report.
        grep -n -m 1 -B 5 -A 20 -e "ERROR: " -e "runtime error" "$log" || tail -n 40 "$log"
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
