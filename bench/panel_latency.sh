#!/usr/bin/env bash
# Request to panel pixels on screen, next to `flameshot gui` to its overlay, in
# one run on a private Xvfb display managed by openbox, with a private session
# bus that starts the build's kernovad by bus activation. One watcher
# (kernova-bench-latency) starts each request and sees the first MapNotify and
# kernovad's report of the new panel's first completed painting. Median of
# RUNS (10) for: Kernova warm (kernovad running), Kernova cold (kernovad
# stopped before each request, started by bus activation), flameshot warm
# (its daemon running); and `kernova ocr --screen` to its region overlay's
# first painting (warm), next to `flameshot gui` to its overlay's map.
# flameshot is installed with apt-get for the comparison only.
#
# Usage: bench/panel_latency.sh [BUILD_DIR]     (default: build/desktop)
#
# TEXT_FILES="a.txt b.txt" also times large texts sent as `kernova splode - <
# FILE` (median of RUNS_BIG, 3), and while one is arriving asks kernovad a
# D-Bus question (ReceivedCount of its debug interface) every 20 ms: the
# slowest answer bounds the longest turn of its event loop. ONLY_TEXT_FILES=1
# skips everything else.
set -euo pipefail
# shellcheck source=bench/lib.sh
source "$(dirname "$0")/lib.sh"

build_folder "${1:-}"
runs=${RUNS:-10}
kernovad=$build/apps/kernovad/kernovad
kernova=$build/apps/kernova/kernova
watcher=$build/bench/kernova-bench-latency
for program in "$kernovad" "$kernova" "$watcher"; do
    [[ -x $program ]] || {
        echo "panel_latency: build kernovad, kernova and kernova-bench-latency first" >&2
        exit 2
    }
done
for tool in Xvfb openbox dbus-daemon; do
    command -v "$tool" >/dev/null || { echo "panel_latency: $tool is needed (scripts/setup-deps.sh desktop)" >&2; exit 2; }
done
install_for_comparison panel_latency flameshot

# Private home, settings and display.
private_home
export KERNOVA_PREFERENCES_DIR=$work/prefs KERNOVA_DEBUG=1 QT_QPA_PLATFORM=xcb
unset WAYLAND_DISPLAY
mkdir -p "$XDG_CONFIG_HOME/flameshot" "$KERNOVA_PREFERENCES_DIR" "$work/services"
# flameshot without its first-start messages.
cat >"$XDG_CONFIG_HOME/flameshot/flameshot.ini" <<'INI'
[General]
showStartupLaunchMessage=false
showHelp=false
showDesktopNotification=false
startupLaunch=false
checkForUpdates=false
INI

exec {displayfd}<> <(:)
Xvfb -displayfd "$displayfd" -screen 0 1920x1080x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
pids+=($!)
read -r -t 10 number <&"$displayfd" || { echo "panel_latency: Xvfb did not start" >&2; exit 1; }
export DISPLAY=:$number
openbox >"$work/openbox.log" 2>&1 &
pids+=($!)

# A private session bus that knows the build's kernovad.
cat >"$work/services/fun.quorle.kernova.prefs.service" <<SERVICE
[D-BUS Service]
Name=fun.quorle.kernova.prefs
Exec=$kernovad
SERVICE
cat >"$work/session.conf" <<CONF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:tmpdir=$work</listen>
  <auth>EXTERNAL</auth>
  <servicedir>$work/services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
CONF
dbus-daemon --config-file="$work/session.conf" --fork --print-address=3 --print-pid=4 \
    3>"$work/bus.address" 4>"$work/bus.pid"
DBUS_SESSION_BUS_ADDRESS=$(cat "$work/bus.address")
export DBUS_SESSION_BUS_ADDRESS
pids+=("$(cat "$work/bus.pid")")
dbus-update-activation-environment DISPLAY XAUTHORITY HOME XDG_CONFIG_HOME XDG_DATA_HOME \
    XDG_CACHE_HOME XDG_RUNTIME_DIR KERNOVA_PREFERENCES_DIR KERNOVA_DEBUG QT_QPA_PLATFORM

