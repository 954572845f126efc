#!/usr/bin/env bash
# The engine here on a 1920 × 1080 page of Chinese and English text (rendered
# by kernova-bench-ocr), next to the tesseract command on the same image, in
# one run with OMP_THREAD_LIMIT the same for both (1 unless set). Cold: a new
# process per image, the engine's start included (kernova-bench-ocr cold, as
# `kernova ocr` recognises; `tesseract IMAGE stdout -l LANGS`), median of
# RUNS (5) alternating the two, in wall-clock and CPU seconds. Warm: seconds
# per image with the engine kept, over WARM (5) images after the first, as
# kernovad recognises within a minute of the last time. tesseract is
# installed with apt-get for the comparison only.
#
# Usage: bench/ocr_speed.sh [BUILD_DIR]     (default: build/desktop; LANGS=chi_sim+eng)
set -euo pipefail
# shellcheck source=bench/lib.sh
source "$(dirname "$0")/lib.sh"

build_folder "${1:-}"
runs=${RUNS:-5}
warm=${WARM:-5}
langs=${LANGS:-chi_sim+eng}
bench=$build/bench/kernova-bench-ocr
[[ -x $bench ]] || { echo "ocr_speed: build kernova-bench-ocr first" >&2; exit 2; }
# The command `tesseract` comes in Debian's package tesseract-ocr.
command -v tesseract >/dev/null || install_for_comparison ocr_speed tesseract-ocr
command -v tesseract >/dev/null || { echo "ocr_speed: tesseract could not be installed" >&2; exit 2; }
export OMP_THREAD_LIMIT=${OMP_THREAD_LIMIT:-1} QT_QPA_PLATFORM=offscreen

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
image=$work/page.png
"$bench" render "$image"

# Prints "WALL CPU" in seconds for one run of the command.
timed() {
    local TIMEFORMAT='%R %U %S' out
    out=$({ time "$@" >/dev/null 2>&1; } 2>&1) || { echo "ocr_speed: $* failed" >&2; exit 1; }
    awk '{printf "%.3f %.3f\n", $1, $2 + $3}' <<<"$out"
}
median() { sort -n | awk '{a[NR] = $1} END {print (NR % 2) ? a[(NR + 1) / 2] : (a[NR / 2] + a[NR / 2 + 1]) / 2}'; }

: >"$work/kernova" && : >"$work/tesseract"
for ((i = 0; i < runs; i++)); do
    timed "$bench" cold "$image" "$langs" >>"$work/kernova"
    timed tesseract "$image" stdout -l "$langs" >>"$work/tesseract"
done
k_wall=$(cut -d' ' -f1 "$work/kernova" | median)
k_cpu=$(cut -d' ' -f2 "$work/kernova" | median)
t_wall=$(cut -d' ' -f1 "$work/tesseract" | median)
t_cpu=$(cut -d' ' -f2 "$work/tesseract" | median)
read -r k_warm k_warm_cpu < <("$bench" warm "$image" "$langs" "$warm" 2>/dev/null)

echo "1920x1080 page, $langs, OMP_THREAD_LIMIT=$OMP_THREAD_LIMIT, median of $runs; load average $(cut -d' ' -f1-3 /proc/loadavg)"
printf '%-30s %8s %8s\n' "" "wall s" "CPU s"
printf '%-30s %8s %8s\n' "tesseract command" "$t_wall" "$t_cpu"
printf '%-30s %8s %8s\n' "engine here, cold" "$k_wall" "$k_cpu"
printf '%-30s %8s %8s\n' "engine here, warm (kept)" "$k_warm" "$k_warm_cpu"
awk -v k="$k_wall" -v t="$t_wall" -v kc="$k_cpu" -v tc="$t_cpu" -v w="$k_warm" -v wc="$k_warm_cpu" 'BEGIN {
    printf "cold / tesseract: %.2f wall, %.2f CPU (goal <= 1.0); warm / tesseract: %.2f wall, %.2f CPU\n",
        k / t, kc / tc, w / t, wc / tc }'
