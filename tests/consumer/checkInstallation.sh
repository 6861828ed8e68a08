#!/usr/bin/env bash
# checkInstallation.sh SOURCE BUILD_QT6 BUILD_QT5: installs both builds into one new prefix, compares
# the headers, and builds and runs the foreign project against them in every documented way.
set -euo pipefail
source_dir=$1
build6=$2
build5=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

say() { printf '%s\n' "-- $*"; }
consume() { # NAME EXPECTED_QT CMAKE_ARGUMENT...
    local build=$work/$1 expected=$2
    say "consumer: $1"
    cmake -S "$source_dir/tests/consumer" -B "$build" -G Ninja --log-level=WARNING "${@:3}" >"$work/log" \
        && cmake --build "$build" >>"$work/log" || { cat "$work/log"; return 1; }
    "$build/consumer" | tee "$work/said"
    grep -q "^Qt $expected\." "$work/said"
}

cmake --install "$build6" --prefix "$prefix" >/dev/null
cp -r "$prefix/include" "$work/include-qt6"
cmake --install "$build5" --prefix "$prefix" >/dev/null
say "headers are the same for both builds"
diff -r "$work/include-qt6" "$prefix/include"

moved=$work/moved # an installation can be moved as a whole
mv "$prefix" "$moved"
say "build paths stay out of the installation"
! grep -rIlE --include='*.cmake' --include='*.pc' --include='*.h' -e "$build6" -e "$build5" -e "$source_dir" "$moved"
export CMAKE_PREFIX_PATH=$moved

consume newest 6
consume for-the-qt-found 5 -DCONSUMER_QT=5 -DCONSUMER_REFUSES=6
consume asked-for 5 -DQUARN_QT_VERSION_MAJOR=5
consume asked-for-6 6 -DQUARN_QT_VERSION_MAJOR=6 -DCONSUMER_REFUSES=5
consume sub-folder 6 -DQUARN_SOURCE="$source_dir" -DQUARN_QT_VERSION_MAJOR=6

for example in background-save relay; do
    say "example outside the tree: $example"
    cmake -S "$source_dir/examples/$example" -B "$work/$example" -G Ninja >"$work/log" \
        && cmake --build "$work/$example" >>"$work/log" || { cat "$work/log"; exit 1; }
done

export PKG_CONFIG_PATH=$moved/lib/pkgconfig
for qt in 5 6; do
    say "consumer: pkg-config, Qt $qt"
    # shellcheck disable=SC2046 # words are what is wanted
    g++ -std=c++17 -fPIC "$source_dir/tests/consumer/consumer.cpp" -o "$work/by-pkg-config" \
        $(pkg-config --cflags --libs "quarn-qt$qt")
    # With nobody to show the folder; a desktop library that isn't found would be told.
    said=$(env -i PATH=/nowhere LD_LIBRARY_PATH="$moved/lib" "$work/by-pkg-config" / 2>&1)
    [[ $said == "Qt $qt."*"library" ]] || { echo "$said"; exit 1; }
done
