#!/usr/bin/env bash
# A generated document is what its generator prints: generated.sh GENERATOR DOCUMENT
set -euo pipefail
diff -u "$2" <("$1") || { echo "$2 is not current: run $1 > $2"; exit 1; }
