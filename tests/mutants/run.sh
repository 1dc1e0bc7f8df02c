#!/usr/bin/env bash
# run.sh BIN SOURCE RUNS: structural mutants of the golden cases and, where there is a front end, of the
# examples and its own programs. Bad ones stay in BIN/../mutants.
set -u
bin=$1 source=$2 runs=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
inputs=("$source"/tests/golden/*/*.ict)
if [ -x "$bin/icode-cc" ]; then
    for program in "$source"/examples/*.c "$source"/tests/programs/frontend/*.c; do
        input=$folder/$(basename "${program%.c}").if
        "$bin/icode-cc" "$program" -o "$input" 2> /dev/null || exit 1
        inputs+=("$input")
    done
fi
mkdir -p "$bin/../mutants"
TMPDIR=$folder "$bin/try-mutants" --runs="$runs" --jobs=2 --keep="$bin/../mutants" "${inputs[@]}"
