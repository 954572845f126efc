#!/usr/bin/env bash
# Fails when clang-format would change any C++ file of the project.
set -euo pipefail
cd "$(dirname "$0")/.."
files=$(git ls-files '*.cpp' '*.h' 2>/dev/null || true)
[[ -z "$files" ]] && exit 0
bad=0
for f in $files; do
    [[ -f "$f" ]] || continue
    if ! clang-format --dry-run -Werror "$f" >/dev/null 2>&1; then
        echo "needs clang-format: $f"
        bad=1
    fi
done
exit $bad
