#!/usr/bin/env bash
# The main job: builds Kernova and splits a sample text into word tags.
#   scripts/run.sh            splits the sample text
#   scripts/run.sh TEXT...    splits TEXT instead
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default --target kernova -j "$(nproc)" >/dev/null

sample="Kernova 把选中的文字拆成词语标签: “Hello, world!” 👍🏽 🇨🇳 東京は晴れです。"
if (($# > 0)); then sample="$*"; fi
echo "Text: $sample"
./build/default/apps/kernova/kernova split -- "$sample"
