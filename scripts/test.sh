#!/usr/bin/env bash
# Builds Kernova and runs every test: the full build with the Qt desktop
# (warnings as errors), then the core again under AddressSanitizer and
# UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-deps.sh desktop
jobs=$(nproc)

echo "== format check"
scripts/check-format.sh

echo "== full build"
cmake --preset desktop -DKERNOVA_WERROR=ON >/dev/null
cmake --build --preset desktop -j "$jobs"
ctest --preset desktop -j "$jobs"

echo "== asan build (core and simulated device)"
cmake --preset asan -DKERNOVA_WERROR=ON >/dev/null
cmake --build --preset asan -j "$jobs"
ctest --preset asan -j "$jobs" -L core
