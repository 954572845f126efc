#!/usr/bin/env bash
# Installs every Debian 12 package that Kernova needs to build, test and run.
# Safe to run again: only missing packages are installed.
#   scripts/setup-deps.sh          core, tests and benchmarks
#   scripts/setup-deps.sh desktop  also Qt 6, the virtual display and desktop tools
set -euo pipefail

core=(
    build-essential cmake ninja-build pkg-config clang-format
    libicu-dev libplist-dev libplist++-dev libssl-dev libcurl4-openssl-dev
    nlohmann-json3-dev libgtest-dev libgmock-dev libbenchmark-dev time
)
desktop=(
    qt6-base-dev qt6-svg-dev qt6-webengine-dev libgl-dev
    libxcb1-dev libxcb-shape0-dev libxcb-shm0-dev libxcb-xtest0-dev libxcb-xfixes0-dev libxcb-xinput-dev libcanberra-dev
    libfontconfig-dev
    xvfb xauth xdotool xclip x11-xserver-utils openbox xdg-utils xterm desktop-file-utils
    qt6-image-formats-plugins
    libtesseract-dev tesseract-ocr-eng tesseract-ocr-chi-sim tesseract-ocr-chi-tra
    tesseract-ocr-jpn tesseract-ocr-kor
    help2man lintian jq
    dbus dbus-x11 libglib2.0-bin fonts-noto-cjk fonts-noto-color-emoji
)

wanted=("${core[@]}")
if [[ "${1:-}" == "desktop" ]]; then wanted+=("${desktop[@]}"); fi

missing=()
for pkg in "${wanted[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$pkg")
    fi
done
if ((${#missing[@]} == 0)); then exit 0; fi

echo "Installing: ${missing[*]}"
sudo=""
if [[ $(id -u) -ne 0 ]]; then sudo="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
