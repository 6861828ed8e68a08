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
if grep -rlF -e "$build6" -e "$build5" -e "$source_dir" "$moved"; then exit 1; fi
export CMAKE_PREFIX_PATH=$moved

consume newest 6
consume for-the-qt-found 5 -DCONSUMER_QT=5 -DCONSUMER_REFUSES=6
consume asked-for 5 -DQUARN_QT_VERSION_MAJOR=5
consume asked-for-6 6 -DQUARN_QT_VERSION_MAJOR=6 -DCONSUMER_REFUSES=5
consume sub-folder 5 -DQUARN_SOURCE="$source_dir" -DCONSUMER_QT=5 -DBUILD_SHARED_LIBS=OFF \
    -DQUARN_INSTALL=ON -DCMAKE_INSTALL_PREFIX="$work/static" -DCMAKE_INSTALL_LIBDIR="$work/static/lib"
cmake --install "$work/sub-folder" >/dev/null
CMAKE_PREFIX_PATH=$work/static consume static 5

for example in background-save capture copy-tree file-jobs follow-log log-on-once notes pin-publisher producer-and-readers receive-download relay sign-release verify-download; do
    say "example outside the tree: $example"
    cmake -S "$source_dir/examples/$example" -B "$work/$example" -G Ninja >"$work/log" \
        && cmake --build "$work/$example" >>"$work/log" || { cat "$work/log"; exit 1; }
done

for folder in "$moved/lib" "$work/static/lib"; do
    for file in "$folder"/pkgconfig/*.pc; do
        say "consumer: pkg-config, $file"
        flags=$(PKG_CONFIG_PATH=${file%/*} pkg-config --cflags --libs "$(basename "$file" .pc)")
        # shellcheck disable=SC2086 # words are what is wanted
        g++ -std=c++17 "$source_dir/tests/consumer/consumer.cpp" -o "$work/by-pkg-config" $flags
        # With nobody to show the folder; a desktop library that isn't found would be told.
        said=$(env -i PATH=/nowhere LC_ALL=C.UTF-8 LD_LIBRARY_PATH="$folder" "$work/by-pkg-config" / 2>&1)
        [[ $said == "Qt "*"library" ]] || { echo "$said"; exit 1; }
    done
done
say "pkg-config drops the folders of the system"
DESTDIR=$work/staged cmake --install "$build6" --prefix /usr >/dev/null
! PKG_CONFIG_PATH=$work/staged/usr/lib/pkgconfig pkg-config --cflags --libs quarn-qt6 \
    | grep -E -- '(-I/usr/include|-L/usr/lib|-L.*\.\.) '
