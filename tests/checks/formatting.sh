#!/usr/bin/env bash
# All C++ of the project is as clang-format would have it, and no text file ends without a newline or has
# blanks at a line's end.
set -euo pipefail
cd "$1"
git ls-files -- 'src/*.h' 'src/*.cpp' 'tools/*.h' 'tools/*.cpp' 'tests/*.h' 'tests/*.cpp' 'bench/*.cpp' |
  xargs -r clang-format-19 --dry-run --Werror
bad=$(git grep -nIE '[[:blank:]]+$' -- ':!*.out' ':!*.ict' ':!tests/golden' || true)
[[ -z $bad ]] || { echo "blanks at the end of a line:"; echo "$bad"; exit 1; }
