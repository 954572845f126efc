#!/usr/bin/env bash
# What kernovad costs while it waits, next to two desktop helpers that also
# wait all day (the flameshot daemon and CopyQ), measured in the same run on a
# private Xvfb display and session bus:
#   - RSS and PSS after start (kernovad: also after the first and the 20th
#     board opened and closed, and the growth between those two),
#   - CPU time and wakeups (context switches of all threads) over 60 s idle.
# flameshot and CopyQ are installed with apt-get for the comparison only.
#
# Usage: bench/idle_cost.sh [BUILD_DIR]     (default: build/desktop)
#        IDLE_SECONDS=60 BOARDS=20 to change the idle time or the board count.
set -euo pipefail
# shellcheck source=bench/lib.sh
source "$(dirname "$0")/lib.sh"

build_folder "${1:-}"
idle=${IDLE_SECONDS:-60}
boards=${BOARDS:-20}

# A private session bus: the script runs itself again under dbus-run-session.
if [[ -z "${KERNOVA_IDLE_COST_INNER:-}" ]]; then
    export KERNOVA_IDLE_COST_INNER=1
    exec dbus-run-session -- "$0" "$build"
fi

kernovad=$build/apps/kernovad/kernovad
kernova=$build/apps/kernova/kernova
for tool in Xvfb xdotool gdbus; do
    command -v "$tool" >/dev/null || { echo "idle_cost: $tool is needed" >&2; exit 2; }
done
[[ -x $kernovad && -x $kernova ]] || { echo "idle_cost: build kernovad and kernova first" >&2; exit 2; }

# The comparison programs, installed once.
install_for_comparison idle_cost flameshot copyq

# Private home and display.
private_home
exec {displayfd}<> <(:)
Xvfb -displayfd "$displayfd" -screen 0 1920x1080x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
pids+=($!)
read -r -t 10 number <&"$displayfd" || { echo "idle_cost: Xvfb did not start" >&2; exit 1; }
export DISPLAY=:$number QT_QPA_PLATFORM=xcb KERNOVA_DEBUG=1
unset WAYLAND_DISPLAY

# Figures of a set of processes: RSS and PSS in kB (smaps_rollup), CPU ticks,
# context switches of every thread.
memory() {  # PIDS... -> "rss pss"
    local rss=0 pss=0 pid
    for pid in "$@"; do
        read -r r p < <(awk '/^Rss:/{r=$2} /^Pss:/{p=$2} END{print r+0, p+0}' \
            "/proc/$pid/smaps_rollup")
        rss=$((rss + r)) pss=$((pss + p))
    done
    echo "$rss $pss"
}
cpu_ticks() {
    local total=0 pid
    for pid in "$@"; do
        total=$((total + $(awk '{print $14 + $15}' "/proc/$pid/stat")))
    done
    echo "$total"
}
# One line per thread: "tid switches" (voluntary and not).
switches() {
    local pid task
    for pid in "$@"; do
        for task in /proc/"$pid"/task/*; do
            echo "${task##*/} $(awk '/ctxt_switches/{s+=$2} END{print s+0}' "$task/status" 2>/dev/null)"
        done
    done
}
# Switches between two snapshots, counted over the threads in both (a worker
# thread that ends meanwhile takes its count with it).
switch_delta() {
    awk 'NR==FNR{before[$1]=$2; next} ($1 in before){d+=$2-before[$1]} END{print d+0}' "$1" "$2"
}
mb() { awk -v k="$1" 'BEGIN{printf "%.1f", k / 1024}'; }

debug_call() {
    gdbus call --session --dest fun.quorle.kernova.prefs --object-path /fun/quorle/kernova/debug \
        --method "fun.quorle.kernova.Debug.$1" 2>/dev/null
}
board_shown() { debug_call ScreenState | grep -q '"shown": *true'; }
board_closed() { debug_call ScreenState | grep -q '"shown": *false'; }
wait_until() {  # SECONDS COMMAND...
    local limit=$(($(date +%s) + $1)); shift
    until "$@"; do
        (($(date +%s) < limit)) || return 1
        sleep 0.1
    done
}
service_up() {
    gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
        --method org.freedesktop.DBus.NameHasOwner fun.quorle.kernova.prefs 2>/dev/null |
        grep -q true
}

# kernovad, switched on.
"$kernova" set enabled YES >/dev/null 2>&1 || true
"$kernovad" >"$work/kernovad.log" 2>&1 &
kpid=$!
pids+=("$kpid")
wait_until 20 service_up || { echo "idle_cost: kernovad did not start" >&2; cat "$work/kernovad.log" >&2; exit 1; }

