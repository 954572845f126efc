#!/usr/bin/env bash
# Builds Kernova and runs every test: the default build (warnings as errors) and
# the core again under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-deps.sh
jobs=$(nproc)

echo "== format check"
scripts/check-format.sh

echo "== default build"
cmake --preset default -DKERNOVA_WERROR=ON >/dev/null
cmake --build --preset default -j "$jobs"
ctest --preset default -j "$jobs"

echo "== asan build"
cmake --preset asan -DKERNOVA_WERROR=ON >/dev/null
cmake --build --preset asan -j "$jobs"
ctest --preset asan -j "$jobs" -L core
