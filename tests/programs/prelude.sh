# What a script test begins with: a folder of its own, which is the current one and goes with it, and a count
# of what failed. `evidence` may name files there that tell more. The last line is `[ $failures = 0 ]`.
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0
fail() {
    echo "failed: $*" >&2
    for text in ${evidence:-}; do cat "$text" >&2; done
    failures=$((failures + 1))
}
