#!/usr/bin/env bash
# Builds a QtCore with the thread sanitizer from the Debian sources of the installed Qt 6, and prints
# the folder of the library. It is kept for the next time, once for each version, in
#   ${XDG_CACHE_HOME:-~/.cache}/quarn-tsan-qt/VERSION
#
# The distribution's own QtCore is no use: the sanitizer doesn't see what happens inside its mutexes
# and event queues, and reports whatever they protect.
set -euo pipefail
exec 3>&1 >&2 # the folder is all that goes to standard output
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

build() {
    # -fno-builtin: the compiler expands small memcpy() calls in place, unseen by the sanitizer.
    local flags="-O1 -g1 -fno-builtin -fno-omit-frame-pointer" feature off=()
    for feature in concurrent dbus gui icu network printsupport sql testlib widgets xml; do
        off+=("-DFEATURE_$feature=OFF")
    done
    quietly cmake -S "$work/qt6-base" -B "$work/build" -G Ninja \
        -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ -DCMAKE_BUILD_TYPE=None \
        "-DCMAKE_C_FLAGS=$flags" "-DCMAKE_CXX_FLAGS=$flags" \
        -DFEATURE_sanitizer=ON -DFEATURE_sanitize_thread=ON -DECM_ENABLE_SANITIZERS=thread \
        -DBUILD_WITH_PCH=OFF -DQT_HOST_PATH=/usr -DQT_BUILD_TESTS=OFF -DQT_BUILD_EXAMPLES=OFF \
        -DFEATURE_glib=ON "${off[@]}" # QtGui, which is not built here, needs its symbols
    quietly nice cmake --build "$work/build" --target Core
}

version=$(dpkg-query --show --showformat '${source:Version}' qt6-base-dev)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/quarn-tsan-qt/$version
work=$cache/work
mkdir -p "$work"
exec 9>"$cache/lock"
flock 9
if [ ! -d "$cache/lib" ]; then
    if [ ! -d "$work/qt6-base" ]; then
        dpkg-query -s dpkg-dev libglib2.0-dev >/dev/null 2>&1 \
            || quietly as_root apt-get install -y dpkg-dev libglib2.0-dev
        say "Fetching the sources of Qt $version"
        fetch_debian_source "$work" qt6-base "$version"
    fi
    say "Building QtCore with the thread sanitizer (about 7 minutes on 2 processors)"
    build
    mv "$work/build/lib" "$cache/lib"
fi
rm -rf "$work"
printf '%s\n' "$cache/lib" >&3