# 2,000 characters of mixed Chinese and English.
text=$(python3 - <<'PY'
parts = ["Kernova splits text into tags", "把文字拆成一个个词", "and you pick the words you need.",
         "选择需要的词语，然后复制、翻译或搜索。", "Mixed text, 混合文字, 2026."]
out = ""
i = 0
while len(out) < 2000:
    out += parts[i % len(parts)] + " "
    i += 1
print(out[:2000])
PY
)

"$kernova" set enabled YES >/dev/null
# Pointer in the middle, so both overlays open on the one monitor.
"$watcher" --runs 1 --kernova -- "$kernova" splode -- "warm up" >/dev/null
median() { awk -F= '/^median_ms=/{split($2, a, " "); print a[1]}'; }

if [[ -n ${TEXT_FILES:-} ]]; then
    for file in $TEXT_FILES; do
        bytes=$(stat -c %s "$file")
        echo "== Kernova, warm, $bytes bytes from $file"
        "$watcher" --runs "${RUNS_BIG:-3}" --kernova -- sh -c "\"$kernova\" splode - < \"$file\""
        # The slowest of the D-Bus answers while the text arrives.
        "$kernova" splode - <"$file" &
        sender=$!
        slowest=0
        end=$(($(date +%s%N) + 4000000000))
        while (($(date +%s%N) < end)); do
            t0=$(date +%s%N)
            gdbus call --session --dest fun.quorle.kernova.prefs \
                --object-path /fun/quorle/kernova/debug \
                --method fun.quorle.kernova.Debug.ReceivedCount >/dev/null
            ms=$((($(date +%s%N) - t0) / 1000000))
            ((ms > slowest)) && slowest=$ms
            sleep 0.02
        done
        wait "$sender" || true
        xdotool key Escape 2>/dev/null || true
        sleep 1
        echo "slowest D-Bus answer while arriving: $slowest ms"
    done
    [[ -n ${ONLY_TEXT_FILES:-} ]] && exit 0
fi

# Other work on the machine moves every figure: its load is printed with them.
load_before=$(cut -d' ' -f1-3 /proc/loadavg)
echo "== Kernova, warm (kernovad running)"
warm=$("$watcher" --runs "$runs" --kernova -- "$kernova" splode -- "$text" | tee -a /dev/stderr | median)
echo "== Kernova ocr --screen, warm (to the region overlay's first painting)"
region=$("$watcher" --runs "$runs" --kernova -- "$kernova" ocr --screen | tee -a /dev/stderr | median)
echo "== Kernova, cold (started by bus activation for every request)"
cold=$("$watcher" --runs "$runs" --kernova --cold -- "$kernova" splode -- "$text" | tee -a /dev/stderr | median)

flameshot >"$work/flameshot.log" 2>&1 &
pids+=($!)
sleep 2
echo "== flameshot gui, warm (its daemon running)"
flame=$("$watcher" --runs "$runs" -- flameshot gui | tee -a /dev/stderr | median)

ratio() { awk -v a="$1" -v b="$2" 'BEGIN{printf "%.2f", a / b}'; }
echo
printf '%-28s %10s %10s\n' "" "median ms" "× flameshot"
printf '%-28s %10s %10s\n' "Kernova warm" "$warm" "$(ratio "$warm" "$flame")"
printf '%-28s %10s %10s\n' "Kernova cold" "$cold" "$(ratio "$cold" "$flame")"
printf '%-28s %10s %10s\n' "Kernova ocr --screen warm" "$region" "$(ratio "$region" "$flame")"
printf '%-28s %10s %10s\n' "flameshot gui warm" "$flame" "1.00"
echo "goals: warm ≤ 0.50, cold ≤ 1.00, ocr --screen ≤ 1.00 (× flameshot warm)"
echo "load average (1, 5, 15 min): $load_before before, $(cut -d' ' -f1-3 /proc/loadavg) after"
