# Shared by the scripts beside it; source it. Functions for setting up, configuring and building.
# shellcheck shell=bash

project_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { printf '==> %s\n' "$*"; }

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 2
}

# Runs a command with its output kept for when it fails.
quietly() {
    local log
    log=$(mktemp)
    if ! "$@" >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        fail "packages are missing and neither root nor sudo is at hand; install those in scripts/packages.txt"
    fi
}

# Installs what scripts/packages.txt lists and the machine lacks.
install_missing_packages() {
    local package missing=()
    while read -r package; do
        case $package in '' | '#'*) continue ;; esac
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] \
            || missing+=("$package")
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
            && quietly cmake --build "build/$preset" ${1:+--target "$@"}
    ) || fail "preset $preset could not be built"
}
