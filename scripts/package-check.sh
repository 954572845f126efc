#!/usr/bin/env bash
# Builds the Debian package and checks it: its contents and dependencies,
# lintian (no errors), then installs it, runs the installed kernova (split,
# --help, doctor --json), and purges it again together with any package the
# install pulled in, leaving the machine as it was, whether a check failed or
# not (a failed purge fails the check). Needs root (or sudo) and the desktop build's packages.
#   scripts/package-check.sh
set -euo pipefail

cd "$(dirname "$0")/.."
build=build/desktop
sudo=""
if [[ $(id -u) -ne 0 ]]; then sudo="sudo"; fi

fail() {
    echo "package-check: $*" >&2
    exit 1
}

if dpkg-query -W -f='${Status}' kernova 2>/dev/null | grep -q "ok installed"; then
    fail "kernova is installed already; purge it first (this check installs and purges it)"
fi

if [[ ! -f $build/CMakeCache.txt ]]; then cmake --preset desktop; fi
rm -f "$build"/kernova_*.deb
cmake --build --preset desktop --target package -j2
debs=("$build"/kernova_*.deb)
[[ ${#debs[@]} -eq 1 && -f ${debs[0]} ]] || fail "expected one kernova_*.deb in $build"
deb=$(realpath "${debs[0]}")
echo "== $deb"

# Contents.
contents=$(dpkg-deb -c "$deb" | awk '{print $6}')
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
for path in \
    ./usr/bin/kernova ./usr/bin/kernovad ./usr/libexec/kernova/kernova-prefs \
    ./usr/libexec/kernova/kernova-gui \
    "./usr/lib/$multiarch/kernova/libkernova_webengine.so" \
    "./usr/lib/$multiarch/kernova/libkernova_tesseract.so" \
    ./usr/share/dbus-1/services/fun.quorle.kernova.prefs.service \
    ./usr/share/applications/kernovad.desktop \
    ./usr/share/applications/fun.quorle.KernovaActivity.desktop \
    ./etc/xdg/autostart/kernova-autostart.desktop \
    ./usr/share/icons/hicolor/scalable/apps/kernova.svg \
    ./usr/lib/systemd/user/kernovad.service \
    ./usr/share/man/man1/kernova.1.gz ./usr/share/man/man1/kernovad.1.gz \
    ./usr/share/bash-completion/completions/kernova \
    ./usr/share/zsh/vendor-completions/_kernova \
    ./usr/share/doc/kernova/copyright ./usr/share/doc/kernova/changelog.gz; do
    grep -qxF "$path" <<<"$contents" || fail "missing from the package: $path"
done
echo "contents: ok"

# Dependencies: the run-time ones named by hand, and those shlibdeps found
# in the programs and in the dlopen'd modules.
depends=$(dpkg-deb -f "$deb" Depends)
echo "Depends: $depends"
echo "Recommends: $(dpkg-deb -f "$deb" Recommends)"
for dep in qt6-qpa-plugins libcurl4 libc6 libqt6widgets6 libqt6webenginecore6 libtesseract5; do
    grep -qE "(^|, )$dep( |,|$)" <<<"$depends" || fail "Depends lacks $dep"
done

echo "== lintian"
lintian --tag-display-limit 0 --fail-on error "$deb" || fail "lintian reports errors"

# Install, run, purge. Packages the install pulls in are purged afterwards.
before=$(mktemp)
after=$(mktemp)
prefs=$(mktemp -d)
installed=0
cleanup() {
    status=$?
    if ((installed)); then $sudo apt-get purge -y -qq kernova || status=1; fi
    if [[ -s $before ]]; then
        dpkg-query -W -f='${Package}:${Architecture} ${Status}\n' | awk '/ installed$/{print $1}' | sort >"$after"
        mapfile -t extra < <(comm -13 "$before" "$after")
        if ((${#extra[@]})); then
            echo "purging what the install pulled in: ${extra[*]}"
            $sudo apt-get purge -y -qq "${extra[@]}" || status=1
        fi
    fi
    rm -rf "$before" "$after" "$prefs"
    exit "$status"
}
trap cleanup EXIT
# Interrupted, it still purges (the EXIT trap runs on exit).
trap 'exit 130' INT TERM
dpkg-query -W -f='${Package}:${Architecture} ${Status}\n' | awk '/ installed$/{print $1}' | sort >"$before"
echo "== install"
installed=1
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "$deb"

split=$(KERNOVA_PREFERENCES_DIR=$prefs /usr/bin/kernova split "hello world")
echo "$split"
[[ $split == $'"hello"\n" " symbol\n"world"' ]] || fail "the installed kernova split gave something else"
KERNOVA_PREFERENCES_DIR=$prefs kernova --help | grep -q "^usage: kernova" || fail "kernova --help"
kernovad --help | grep -q "^usage: kernovad" || fail "kernovad --help"
man -w kernova >/dev/null 2>&1 || [[ -f /usr/share/man/man1/kernova.1.gz ]] || fail "no kernova(1)"

# The installed doctor answers with a report (status 0 or 1: a machine without
# a desktop has findings). It runs on a private bus with no display, so the
# installed activation file is tried (the kernovad it starts exits at once)
# and no session of the caller's is touched.
doctor_status=0
doctor=$(env -u DISPLAY -u WAYLAND_DISPLAY KERNOVA_PREFERENCES_DIR="$prefs" \
    timeout 30 dbus-run-session -- /usr/bin/kernova doctor --json) || doctor_status=$?
((doctor_status == 0 || doctor_status == 1)) || fail "kernova doctor --json exited with status $doctor_status"
jq -e '.findings | map(.check) | index("kernovad") != null' <<<"$doctor" >/dev/null ||
    fail "kernova doctor --json gave no report: $doctor"
for module in web-engine-module ocr-module; do
    jq -e --arg m "$module" 'any(.findings[]; .check == $m and .level == "ok")' <<<"$doctor" >/dev/null ||
        fail "the installed kernova doctor finds no $module"
done
echo "doctor: $(jq -c '[.findings[] | select(.level == "problem") | .check]' <<<"$doctor") are problems here"

echo "== purge"
installed=0
$sudo apt-get purge -y -qq kernova || fail "apt-get purge kernova failed"
[[ ! -e /usr/bin/kernova ]] || fail "/usr/bin/kernova is still there after the purge"
echo "package-check: ok"
