#!/usr/bin/env bash
# Builds Kernova and runs every test: the full build with the Qt desktop
# (warnings as errors), then the core again under AddressSanitizer and
# UndefinedBehaviorSanitizer, then the package check (as root or with sudo
# without a password; skipped otherwise). It runs last: the activation file it
# installs for a moment must not start an installed kernovad in other tests.
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

echo "== package check (builds, installs, runs and purges the Debian package)"
if [[ $(id -u) -eq 0 ]] || sudo -n true 2>/dev/null; then
    scripts/package-check.sh
else
    echo "package check skipped: installing the package needs root or sudo without a password"
fi
