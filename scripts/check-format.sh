#!/usr/bin/env bash
# Checks that every tracked C and C++ file is laid out as .clang-format says;
# changes nothing. To fix a file: clang-format -i FILE.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh format
git ls-files -z '*.c' '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror
echo "$(git ls-files '*.c' '*.cpp' '*.h' | wc -l) files as .clang-format says: 0 checks failed out of 1"
