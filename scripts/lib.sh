# shellcheck shell=bash
# Shell functions shared by the scripts of this folder. To be sourced; does nothing by itself.
# The caller has run "set -euo pipefail" and stands in the project's root folder.

logs=build/logs

# heading TEXT: says which step begins.
heading() {
    if [[ -t 1 ]]; then
        printf '\n\033[1m== %s\033[0m\n' "$1"
    else
        printf '\n== %s\n' "$1"
    fi
}

# fail TEXT: says why the script stops, and stops it.
fail() {
    printf '%s: failed: %s\n' "$0" "$1" >&2
    exit 1
}

# logged NAME COMMAND...: runs a command with its output in build/logs/NAME.log, says now and then
# that it is still at work, and shows the log if it fails.
logged() {
    local log=$logs/$1.log begun=$SECONDS ticker status=0
    shift
    mkdir -p "$logs"
    still_working "$log" &
    ticker=$!
    "$@" >"$log" 2>&1 </dev/null || status=$?
    kill "$ticker" 2>/dev/null || true
    wait "$ticker" 2>/dev/null || true
    if ((status != 0)); then
        cat "$log"
        printf '   failed after %d s (this was %s)\n' "$((SECONDS - begun))" "$log"
        return "$status"
    fi
    printf '   done in %d s\n' "$((SECONDS - begun))"
}

# A line every 20 seconds, for as long as the script lives.
still_working() {
    local seconds=0
    while sleep 1 && kill -0 $$ 2>/dev/null; do
        if ((++seconds % 20 == 0)); then
            printf '   ... %d s; see %s\n' "$seconds" "$1"
        fi
    done
}

# install_missing PACKAGE...: installs those Debian packages that are not there yet.
install_missing() {
    local package missing=()
    if ! command -v dpkg-query >/dev/null; then
        printf 'Not a Debian system: taking it that these are there: %s\n' "$*"
        return
    fi
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    if ((${#missing[@]} > 0)); then
        heading "Installing ${missing[*]}"
        as_root true || fail "needs root or sudo; as root, run: apt-get install ${missing[*]}"
        logged packages apt_install "${missing[@]}" || fail "these packages could not be installed"
    fi
}

is_installed() {
    [[ $(dpkg-query -W -f='${Status}' "$1" 2>/dev/null) == 'install ok installed' ]]
}

# The timeout waits for another apt that holds the lock.
apt_install() {
    as_root apt-get update &&
        as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
            -o DPkg::Lock::Timeout=120 "$@"
}

as_root() {
    if ((EUID == 0)); then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        return 1
    fi
}
