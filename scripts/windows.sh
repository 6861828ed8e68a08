#!/usr/bin/env bash
# Builds the library for Windows and tests it with Wine.
#
# Usage: scripts/windows.sh [toolchain | dialogs | build | test | package | ready]
#   toolchain  builds what a Windows build needs, see below, unless it is there
#   dialogs    adds to it what the library's dialogs need, which builds have from then on
#   build      also builds the library, the examples and the tests: build/windows
#   test       also runs the tests; the default. CTest's options may follow, as in test -R streams
#   package    also packs the library, with what it needs, into build/windows/Quarn-*.zip
#   ready      builds nothing; whether (by its status) the toolchain is there
#
# The toolchain is MinGW-w64 from Debian; Qt (Core and Test) and OpenSSL's libcrypto, which are built
# from Debian's sources of what this system has; and links to the system's Boost headers. On two
# processors with nothing else to do it takes about 15 minutes, once, and the dialogs, with Qt's Gui and
# Widgets, 30 more, in
#   $QUARN_WINDOWS_CACHE, or ${XDG_CACHE_HOME:-~/.cache}/quarn-windows
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

cache=${QUARN_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/quarn-windows}
export QUARN_WINDOWS_CACHE=$cache # for cmake/mingw-w64.cmake
prefix=$cache/prefix
work=$cache/work
tools=x86_64-w64-mingw32
gcc=$tools-gcc-posix

source_version() { dpkg-query --show --showformat '${source:Version}' "$1" 2>/dev/null; }

# The file that says that a part of the toolchain is there, in its present form.
stamp() {
    case $1 in
        qt6-base) printf '%s\n' "$prefix/qt6-base_$(source_version qt6-base-dev)_1" ;;
        dialogs) printf '%s\n' "$prefix/dialogs_$(source_version qt6-base-dev)_1" ;;
        openssl) printf '%s\n' "$prefix/openssl_$(source_version libssl-dev)_1" ;;
        runtime) printf '%s\n' "$prefix/runtime_$(source_version gcc-mingw-w64-x86-64-posix-runtime)_1" ;;
    esac
}

ready() {
    local part
    for part in runtime openssl qt6-base; do
        [ -e "$(stamp "$part")" ] || return 1
    done
    [ -x /usr/lib/wine/wine64 ]
}

