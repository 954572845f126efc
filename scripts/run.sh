#!/usr/bin/env bash
# The main job: builds Kernova with its desktop daemon, starts kernovad on your
# X display (or, with no display, on a private virtual one), opens the tag
# panel on a sample text, saves a screenshot and prints its path.
#   scripts/run.sh            the sample text
#   scripts/run.sh TEXT...    TEXT instead
# On your own display the panel stays open (Escape or a click outside closes
# it) and kernovad keeps running; on a private display everything started here
# is stopped at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

scripts/setup-deps.sh desktop
cmake --preset desktop >/dev/null
cmake --build --preset desktop --target kernova kernovad -j "$(nproc)" >/dev/null
kernova=$root/build/desktop/apps/kernova/kernova
kernovad=$root/build/desktop/apps/kernovad/kernovad

sample="Kernova 把选中的文字拆成词语标签: “Hello, world!” 👍🏽 🇨🇳 東京は晴れです。"
if (($# > 0)); then sample="$*"; fi

shots=${KERNOVA_SCREENSHOT_DIR:-$root/build/screenshots}
mkdir -p "$shots"
shot=$shots/panel-$(date +%Y%m%d-%H%M%S).png
work=$(mktemp -d)
log=$root/build/kernovad.log

private_pids=()
cleanup() {
    for pid in "${private_pids[@]}"; do
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
    rm -rf "$work"
}
trap cleanup EXIT

fail() {
    echo "run.sh: $*" >&2
    if [[ -s $log ]]; then sed 's/^/  kernovad: /' "$log" >&2; fi
    exit 1
}

# Polls a command for up to ten seconds.
wait_for() {
    for _ in $(seq 100); do
        if "$@" >/dev/null 2>&1; then return 0; fi
        sleep 0.1
    done
    return 1
}

debug() {
    gdbus call --session --dest fun.quorle.kernova.prefs --object-path /fun/quorle/kernova/debug \
        --method "fun.quorle.kernova.Debug.$1" "${@:2}"
}

panel_shown() { debug ScreenState | grep -q '\\"shown\\":true\|"shown":true'; }

private_display=0
if [[ -z ${DISPLAY:-} ]]; then
    private_display=1
    Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$work/display" 2>"$work/xvfb.log" &
    private_pids+=($!)
    wait_for test -s "$work/display" || fail "the virtual display (Xvfb) did not start"
    export DISPLAY=:$(head -n1 "$work/display")
    echo "No display: started a private virtual display $DISPLAY"
fi

if [[ -z ${DBUS_SESSION_BUS_ADDRESS:-} ]]; then
    eval "$(dbus-launch --sh-syntax)"
    private_pids+=("$DBUS_SESSION_BUS_PID")
    private_display=1 # nobody else can reach a daemon on this bus
    echo "No session bus: started a private one"
fi

if debug ReceivedCount >/dev/null 2>&1; then
    echo "kernovad is already running on this session; using it"
elif gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
    --method org.freedesktop.DBus.GetNameOwner fun.quorle.kernova.prefs >/dev/null 2>&1; then
    fail "kernovad runs without its debug interface; stop it, or start it with KERNOVA_DEBUG=1"
else
    # Its own session, away from this terminal's pipes and hang-up signal; with
    # the debug interface this script reads, and a line per message in its log.
    KERNOVA_DEBUG=1 KERNOVA_LOG=${KERNOVA_LOG:-info} QT_QPA_PLATFORM=xcb \
        setsid "$kernovad" </dev/null >"$log" 2>&1 &
    daemon_pid=$!
    if ((private_display)); then private_pids=("$daemon_pid" "${private_pids[@]}"); fi
    wait_for debug ReceivedCount || fail "kernovad did not start"
    echo "Started kernovad (pid $daemon_pid); its log: $log"
fi

# Kernova answers requests only when switched on, as a first-run user does.
"$kernova" set enabled YES
echo "Switched Kernova on (kernova set enabled YES)"

echo "Text: $sample"
"$kernova" splode -- "$sample"
wait_for panel_shown || fail "the panel did not open"
wait_for xdotool search --onlyvisible --class kernovad || fail "the panel's window was not mapped"
sleep 0.5 # one more paint after mapping
# The PNG comes back as a byte array, printed by gdbus as "[byte 0x89, 0x50, ...]".
debug Screenshot | perl -ne 'print pack("C*", map { hex } /0x([0-9a-f]{2})/g)' >"$shot"
[[ -s $shot ]] || fail "could not save the screenshot to $shot"
echo "Screenshot: $shot"

if ((private_display)); then
    echo "Stopping what was started for this run"
else
    echo "The panel is open on $DISPLAY: pick tags with the mouse or the arrow keys and Space, Copy (or Control+C) copies them, Escape closes it."
    if [[ -n ${daemon_pid:-} ]]; then echo "kernovad keeps running; stop it with: kill $daemon_pid"; fi
fi
