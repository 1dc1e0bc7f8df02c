# Completion for Pelorus' programs: their options, which they tell themselves, and files.

_pelorus_options() {
    case ${1##*/} in
    pelorus-cc) "$1" --list-options ;;
    pelorus) "$1" --help | sed -n 's/^\([^ ]*\)  *\(SEEN\|not seen\) .*/-\1/p' ;;
    *) "$1" --help 2>&1 | grep -oE -- '(^|[[ ,])--?[a-zA-Z][a-zA-Z-]*=?' | tr -d '[ ,' | sort -u ;;
    esac 2>/dev/null
}

_pelorus() {
    local word=${COMP_WORDS[COMP_CWORD]}
    COMPREPLY=()
    [[ $word == -* ]] || return 0 # a file
    mapfile -t COMPREPLY < <(compgen -W "$(_pelorus_options "${COMP_WORDS[0]}")" -- "$word")
    # The argument follows in the same word.
    [[ ${#COMPREPLY[@]} != 1 || ${COMPREPLY[0]} != *[=,] ]] || compopt -o nospace 2>/dev/null
}

complete -o default -F _pelorus pelorus pelorus-cc pelorus-bisect \
    icode-cc icode-as icode-dis icode-val icode-join icode-llvm icode-run icode-reduce
