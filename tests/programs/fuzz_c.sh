#!/bin/sh
# scripts/fuzz-c with an optimizer whose seventh change breaks programs at level 2: the difference must be
# found, laid to that change, kept, and shown again by its replay; and a program without defined behaviour
# must not count.
#   fuzz_c.sh <folder of the tools> <root of the sources>
tools=$(cd "$1" && pwd) || exit 1
root=$2
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1

fail() {
    echo "fuzz_c: $*" >&2
    cat output seeds/seed-1/report.txt >&2 2>/dev/null
    exit 1
}

mkdir bin
for tool in icode-cc icode-llvm icode-dis icode-as icode-val pelorus-bisect; do ln -s "$tools/$tool" bin/; done
cat > bin/pelorus <<END
#!/bin/sh
"$tools/pelorus" "\$@" || exit
case " \$* " in *" -o2 "*) ;; *) exit 0 ;; esac
case " \$* " in *" --debug=stop_after="[0-6]" "*) exit 0 ;; esac
for output; do :; done
"$tools/icode-dis" "\$output" | sed 's/SCON:char\[15\] "checksum = /SCON:char[15] "checkmate= /' | "$tools/icode-as" - -o "\$output"
END
chmod +x bin/pelorus

"$root/scripts/fuzz-c" 1 --seed 1 --bin bin --failures seeds > output && fail "the difference was not found"
grep -q "level 2 differs from clang" output || fail "not at level 2"
grep -q "At level 2 the check fails from change 7 of" seeds/seed-1/report.txt || fail "the guilty change was not found"
grep -q "  site  " seeds/seed-1/report.txt || fail "the guilty change was not named"
seeds/seed-1/check seeds/seed-1/before.if || fail "the check does not hold for the icode before the optimizer"
seeds/seed-1/check seeds/seed-1/after.if && fail "the check holds for the icode after the optimizer"
for file in program.c before.if before.ict after.if after.ict; do [ -s "seeds/seed-1/$file" ] || fail "no $file was kept"; done
seeds/seed-1/replay --bin bin > output && fail "the replay shows no difference"
seeds/seed-1/replay --bin "$tools" > output || fail "the replay fails with tools that are right"

cat > seeds/seed-1/program.c <<'END'
# include <stdio.h>
int values[2], place = 2;
int main(void) { int none; printf("checksum = %X\n", values[place] + none); return 0; }
END
seeds/seed-1/replay --bin bin > output || fail "undefined behaviour counted as a difference"
grep -q undefined output || fail "undefined behaviour was not recognised"

# An optimizer that fails in its fifth change.
cat > bin/pelorus <<END
#!/bin/sh
"$tools/pelorus" "\$@" || exit
case " \$* " in *" --debug=stop_after="[0-4]" "*) exit 0 ;; esac
exit 1
END
"$root/scripts/fuzz-c" 1 --seed 1 --bin bin --failures seeds > output && fail "the failure was not found"
grep -q "seed 1 FAILED" output && grep -q "the check fails from change 5 of" output || fail "the change in which pelorus fails was not found"
