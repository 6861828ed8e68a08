# Shared by the scripts beside it; source it. They set work, a folder to build in.
# shellcheck shell=bash

consumer_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

say() { printf '%s\n' "-- $*"; }

# consume NAME EXPECTED_QT CMAKE_ARGUMENT...: builds and runs the foreign project.
consume() {
    local build=$work/$1 expected=$2
    say "consumer: $1"
    cmake -S "$consumer_dir" -B "$build" -G Ninja --log-level=WARNING "${@:3}" >"$work/log" \
        && cmake --build "$build" >>"$work/log" || { cat "$work/log"; return 1; }
    "$build/consumer" | tee "$work/said"
    grep -q "^Qt $expected\." "$work/said"
}

# consume_by_pkg_config FILE [LIBRARY_FOLDER]: the same with the flags that a .pc file gives, and with
# nobody to show a folder, where a desktop library that isn't found would be told.
consume_by_pkg_config() {
    local name flags said
    name=$(basename "$1" .pc)
    say "consumer: pkg-config, $1"
    export PKG_CONFIG_PATH=${1%/*}
    pkg-config --exists "$name >= 1.0" && ! pkg-config --exists "$name >= 2" || return 1
    flags=$(pkg-config --cflags --libs "$name")
    # shellcheck disable=SC2086 # words are what is wanted
    g++ -std=c++17 "$consumer_dir/consumer.cpp" -o "$work/by-pkg-config" $flags
    said=$(env -i PATH=/nowhere LC_ALL=C.UTF-8 ${2:+LD_LIBRARY_PATH="$2"} "$work/by-pkg-config" / 2>&1)
    [[ $said == "Qt ${name#quarn-qt}."*"library" ]] || { echo "$said"; return 1; }
}