# What every program of the compiler loads, and Boost: its headers alone, since those of the system's
# libc must stay out of sight, as a package that CMake finds.
link_runtime() {
    local file package=$prefix/lib/cmake/Boost version
    mkdir -p "$prefix/bin" "$prefix/include" "$package"
    for file in libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll; do
        ln -sfn "$(realpath "$("$gcc" -print-file-name="$file")")" "$prefix/bin/$file"
    done
    ln -sfn /usr/include/boost "$prefix/include/boost"
    version=$(sed -n 's/^#define BOOST_LIB_VERSION "\(.*\)"/\1/p' /usr/include/boost/version.hpp)
    cat >"$package/BoostConfig.cmake" <<'END'
if(NOT TARGET Boost::headers)
  add_library(Boost::headers INTERFACE IMPORTED)
  target_include_directories(Boost::headers INTERFACE "${CMAKE_CURRENT_LIST_DIR}/../../../include")
endif()
END
    cat >"$package/BoostConfigVersion.cmake" <<END
set(PACKAGE_VERSION ${version//_/.})
if(NOT PACKAGE_FIND_VERSION VERSION_GREATER PACKAGE_VERSION)
  set(PACKAGE_VERSION_COMPATIBLE TRUE)
endif()
END
}

build_openssl() {
    local build=$work/openssl-build
    mkdir -p "$build"
    cd "$build"
    quietly ../openssl/Configure mingw64 no-asm no-shared no-tests no-engine no-dso \
        "CC=$(type -P ccache) $gcc" AR="$tools-ar" RANLIB="$tools-ranlib" RC="$tools-windres"
    quietly nice make -j"$(nproc)" build_generated libcrypto.a
    mkdir -p "$prefix/include" "$prefix/lib"
    rm -rf "$prefix/include/openssl"
    cp -r "$work/openssl/include/openssl" include/openssl "$prefix/include/"
    cp libcrypto.a "$prefix/lib/"
}

# No feature is built that neither the library nor its tests use; tabletevent is beyond Debian's sources.
configure_qt() {
    local feature features=()
    for feature in accessibility_atspi_bridge concurrent dbus direct2d direct2d1_1 directwrite \
        directwrite3 directwritecolrv1 gif glib ico icu jpeg network opengl opengl_desktop \
        opengl_dynamic pdf printsupport sql style_windowsvista system_doubleconversion \
        system_freetype system_harfbuzz system_libb2 system_pcre2 system_png system_zlib tabletevent \
        textmarkdownreader textmarkdownwriter textodfwriter vulkan xml zstd; do
        features+=("-DFEATURE_$feature=OFF")
    done
    quietly cmake -S "$work/qt6-base" -B "$work/qt6-build" -G Ninja \
        "-DCMAKE_TOOLCHAIN_FILE=$project_dir/cmake/mingw-w64.cmake" -DCMAKE_BUILD_TYPE=Release \
        "-DCMAKE_INSTALL_PREFIX=$prefix" "${launchers[@]}" \
        -DQT_BUILD_TESTS=OFF -DQT_BUILD_EXAMPLES=OFF -DINPUT_opengl=no "${features[@]}"
}

build_qt() {
    local part
    configure_qt
    visibly nice cmake --build "$work/qt6-build" --target Core Test src/entrypoint/all
    cd "$work/qt6-build"
    quietly cmake -DCMAKE_INSTALL_LOCAL_ONLY=1 -P cmake_install.cmake
    for part in 3rdparty/pcre2 3rdparty/zlib corelib entrypoint testlib; do
        quietly cmake -DCMAKE_INSTALL_DO_STRIP=1 -P "src/$part/cmake_install.cmake"
    done
}

build_dialogs() {
    configure_qt
    visibly nice cmake --build "$work/qt6-build"
    quietly cmake --install "$work/qt6-build" --strip
}

# build_part NAME SOURCE VERSION COMMAND: gets the sources and has them built, unless that was done.
build_part() {
    local done_file
    done_file=$(stamp "$1")
    [ -e "$done_file" ] && return
    if [ ! -d "$work/$2" ]; then
        say "Fetching the sources of $2 $3"
        fetch_debian_source "$work" "$2" "$3"
    fi
    say "Building $1 for Windows"
    ("$4")
    touch "$done_file"
}

build_toolchain() { # [dialogs]
    install_missing_packages library tests windows
    mkdir -p "$work" "$prefix"
    exec 9>"$cache/lock"
    flock 9
    launchers=()
    command -v ccache >/dev/null \
        && launchers=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    link_runtime
    touch "$(stamp runtime)"
    build_part openssl openssl "$(source_version libssl-dev)" build_openssl
    build_part qt6-base qt6-base "$(source_version qt6-base-dev)" build_qt
    [ $# -eq 0 ] || build_part dialogs qt6-base "$(source_version qt6-base-dev)" build_dialogs
    rm -rf "$work"
    flock -u 9
}

case ${1-test} in
    ready) ready ;;
    toolchain) build_toolchain ;;
    dialogs) build_toolchain dialogs ;;
    build)
        build_toolchain
        configure_and_build windows
        ;;
    test)
        [ $# -eq 0 ] || shift
        build_toolchain
        configure_and_build windows
        say "Testing windows"
        cd "$project_dir"
        scripts/wine.sh build/windows/wine --start
        trap 'scripts/wine.sh build/windows/wine --stop' EXIT
        ctest --preset windows "$@"
        ;;
    package)
        build_toolchain
        configure_and_build windows
        (cd "$project_dir/build/windows" && cpack)
        ;;
    *)
        sed -n '2,/^set /{/^set /d;s/^# \{0,1\}//;p}' "$0"
        [[ $1 == -h || $1 == --help ]] || exit 2
        ;;
esac
