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

# fetch_debian_source FOLDER PACKAGE VERSION: downloads the source package and unpacks it, with its
# patches where the mirror has them, as FOLDER/PACKAGE. The system's own package lists stay as they
# are: apt gets private ones, in FOLDER/apt, from the system's sources of Debian turned from deb to
# deb-src.
fetch_debian_source() (
    apt=$1/apt unpacked=$1/$2
    if [ ! -d "$apt/state" ]; then
        mkdir -p "$apt/sources" "$apt/archives/partial"
        # shellcheck disable=SC2016 # $(SOURCESENTRY) is for apt
        apt-get indextargets --format '$(SOURCESENTRY)' 'Created-By: Packages' 'Origin: Debian' \
            | sed 's/:[0-9]*$//' | sort -u \
            | while read -r file; do
                case $file in
                    *.sources) sed -E 's/^(Types:).*/\1 deb-src/' "$file" ;;
                    *) sed -nE 's/^deb(-src)?[[:space:]]/deb-src /p' "$file" ;;
                esac >"$apt/sources/${file##*/}"
            done
    fi
    [ -n "$(ls "$apt/sources")" ] || fail "apt knows no sources of Debian; run apt-get update"
    apt_get=(apt-get
        -o "Dir::Etc::SourceList=/dev/null" -o "Dir::Etc::SourceParts=$apt/sources"
        -o "Dir::State=$apt/state" -o "Dir::Cache=$apt" -o "APT::Sandbox::User=$(id -un)")
    cd "$apt"
    if [ ! -d state/lists ]; then
        mkdir -p state/lists/partial
        quietly "${apt_get[@]}" update
    fi
    rm -rf "$unpacked" "$unpacked.unpacking"
    if "${apt_get[@]}" --only-source --download-only source "$2=$3" >download.log 2>&1; then
        quietly dpkg-source --no-check --extract "$2"_*.dsc "$unpacked.unpacking"
    elif quietly "${apt_get[@]}" --only-source --download-only --tar-only source "$2=$3"; then
        say "Debian's patches of $2 $3 cannot be had; the original source has to do"
        mkdir "$unpacked.unpacking"
        tar -xf "$2"_*.orig.tar.?z --strip-components=1 -C "$unpacked.unpacking"
    else
        cat download.log >&2
        return 1
    fi
    mv "$unpacked.unpacking" "$unpacked"
)

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
