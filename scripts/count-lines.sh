#!/usr/bin/env bash
# Non-blank, non-comment C and C++ lines (cloc's "code") of the tests against
# the code they test: src/, include/, encoder/ and tools/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh lines >&2
count() {
  cloc --quiet --csv --vcs=git --include-lang='C,C++,C/C++ Header' "$@" | awk -F, '/SUM/ { print $5 }'
}
tests=$(count tests)
code=$(count src include encoder tools)
echo "tests/: $tests lines; src/ include/ encoder/ tools/: $code lines; tests are $(awk -v t="$tests" -v c="$code" 'BEGIN { printf "%.1f", 100 * t / c }') % of the code"
