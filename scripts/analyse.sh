#!/usr/bin/env bash
# Analyses the sources without running them: cppcheck, in seconds, and with --tidy clang-tidy, which
# takes minutes the first time, and later looks only at what has changed. A finding fails. Mend it, or
# say in scripts/cppcheck.txt or a NOLINT why it is none.
#
# Usage: scripts/analyse.sh [--tidy [SOURCE]...]   all sources of the library, unless some are given
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

cd "$project_dir"
install_missing_packages cppcheck
say "Running cppcheck"
quietly cppcheck --quiet --error-exitcode=1 --std=c++17 --library=qt --platform=unix64 \
    --enable=warning,performance,portability --inline-suppr --suppressions-list=scripts/cppcheck.txt \
    -Isrc src/Quarn examples fuzz tools || fail "cppcheck has findings"

if [ "${1:-}" = --tidy ]; then
    shift
    install_missing_packages library tests analysis
    # Only what is generated has to be built; clang-tidy compiles on its own.
    configure_and_build clang-tidy -DCMAKE_CXX_CLANG_TIDY= -- Quarn_autogen QuarnDesktop_autogen
    if [ $# -eq 0 ]; then
        mapfile -t sources < <(find src/Quarn -name '*.cpp' ! -path '*/windows/*')
        set -- "${sources[@]}"
    fi
    say "Running clang-tidy on $# sources"
    # A source is skipped while nothing of it, its headers and the checks has changed since it was clean.
    stamps=${XDG_CACHE_HOME:-$HOME/.cache}/quarn-tidy
    mkdir -p "$stamps"
    find "$stamps" -type f -mtime +90 -delete
    tidy() {
        set -o pipefail
        local stamp
        stamp=$stamps/$({
            cat .clang-tidy
            clang-tidy --version
            python3 -c 'import json, shlex, subprocess, sys
for entry in json.load(open("build/clang-tidy/compile_commands.json")):
    if entry["file"].endswith("/" + sys.argv[1]):
        command = shlex.split(entry["command"])
        command[command.index("-o") + 1] = "-"
        print(subprocess.run(command + ["-E", "-C"], cwd=entry["directory"], check=True,
                             stdout=subprocess.PIPE).stdout)
        break
else:
    sys.exit(1)' "$1"
        } | sha256sum | cut -c1-64) || stamp='' # one that this build leaves out is always looked at
        [ -n "$stamp" ] && [ -e "$stamp" ] && return
        clang-tidy -p build/clang-tidy --quiet --warnings-as-errors='*' "$1" || return
        [ -z "$stamp" ] || touch "$stamp"
    }
    export -f tidy
    export stamps
    printf '%s\0' "$@" | xargs -0 -n 1 -P "$(nproc)" bash -c 'tidy "$1"' tidy \
        || fail "clang-tidy has findings"
fi
