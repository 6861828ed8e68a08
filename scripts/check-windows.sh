#!/usr/bin/env bash
# Checks that every source of the library and of the relay compiles as Windows code: the syntax and the
# types, with the MinGW compiler against the Qt headers of this system, for Qt 5 and Qt 6. Nothing is
# linked or run. Needs g++-mingw-w64-x86-64 and the development packages of both Qts.
#
# Usage: scripts/check-windows.sh [5|6]...
set -euo pipefail
cd "$(dirname "$0")/.."

# The variant that knows the threads of the standard library.
compiler=x86_64-w64-mingw32-g++-posix
if ! command -v "$compiler" > /dev/null; then
    echo "check-windows: $compiler is missing; install g++-mingw-w64-x86-64" >&2
    exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
multiarch=$(gcc -print-multiarch)

# The headers of this system's libc must stay out of sight, so the others are linked one by one.
mkdir -p "$work/include/Quarn" "$work/include/openssl"
ln -s /usr/include/boost "$work/include/boost"
ln -s /usr/include/openssl/*.h "/usr/include/$multiarch/openssl/"*.h "$work/include/openssl/"
cat > "$work/include/Quarn/quarn_export.h" << 'HEADER'
#define QUARN_EXPORT __declspec(dllexport)
#define QUARN_NO_EXPORT
HEADER
echo '#define QUARN_VERSION_STRING ""' > "$work/include/Quarn/quarn_version.h"

# What moc makes of a file: X.moc for a source that includes it, moc_X.cpp for a header.
run_moc() {
    local moc=$1 generated=$2 file name
    grep -lrE '^ *Q_(OBJECT|GADGET|NAMESPACE)\b' src/Quarn tools/relay | while read -r file; do
        name=$(basename "$file")
        case $file in
            */linux/*) ;;
            *.cpp) "$moc" -DQ_OS_WIN -Isrc "$file" -o "$generated/${name%.cpp}.moc" ;;
            *.h) "$moc" -DQ_OS_WIN -Isrc "$file" -o "$generated/moc_${name%.h}.cpp" ;;
        esac
    done
}

# The code around embedded files is the same whatever they hold, so an empty one will do.
run_rcc() {
    local rcc=$1 generated=$2
    touch "$generated/empty"
    echo '<RCC><qresource><file>empty</file></qresource></RCC>' > "$generated/empty.qrc"
    "$rcc" --name QuarnTranslations "$generated/empty.qrc" -o "$generated/translationsResource.inc"
}

check() {
    local qt=$1 headers tools generated flags sources
    headers=/usr/include/$multiarch/qt$qt
    case $qt in
        5) tools=/usr/lib/qt5/bin ;;
        6) tools=/usr/lib/qt6/libexec ;;
        *) echo "check-windows: no Qt $qt" >&2 && return 1 ;;
    esac
    if [ ! -e "$headers/QtCore/qt_windows.h" ]; then
        echo "check-windows: Qt $qt: left out, the headers of this system's Qt hold nothing for Windows"
        return
    fi
    generated=$work/qt$qt
    mkdir -p "$generated"
    run_moc "$tools/moc" "$generated"
    run_rcc "$tools/rcc" "$generated"

    flags=(-std=c++17 -fsyntax-only -Wall -Wextra -Werror
        -DUNICODE -D_UNICODE -D_WIN32_WINNT=0x0A00
        -DQT_NO_CAST_FROM_ASCII -DQT_NO_CAST_TO_ASCII -DQT_NO_KEYWORDS -DQT_NO_FOREACH
        -DQT_DISABLE_DEPRECATED_BEFORE=0x050F00
        '-DQUARN_DESKTOP_LIBRARY="Quarn-desktop"' -DQUARN_DESKTOP_VERSION=1
        -Isrc -Itools/relay -I"$generated" -isystem "$work/include" -isystem "$headers")
    for module in Core Gui Widgets; do
        flags+=(-isystem "$headers/Qt$module")
    done

    mapfile -t sources < <(find src/Quarn tools/relay "$generated" -name '*.cpp' ! -path '*/linux/*' | sort)
    echo "check-windows: Qt $qt: ${#sources[@]} sources"
    printf '%s\0' "${sources[@]}" | xargs -0 -n 1 -P "$(nproc)" "$compiler" "${flags[@]}"
}

if [ $# -eq 0 ]; then
    set -- 5 6
fi
for qt in "$@"; do
    check "$qt"
done
echo "check-windows: all compile"
