#!/bin/sh
# icode-reduce with files that are called interesting for a word in their text: what is left, the same for any
# number of jobs; limits, interruption, bad command lines.
#   reduce.sh <folder of the tools>
bin=$(cd "$1" && pwd) || exit 1
here=$(cd "$(dirname "$0")" && pwd)
. "$(dirname "$0")/../prelude.sh"
evidence="found messages"
reduce() { "$bin/icode-reduce" "$@" > found 2> messages; }

"$bin/icode-as" "$here/../../golden/text/opcodes.ict" -o all.if || exit 1
cp all.if input.if
cat > check <<END
#!/bin/sh
"$bin/icode-dis" "\$1" | grep -q 'SLL:int(SRL:int(a, 2:int), b)'
END
chmod +x check

reduce --jobs=3 all.if -- ./check || fail "not reduced"
# The copies of the parameters stay.
[ "$(grep -c '^statements .* 2$\|^functions .* 1$' found)" = 2 ] || fail "more is left than needed"
grep -q "nothing more can be taken away. The result is all.reduced.if" found || fail "does not say how it ended"
"$bin/icode-val" all.reduced.if > messages || fail "the result breaks rules"
./check all.reduced.if || fail "the result is not interesting"
cmp -s all.if input.if || fail "the input was written over"
reduce --jobs=1 -o one.if all.if -- ./check && cmp -s one.if all.reduced.if || fail "one job gives another result"
reduce --max-runs=5 -o few.if all.if -- ./check && grep -q "5 runs.*: the limit of runs" found || fail "no limit of runs"
./check few.if || fail "the result under a limit is not interesting"

# A signal leaves the best file so far.
cat > slow <<END
#!/bin/sh
sleep 0.05
exec ./check "\$1"
END
chmod +x slow
"$bin/icode-reduce" --jobs=1 -o broken.if all.if -- ./slow > found 2> messages &
process=$!
sleep 1
kill -TERM $process
wait $process || fail "an interruption is no failure"
grep -q ": interrupted" found || fail "does not say that it was interrupted"
./check broken.if || fail "the result of an interruption is not interesting"

printf 'no icode' > bad.if
for words in "" "all.if" "all.if --" "nothing.if -- ./check" "bad.if -- ./check" "-o all.if all.if -- ./check" "--jobs=0 all.if -- ./check" \
    "--what all.if -- ./check" "all.if one.if -- ./check" "-o no.if all.if -- false" "-o no.if all.if -- ./nothing" "-o none/no.if all.if -- ./check"; do
    reduce $words && fail "accepted: $words"
    [ -s found ] && fail "a result of: $words"
    grep -q '^icode-reduce: ' messages || fail "no message about: $words"
done
[ -e no.if ] && fail "a result of a command that was not interested"
cmp -s all.if input.if || fail "the input was written over"
reduce --in-place all.if -- ./check && cmp -s all.if one.if || fail "not reduced in place"
[ $failures = 0 ]
