#!/usr/bin/env bash
# Runs the tests with Clang's coverage, the fault tests and the children of all of them included, and
# tells for each family of the library how many lines and branches they reach. A branch is one outcome
# of one condition; what a template's instantiations reach counts together.
#
# Usage: scripts/coverage.sh             the figures; fails below 95 % of lines or 90 % of branches
#        scripts/coverage.sh --gaps      and each line and condition that was not reached
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_missing_packages library tests fuzzing
configure_and_build coverage
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
llvm_cov=$(compgen -c llvm-cov | sort -V | head -n 1)
llvm_profdata=$(compgen -c llvm-profdata | sort -V | head -n 1)

say "Testing"
# One file for each binary (%m), which its processes share as memory (%c): it holds what was reached
# by a process that is killed, too.
LLVM_PROFILE_FILE=$work/%m%c.profraw ctest --test-dir "$project_dir/build/coverage" -j 2 \
    --output-on-failure --exclude-regex '^(format|windows|installation|docs|headers)' >"$work/log" 2>&1 \
    || { grep -E -A 1 '^(FAIL!|QFATAL|Segm)|\*\*\*[A-Z]' "$work/log" >&2
        say "Some tests failed; the figures are what the others reach"; }
# All that was done with root's rights; a plain user is refused what root isn't.
if [ "$(id -u)" -eq 0 ]; then
    chmod -R a+rwX "$work"
    for test in "$project_dir"/build/coverage/tests/{fileoperations,filejobs,fileutils}/*Test; do
        LLVM_PROFILE_FILE=$work/%m%c.profraw LC_ALL=C.UTF-8 setpriv --reuid=65534 --regid=65534 \
            --clear-groups "$test" >"$work/log" 2>&1 \
            || { grep -A 1 '^FAIL!' "$work/log" >&2; say "$(basename "$test") failed for a plain user"; }
    done
fi
"$llvm_profdata" merge -o "$work/data" "$work"/*.profraw

# export_coverage OPTION...: what was reached, in a form of llvm-cov's.
export_coverage() {
    "$llvm_cov" export "$@" "$project_dir/build/coverage/src/Quarn/libQuarn-qt6.so" \
        -object "$project_dir/build/coverage/src/Quarn/libQuarn-qt6-desktop.so.1" \
        -ignore-filename-regex=_autogen -instr-profile="$work/data" "$project_dir/src/Quarn"
}

export_coverage --format=lcov >"$work/lines"
export_coverage >"$work/branches"
python3 "$project_dir/scripts/coverage.py" "$work/lines" "$work/branches" "$@"
