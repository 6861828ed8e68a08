#!/usr/bin/env bash
# Runs every fuzz target of fuzz/ under the address and undefined behaviour sanitizers. Inputs that
# lead to new code are kept in ~/.cache/quarn-fuzz for the next run. A finding is left there, under
# findings/: mend it, and put the input into fuzz/regressions/TARGET/, which the tests replay.
#
# Usage: scripts/fuzz.sh [SECONDS [TARGET]...]   10 seconds for each target, all targets
#        scripts/fuzz.sh --coverage              how much the inputs that are kept reach
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

cache=${XDG_CACHE_HOME:-$HOME/.cache}/quarn-fuzz
install_missing_packages library fuzzing
targets=()
for source in "$project_dir"/fuzz/*.cpp; do
    name=$(basename "$source" .cpp)
    [ "$name" = replay ] || targets+=("$name")
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TMPDIR=$work LC_ALL=C.UTF-8 # the targets' own files go with it

# inputs TARGET: the folders with inputs that there are, the one that grows in front.
inputs() {
    local folder
    mkdir -p "$cache/corpus/$1"
    for folder in "$cache/corpus/$1" "$project_dir/fuzz/"{corpus,regressions}"/$1"; do
        [ ! -d "$folder" ] || echo "$folder"
    done
}

if [ "${1:-}" = --coverage ]; then
    configure_and_build coverage -- "${targets[@]/#/fuzz-}"
    llvm_cov=$(compgen -c llvm-cov | sort -V | head -n 1)
    llvm_profdata=$(compgen -c llvm-profdata | sort -V | head -n 1)
    printf '%-14s %s\n' target 'lines of the target reached'
    for target in "${targets[@]}"; do
        program=$project_dir/build/coverage/fuzz/fuzz-$target
        mapfile -t folders < <(inputs "$target")
        LLVM_PROFILE_FILE=$work/$target.raw "$program" "${folders[@]}" 2>"$work/log" \
            || { tail -n 20 "$work/log" >&2; fail "$target does not pass"; }
        "$llvm_profdata" merge -o "$work/$target.data" "$work/$target.raw"
        "$llvm_cov" report "$program" -instr-profile="$work/$target.data" \
            "$project_dir/fuzz/$target.cpp" | awk -v target="$target" \
            '$1 ~ "(^|/)" target "[.]cpp$" { printf "%-14s %s of %d\n", target, $10, $8 }'
    done
    exit
fi

seconds=${1:-10}
shift || true
[ $# -eq 0 ] || targets=("$@")
configure_and_build fuzz
mkdir -p "$cache/findings"
status=0
for target in "${targets[@]}"; do
    mapfile -t folders < <(inputs "$target")
    if "$project_dir/build/fuzz/fuzz/fuzz-$target" -max_total_time="$seconds" -timeout=25 \
        -max_len=8192 -print_final_stats=1 -artifact_prefix="$cache/findings/$target-" \
        "${folders[@]}" >"$work/log" 2>&1; then
        runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log")
        printf '%-14s %8d runs in %d seconds, no finding\n' "$target" "$runs" "$seconds"
    else
        tail -n 60 "$work/log" >&2
        printf '%-14s a finding\n' "$target"
        status=1
    fi
done
exit $status
