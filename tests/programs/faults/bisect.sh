#!/bin/sh
# pelorus-bisect with changes that are declared to be faults: found with an input, and through a command that
# optimizes two files; answers when no change is to blame; bad command lines.
#   bisect.sh <folder of the tools>
bin=$(cd "$1" && pwd) || exit 1
. "$(dirname "$0")/../prelude.sh"
evidence="found messages"
bisect() { "$bin/pelorus-bisect" "$@" > found 2> messages; }
has() { grep -qF -- "$1" found || fail "the answer has no '$1'"; }

cat > program.ict <<'END'
header "program.c"
function @_twice @1:1:5
    body @1:1:9
    symbol "home" class=auto type=int
    symbol "$ret" class=auto type=int
    statement @1:2:5 ASG:int(home, MULT:int(PLUS:int(@_left, 0:int), 2:int))
    statement @1:3:5 ASG:int(@_left, MULT:int(home, 8:int))
    statement @1:4:5 ASG:int(@_left, MULT:int(@_left, 4:int))
    statement @1:5:5 RETURN($ret, home)
end_function @1:6:1
end
section types
type routine FUNCTION return=int
end
section file_names
file_name "program.c"
end
section symbols
symbol "_left" class=extern flags=referenced type=int @1:1:1
symbol "_twice" class=extdef flags=defined type=routine @1:1:5
end
END
sed 's/_twice/_other/; s/program\.c/other.c/' program.ict > other.ict
"$bin/icode-as" program.ict -o program.if && "$bin/icode-as" other.ict -o other.if || exit 1

cat > check <<END
#!/bin/sh
! "$bin/icode-dis" "\$1" | grep -q 'SLL:int(home, 3:int)'
END
chmod +x check
bisect -o3 --keep=kept program.if -- ./check || fail "the change was not found"
has "At level 0 the check fails from change"
has "  function  twice()"
has "  site      MULT.multiply_power"
has "  place     line 3"
has "-    statement @1:3:5 ASG:int(@_left, MULT:int(home, 8:int))"
has "+    statement @1:3:5 ASG:int(@_left, SLL:int(home, 3:int))"
[ "$(grep -c '^run' messages)" -lt 40 ] || fail "too many runs"
[ "$(kept/again | grep -c '^after: status 1$\|^before: status 0$')" = 2 ] || fail "what was kept does not show the fault"
bisect --keep=kept program.if -- ./check && fail "a folder was written over"

# An optimizer that fails in the change, before it can say what it did.
cat > failing <<END
#!/bin/sh
for output; do :; done
"$bin/pelorus" "\$@" > said || exit
./check "\$output" || exit 2
cat said
END
chmod +x failing
bisect --pelorus=./failing -o1 program.if -- true || fail "the change in which pelorus fails was not found"
has "pelorus itself fails in it (status 2)"
has "  function  twice()"
has "  pass      simplify"
has "  site      MULT.multiply_power"
has "  place     line 3"

# The command knows the optimizer by the variable only.
cat > build <<END
#!/bin/sh
for name in other program; do \$PELORUS_OPTIMIZER -o2 \$name.if \$name.opt || exit 1; done
./check program.opt
END
chmod +x build
bisect -- ./build || fail "the change was not found through a command"
has "  input     program.c"
has "  site      MULT.multiply_power"
has "  place     line 3"

bisect program.if -- true && fail "found where nothing fails"
has "holds at every level"
bisect program.if -- false && fail "found where everything fails"
has "For the input itself it fails, too"
for words in "" "program.if" "program.if --" "nothing.if -- true" "--timeout=no program.if -- true" "-o2 -- true" "program.if -- ./nothing"; do
    bisect $words && fail "accepted: $words"
    [ -s found ] && fail "an answer to: $words"
    grep -q '^pelorus-bisect: error: ' messages || fail "no message about: $words"
done
[ $failures = 0 ]
