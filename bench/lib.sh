# What the measuring scripts share; sourced, not run.

# The build to measure: the folder given (the script's first argument), else
# the checkout's build/desktop. Sets `build` to its absolute path.
# Usage: build_folder "${1:-}"
# shellcheck disable=SC2034  # read by the script that sources this
build_folder() {
    build=$(cd "${1:-$(dirname "${BASH_SOURCE[0]}")/../build/desktop}" && pwd)
}

# Installs the programs named that are missing, for a comparison only.
# Usage: install_for_comparison SCRIPT PROGRAM...
install_for_comparison() {
    local script=$1 program missing=()
    shift
    for program in "$@"; do command -v "$program" >/dev/null || missing+=("$program"); done
    ((${#missing[@]})) || return 0
    local sudo=""
    [[ $(id -u) -ne 0 ]] && sudo=sudo
    echo "$script: installing ${missing[*]} for the comparison" >&2
    $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
}

# A private work folder and home (HOME and the XDG folders in it), removed
# with every process listed in the array `pids` when the script exits.
# Sets `work`.
private_home() {
    work=$(mktemp -d)
    pids=()
    trap 'for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done; wait 2>/dev/null || true; rm -rf "$work"' EXIT
    export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config
    export XDG_DATA_HOME=$work/home/.local/share XDG_CACHE_HOME=$work/home/.cache
    export XDG_RUNTIME_DIR=$work/run
    mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_RUNTIME_DIR"
    chmod 700 "$XDG_RUNTIME_DIR"
}
