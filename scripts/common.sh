# Shared by the scripts beside it; source it. Functions for setting up, configuring and building.
# They print to standard error and leave standard input alone: both other streams belong to the
# program that a script runs in the end.
# shellcheck shell=bash

project_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { printf '==> %s\n' "$*" >&2; }

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 2
}

# Runs a command with its output kept for when it fails.
quietly() {
    local log
    log=$(mktemp)
    if ! "$@" </dev/null >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}

# The same, but on a terminal the output is there to watch.
visibly() {
    if [ -t 2 ]; then "$@" </dev/null >&2; else quietly "$@"; fi
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        if [ -t 2 ]; then sudo "$@"; else sudo -n "$@"; fi # without a terminal nobody can answer
    else
        fail "packages are missing and neither root nor sudo is at hand; install those in scripts/packages.txt"
    fi
}

# install_missing_packages SECTION...: installs what those sections of scripts/packages.txt list and
# the machine lacks.
install_missing_packages() {
    local line section='' missing=()
    while read -r line; do
        case $line in
            '' | '#'*) ;;
            '['*) section=${line//[][]/} ;;
            *)
                [[ " $* " == *" $section "* ]] || continue
                [ "$(dpkg-query -W -f='${db:Status-Status}' "$line" 2>/dev/null)" = installed ] \
                    || missing+=("$line")
                ;;
        esac
    done <"$project_dir/scripts/packages.txt"
    [ ${#missing[@]} -eq 0 ] && return
    say "Installing ${#missing[@]} packages: ${missing[*]}"
    quietly as_root apt-get update || fail "apt-get update failed"
    quietly as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
        "${missing[@]}" || fail "the packages could not be installed"
}

# configure_and_build PRESET [CMAKE_ARGUMENT...] [-- TARGET...]: builds build/PRESET.
configure_and_build() {
    local preset=$1 arguments=()
    shift
    while [ $# -gt 0 ] && [ "$1" != -- ]; do
        arguments+=("$1")
        shift
    done
    [ $# -gt 0 ] && shift
    command -v ccache >/dev/null && export CMAKE_CXX_COMPILER_LAUNCHER=ccache
    say "Building $preset"
    (
        cd "$project_dir"
        quietly cmake --preset "$preset" "${arguments[@]}" \
            && visibly cmake --build "build/$preset" ${1:+--target "$@"}
    ) || fail "preset $preset could not be built"
}
