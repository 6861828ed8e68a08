#!/usr/bin/env bash
# Runs a Windows program with Wine, as CTest does for the preset windows.
#
# Usage: scripts/wine.sh PREFIX PROGRAM [ARGUMENT...]
#        scripts/wine.sh PREFIX --start | --stop
# PREFIX is the folder of Wine's settings and drive C:, which is made when it is missing. The program
# finds the libraries in its own folder and those of the toolchain that scripts/windows.sh builds. With --start
# Wine's own processes run until --stop, which ends all that there is; otherwise each program waits
# for its own.
set -euo pipefail

[ $# -ge 2 ] || { sed -n '2,/^set /{/^set /d;s/^# \{0,1\}//;p}' "$0" && exit 2; }
wine=/usr/lib/wine/wine64
[ -x "$wine" ] || wine=$(type -P wine64) || { echo "wine.sh: wine64 is missing" >&2 && exit 2; }
cache=${QUARN_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/quarn-windows}
mkdir -p "$1"
WINEPREFIX=$(cd "$1" && pwd)
export WINEPREFIX WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all}
export WINEPATH=${WINEPATH:-Z:${cache//\//\\}\\prefix\\bin}
export WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
shift

# Of programs that start at once, one makes the prefix and the others wait for it.
if [ ! -e "$WINEPREFIX/quarn-ready" ]; then
    exec 9>"$WINEPREFIX/quarn-lock"
    flock 9
    if [ ! -e "$WINEPREFIX/quarn-ready" ]; then
        {
            "$wine" wineboot --init
            # Wine keeps the environment's variables of Qt from the programs.
            for setting in QT_FORCE_STDERR_LOGGING=1 QT_QPA_PLATFORM=offscreen; do
                "$wine" reg add 'HKEY_CURRENT_USER\Environment' /f /v "${setting%=*}" /d "${setting#*=}"
            done
        } </dev/null >/dev/null 2>&1 9>&-
        touch "$WINEPREFIX/quarn-ready"
    fi
    exec 9>&-
fi

server=${wine%64}server64
[ -x "$server" ] || server=$(type -P wineserver)
stop() { ! "$server" -k || "$server" -w; } # the first is false when none runs
case $1 in
    --start)
        stop # what an earlier run left
        # They keep no pipe open that somebody reads to its end.
        "$server" -p </dev/null >/dev/null 2>&1
        exec "$wine" wineboot </dev/null >/dev/null 2>&1
        ;;
    --stop) stop ;;
    *) exec "$wine" "$@" ;;
esac