# The comparison programs.
flameshot >"$work/flameshot.log" 2>&1 &
fpid=$!
pids+=("$fpid")
copyq >"$work/copyq.log" 2>&1 &
pids+=($!)
sleep 5
copyq_pids() { pgrep -u "$(id -u)" -x copyq | tr '\n' ' '; }
read -r -a cpids <<<"$(copyq_pids)"

read -r k_rss k_pss <<<"$(memory "$kpid")"
read -r f_rss f_pss <<<"$(memory "$fpid")"
read -r c_rss c_pss <<<"$(memory "${cpids[@]}")"

# Boards opened and closed: the first, then the rest.
open_and_close() {
    "$kernova" splode "the quick brown fox jumps over the lazy dog 你好世界 $1" >/dev/null
    wait_until 10 board_shown || { echo "idle_cost: board $1 did not open" >&2; return 1; }
    sleep 0.3
    # A click on the backdrop, outside the card (the pointer moves each time:
    # --sync waits for a motion).
    xdotool mousemove --sync $((3 + $1 % 2)) 3 click 1
    wait_until 10 board_closed || {
        echo "idle_cost: board $1 did not close" >&2
        return 1
    }
}
open_and_close 1
sleep 1
read -r k1_rss k1_pss <<<"$(memory "$kpid")"
for ((i = 2; i <= boards; ++i)); do open_and_close "$i"; done
sleep 1
read -r kn_rss kn_pss <<<"$(memory "$kpid")"

# Idle: nothing on screen, nothing asked.
hz=$(getconf CLK_TCK)
k0=$(cpu_ticks "$kpid") f0=$(cpu_ticks "$fpid") c0=$(cpu_ticks "${cpids[@]}")
switches "$kpid" >"$work/k0"; switches "$fpid" >"$work/f0"; switches "${cpids[@]}" >"$work/c0"
sleep "$idle"
k1=$(cpu_ticks "$kpid") f1=$(cpu_ticks "$fpid") c1=$(cpu_ticks "${cpids[@]}")
switches "$kpid" >"$work/k1"; switches "$fpid" >"$work/f1"; switches "${cpids[@]}" >"$work/c1"
kw=$(switch_delta "$work/k0" "$work/k1") fw=$(switch_delta "$work/f0" "$work/f1")
cw=$(switch_delta "$work/c0" "$work/c1")
cpu() { awk -v t="$1" -v hz="$hz" -v s="$idle" 'BEGIN{printf "%.3f", 100 * t / hz / s}'; }
rate() { awk -v n="$1" -v s="$idle" 'BEGIN{printf "%.2f", n / s}'; }

printf '%-22s %9s %9s %12s %12s %12s %10s %10s\n' program "RSS MB" "PSS MB" "RSS 1 board" \
    "RSS $boards boards" "growth MB" "idle CPU%" "wakeups/s"
printf '%-22s %9s %9s %12s %12s %12s %10s %10s\n' kernovad "$(mb "$k_rss")" "$(mb "$k_pss")" \
    "$(mb "$k1_rss")" "$(mb "$kn_rss")" "$(mb $((kn_rss - k1_rss)))" \
    "$(cpu $((k1 - k0)))" "$(rate "$kw")"
printf '%-22s %9s %9s %12s %12s %12s %10s %10s\n' "flameshot" "$(mb "$f_rss")" "$(mb "$f_pss")" \
    - - - "$(cpu $((f1 - f0)))" "$(rate "$fw")"
printf '%-22s %9s %9s %12s %12s %12s %10s %10s\n' "copyq (${#cpids[@]} processes)" \
    "$(mb "$c_rss")" "$(mb "$c_pss")" - - - "$(cpu $((c1 - c0)))" "$(rate "$cw")"
awk -v k="$k_rss" -v c="$c_rss" 'BEGIN{printf "kernovad RSS / CopyQ RSS: %.2f (goal <= 0.5)\n", k / c}'
awk -v g="$((kn_rss - k1_rss))" -v n="$boards" \
    'BEGIN{printf "growth after %d boards: %.1f MB (goal <= 2)\n", n, g / 1024}'
echo "kernovad PSS after $boards boards: $(mb "$kn_pss") MB"
# Libraries kernovad should not map while no web view is shown and no image
# was recognised here (Qt Gui links the small GL dispatch libraries itself;
# the drivers are what costs).
heavy='(libQt6WebEngine|libQt6Quick|libQt6Qml|libLLVM|libgallium|libqxcb-glx|libqxcb-egl|[A-Za-z]+_mesa|[a-z0-9]+_dri|libtesseract|liblept|libkernova_tesseract)[^/ ]*\.so'
if grep -qE "$heavy" "/proc/$kpid/maps"; then
    echo "kernovad maps GL drivers, web engine or Tesseract libraries:"
    grep -oE "$heavy[^ ]*" "/proc/$kpid/maps" | sort -u
else
    echo "kernovad maps no GL driver, Qt Quick, web engine or Tesseract library"
fi
