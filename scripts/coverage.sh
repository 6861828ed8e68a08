#!/usr/bin/env bash
# Runs the tests with Clang's coverage and tells for each family of the library how many lines and
# branches they reach, and which lines they don't.
#
# Usage: scripts/coverage.sh             the figures; fails below 95 % of lines or 90 % of branches
#        scripts/coverage.sh --gaps      and each line that was not reached
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
# Some tests run hundreds of processes: what these leave is joined at once.
LLVM_PROFILE_FILE=$work/%4m.profraw ctest --test-dir "$project_dir/build/coverage" -j 2 \
    --output-on-failure --exclude-regex '^(format|windows|installation|docs|headers)' >"$work/log" 2>&1 \
    || { tail -n 40 "$work/log" >&2; say "Some tests failed; the figures are what the others reach"; }
"$llvm_profdata" merge -o "$work/data" "$work"/*.profraw

export_coverage() {
    "$llvm_cov" export --format=lcov "$project_dir/build/coverage/src/Quarn/libQuarn-qt6.so" \
        -object "$project_dir/build/coverage/src/Quarn/libQuarn-qt6-desktop.so.1" \
        -ignore-filename-regex=_autogen -instr-profile="$work/data" \
        "$project_dir/src/Quarn"
}

export_coverage | awk -v gaps="${1:-}" '
    function percent(hit, found) { return found == 0 ? 100 : 100 * hit / found }
    function row(name, lines, linesHit, branches, branchesHit) {
        return sprintf("%-12s %7d %7.1f %% %9d %7.1f %%", name, lines, percent(linesHit, lines),
            branches, percent(branchesHit, branches))
    }
    BEGIN { FS = "[:,]"; printf "%-12s %7s %9s %9s %9s\n", "family", "lines", "reached", "branches", "reached" }
    /^SF:/ {
        file = substr($0, 4)
        sub(".*/src/Quarn/", "", file)
        family = file
        sub("/.*", "", family)
        families[family] = 1
    }
    /^DA:/ {
        ++lines[family]
        if ($3 > 0) ++linesHit[family]
        else missed[file] = missed[file] " " $2
    }
    /^BRDA:/ {
        ++branches[family]
        if ($5 != "-" && $5 > 0) ++branchesHit[family]
    }
    END {
        for (family in families) {
            print row(family, lines[family], linesHit[family], branches[family], branchesHit[family]) \
                | "sort"
            l += lines[family]; lh += linesHit[family]
            b += branches[family]; bh += branchesHit[family]
        }
        close("sort")
        print row("all", l, lh, b, bh)
        if (gaps != "")
            for (file in missed)
                print file ":" missed[file] | "sort"
        close("sort")
        exit percent(lh, l) < 95 || percent(bh, b) < 90
    }'
