#!/usr/bin/env bash
# checkWindows.sh SOURCE BUILD: builds the foreign project against an installation of the build for
# Windows, and against its zip unpacked elsewhere, and runs it with Wine; with the zip it has no other
# libraries than those in there, as has the relay.
set -euo pipefail
source_dir=$1
build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

consume() { # NAME PREFIX
    printf '%s\n' "-- consumer: $1"
    {
        cmake -S "$source_dir/tests/consumer" -B "$work/$1" -G Ninja \
            "-DCMAKE_TOOLCHAIN_FILE=$source_dir/cmake/mingw-w64.cmake" \
            "-DCMAKE_FIND_ROOT_PATH=$2" -DCMAKE_PREFIX_PATH=/ -DCMAKE_BUILD_TYPE=Release
        cmake --build "$work/$1"
    } >"$work/log" || { cat "$work/log"; return 1; }
    "$source_dir/scripts/wine.sh" "$build/wine" "$work/$1/consumer.exe" | tr -d '\r' | tee "$work/said"
    grep -q '^Qt 6\.' "$work/said"
}
windows_path() { printf 'Z:%s' "${1//\//\\}"; }

cache=${QUARN_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/quarn-windows}
cmake --install "$build" --prefix "$work/prefix" >/dev/null
WINEPATH="$(windows_path "$work/prefix/bin");$(windows_path "$cache/prefix/bin")" \
    consume installed "$work/prefix"

(cd "$build" && cpack -B "$work/zip" >/dev/null)
mkdir "$work/elsewhere"
(cd "$work/elsewhere" && cmake -E tar xf "$work"/zip/Quarn-*.zip)
unpacked=$(echo "$work"/elsewhere/*)
WINEPATH=$(windows_path "$unpacked/bin") consume unpacked "$unpacked"

# What the relay signs openssl takes, and the other way round.
export WINEPATH=C:\\windows
relay() { "$source_dir/scripts/wine.sh" "$build/wine" "$unpacked/bin/quarn-relay.exe" "$@"; }
printf '%s\n' "-- relay: unpacked"
cd "$work"
relay --help | grep -q -- --signature
openssl genpkey -algorithm RSA -out key 2>/dev/null
openssl pkey -in key -pubout -out public
head -c 3000000 /dev/urandom >data
relay --sign --signature made --key key --save copy data
cmp data copy
openssl dgst -sha256 -verify public -signature made data
relay --json --quiet --signature made --key public - <data | grep '"verdict":"valid"'
if relay --quiet --signature public --key public --save none data 2>said; then exit 1; fi
grep -q 'does not match' said
[ ! -e none ]

# A program with dialogs, elsewhere; its user sits at Qt's platform for tests, which comes with it.
if [ -e "$unpacked/bin/Qt6Widgets.dll" ]; then
    printf '%s\n' "-- dialogs: unpacked"
    mkdir -p dialogs/platforms
    cp "$build/bin/DialogsTest.exe" "$cache/prefix/bin/Qt6Test.dll" dialogs
    cp "$cache/prefix/plugins/platforms/qoffscreen.dll" dialogs/platforms
    WINEPATH=$(windows_path "$unpacked/bin")
    "$source_dir/scripts/wine.sh" "$build/wine" dialogs/DialogsTest.exe 2>&1 | grep ' 0 failed'
    # The plugin in the zip is found, too: without it nothing would be told.
    "$source_dir/scripts/wine.sh" "$build/wine" dialogs/DialogsTest.exe -platform windows -functions \
        | grep remembersTheFolder
fi

du -h "$work"/zip/Quarn-*.zip
(cd "$unpacked" && find . -maxdepth 3 | sort)
