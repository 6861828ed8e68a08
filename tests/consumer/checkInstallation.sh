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

# shellcheck source=tests/consumer/consume.sh
source "$(dirname "${BASH_SOURCE[0]}")/consume.sh"

cmake --install "$build6" --prefix "$prefix" >/dev/null
cp -r "$prefix" "$work/qt6-alone"
cmake --install "$build5" --prefix "$prefix" >/dev/null
say "what both builds install is the same"
for folder in include share; do
    diff -r "$work/qt6-alone/$folder" "$prefix/$folder"
done

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
for shared in ON OFF; do
    say "fetched, with and without its tests; BUILD_SHARED_LIBS=$shared"
    cmake -S "$source_dir/tests/consumer" -B "$work/fetched-$shared" -G Ninja --log-level=WARNING \
        -DQUARN_SOURCE="$source_dir" -DQUARN_FETCHED=ON -DQUARN_BUILD_TESTS=$shared \
        -DBUILD_SHARED_LIBS=$shared >"$work/log" || { cat "$work/log"; exit 1; }
    ctest --test-dir "$work/fetched-$shared" -N >"$work/tests"
    ninja -C "$work/fetched-$shared" -t commands consumer >"$work/log"
    if [ $shared = ON ]; then
        grep -q 'libQuarn-qt6\.so\.1' "$work/log"
        grep -q StreamUtilsTest "$work/tests"
    else
        grep -q 'libQuarn-qt6\.a' "$work/log"
        if grep StreamUtilsTest "$work/tests"; then exit 1; fi
    fi
done

for example in background-save capture copy-tree file-jobs follow-log inbox log-on-once notes pin-publisher producer-and-readers receive-download sign-release verify-download; do
    say "example outside the tree: $example"
    cmake -S "$source_dir/examples/$example" -B "$work/$example" -G Ninja >"$work/log" \
        && cmake --build "$work/$example" >>"$work/log" || { cat "$work/log"; exit 1; }
done

say "the tool, as it is installed and outside the tree"
cmake -S "$source_dir/tools/relay" -B "$work/relay" -G Ninja >"$work/log" \
    && cmake --build "$work/relay" >>"$work/log" || { cat "$work/log"; exit 1; }
cmake --install "$work/relay" --prefix "$work/relay-alone" >/dev/null
for folder in bin share; do
    diff -r <(cd "$moved" && find "$folder" -name '*quarn-relay*' | sort) \
        <(cd "$work/relay-alone" && find "$folder" -name '*quarn-relay*' | sort)
done
"$moved/bin/quarn-relay" --quiet --save "$work/relayed" "$source_dir/README.md"
cmp "$work/relayed" "$source_dir/README.md"

for folder in "$moved/lib" "$work/static/lib"; do
    for file in "$folder"/pkgconfig/*.pc; do
        consume_by_pkg_config "$file" "$folder"
    done
done
say "pkg-config drops the folders of the system"
DESTDIR=$work/staged cmake --install "$build6" --prefix /usr >/dev/null
! PKG_CONFIG_PATH=$work/staged/usr/lib/pkgconfig pkg-config --cflags --libs quarn-qt6 \
    | grep -E -- '(-I/usr/include|-L/usr/lib|-L.*\.\.) '
