#!/usr/bin/env bash
# Peak memory of the commands that print a whole text's segments or tags:
# `kernova split --json` and `kernova layout --json` on 10 MB of mixed English
# and Chinese text, as a multiple of the input's size (goal: at most 10x), next
# to each command's peak on an empty input measured in the same run.
#   bench/cli_memory.sh [KERNOVA] [MEGABYTES]
# KERNOVA defaults to the desktop build's command, then the default build's.
set -euo pipefail
cd "$(dirname "$0")/.."

kernova=${1:-}
if [[ -z $kernova ]]; then
    for candidate in build/desktop/apps/kernova/kernova build/default/apps/kernova/kernova; do
        if [[ -x $candidate ]]; then kernova=$candidate; break; fi
    done
fi
[[ -x ${kernova:-} ]] || { echo "cli_memory.sh: build kernova first (cmake --build --preset default)" >&2; exit 1; }
megabytes=${2:-10}
[[ -x /usr/bin/time ]] || { echo "cli_memory.sh: needs /usr/bin/time (scripts/setup-deps.sh installs it)" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export KERNOVA_PREFERENCES_DIR=$work/prefs  # the default settings, whatever yours are

# Mixed text: English sentences, Chinese ones and punctuation, repeated.
paragraph='Kernova splits the selected text into word tags, so you can pick words by tapping them. 把选中的文字拆成词语标签，点一下就能选中。 “Hello, world!” — 東京は晴れです。
'
target=$((megabytes * 1000 * 1000))
: >"$work/input"
chunk=$paragraph
while ((${#chunk} < 65536)); do chunk+=$chunk; done
while (($(stat -c %s "$work/input") < target)); do printf '%s' "$chunk" >>"$work/input"; done
truncate -s "$target" "$work/input"
# The cut may split a character; the commands repair it, and the size is what counts.
: >"$work/empty"

# Peak resident memory in KiB of one run, its output thrown away.
peak() {
    /usr/bin/time -f %M -o "$work/time" "$kernova" "$@" >/dev/null
    cat "$work/time"
}

printf '%-24s %12s %12s %8s\n' command "empty (MiB)" "input (MiB)" "x input"
for command in "split --json" "layout --json"; do
    read -r -a args <<<"$command"
    base=$(peak "${args[@]}" <"$work/empty")
    full=$(peak "${args[@]}" <"$work/input")
    awk -v c="kernova $command" -v b="$base" -v f="$full" -v n="$target" 'BEGIN {
        printf "%-24s %12.1f %12.1f %8.2f\n", c, b / 1024, f / 1024, f * 1024 / n
    }'
done
echo "input: $megabytes MB ($target bytes)"
