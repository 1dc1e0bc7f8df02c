#!/bin/sh
# The man pages and the completion for shells, where an installation puts them.
# Usage: installation.sh BUILD-DIRECTORY
set -eu
build=$(cd "$1" && pwd)
. "$(dirname "$0")/../prelude.sh"
cmake --install "$build" --prefix "$work" >/dev/null || fail "cmake --install"
PATH=$work/bin:$PATH
[ -s share/doc/pelorus/icode.md ] || fail "the manual is not installed"

# Every program has a page without a fault, with each option that the program names.
for program in bin/*; do
    name=${program#bin/}
    groff -man -Tutf8 -P-cbou -ww -rLL=110n -rHY=0 "share/man/man1/$name.1" >page 2>messages || fail "groff: $name"
    [ ! -s messages ] || fail "$name.1: $(cat messages)"
    grep -q "^ *$name - " page || fail "$name.1 has no name"
    [ "$name" != pelorus ] || continue # its options are those of the manual
    "$name" --help | grep -oE -- '(^|[[ ,])--?[a-zA-Z#][a-zA-Z#-]*' | tr -d '[ ,' | sort -u >options
    while read -r option; do grep -q -e "$option" page || fail "$name.1 has no $option"; done <options
done
groff -man -Tutf8 -P-cbou share/man/man1/pelorus-cc.1 | grep -q '^OPTIONS THAT CHANGE' || fail "no manual in the page"
groff -man -Tutf8 -P-cbou share/man/man1/pelorus.1 | grep -q '^ *--no_tail_recursion' || fail "no options in the page"

# completes <words> <what is offered for the last one>
completes() {
    BASH_WORDS=$1 bash -c '
        COMP_WORDS=($BASH_WORDS) COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
        . "share/bash-completion/completions/${COMP_WORDS[0]}"
        function=$(complete -p "${COMP_WORDS[0]}" | sed "s/.*-F \([^ ]*\).*/\1/")
        "$function"
        echo "${COMPREPLY[*]-}"' >offered
    [ "$(cat offered)" = "$2" ] || fail "bash: $1: $(cat offered)"
    ZSH_WORDS=$1 zsh -f -c '
        compadd() { [[ $1 == -S ]] && shift 2; eval "print -rl -- \$$2" }
        _files() { }
        words=(${=ZSH_WORDS})
        PREFIX=$words[-1]
        fpath=(share/zsh/site-functions)
        autoload -U _pelorus
        _pelorus | grep -e "^$PREFIX" | tr "\n" " "' >offered
    [ "$(cat offered)" = "${2:+$2 }" ] || fail "zsh: $1: $(cat offered)"
}
completes "pelorus-cc -O2 -fno-jump" "-fno-jump-tables"
completes "pelorus-cc -fstack-usag" ""
completes "pelorus-cc -isys" "-isystem -isysroot"
completes "pelorus-cc file" ""
completes "pelorus --no_tail" "--no_tail_recursion"
completes "icode-llvm --stack-prot" "--stack-protector="
completes "icode-dis --off" "--offsets"
[ $failures = 0 ]
