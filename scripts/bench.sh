#!/usr/bin/env bash
# Runs the benchmarks and prints them as ratios to the limit of the machine, beside their goals.
# Fails when a goal is missed by more than a tenth.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

usage="usage: bench.sh [--record | FILTER]
  FILTER    runs those benchmarks alone whose name matches, such as '^lines/', without memory
  --record  puts tables and plots into docs/performance.md"

build=$project_dir/build/release
output=$build/benchmarks/results
page=$project_dir/docs/performance.md
record='' filter=''
case ${1:-} in
    -h | --help)
        echo "$usage"
        exit 0
        ;;
    --record) record=yes ;;
    -*) fail "unknown option $1; $usage" ;;
    *) filter=${1:-} ;;
esac
[ $# -le 1 ] || fail "too many arguments; $usage"

measure_times() {
    say "Measuring times; this takes about ten minutes, on a machine that does nothing else"
    TMPDIR=$scratch "$build/benchmarks/quarn-benchmarks" --benchmark_filter="${filter:-.}" \
        --benchmark_repetitions=7 --benchmark_enable_random_interleaving=true \
        --benchmark_min_time=0.1 --benchmark_out="$output/times.json" \
        --benchmark_out_format=json >"$output/times.txt" 2>&1 ||
        fail "the benchmarks failed: $(tail -n 1 "$output/times.txt")"
}

# Runs a command and adds to $peak what it takes of memory at most, in KiB.
add_peak() {
    /usr/bin/time --format %M --output "$scratch/peak" "$@" >/dev/null 2>"$scratch/errors" ||
        fail "$1 failed: $(cat "$scratch/errors")"
    peak=$((peak + $(tail -n 1 "$scratch/peak")))
}

# peak_of WHAT PROGRAM COMMAND...
peak_of() {
    local peak=0 what=$1 program=$2
    shift 2
    add_peak "$@"
    printf '"%s","%s",%d\n' "$what" "$program" "$peak" >>"$output/peaks.csv"
}

make_peak_input() {
    local folder
    head -c 1G /dev/urandom >"$scratch/data"
    for folder in $(seq 1000); do mkdir -p "$scratch/tree/$folder"; done
    (cd "$scratch/tree" && seq 200000 | awk '{ print ($1 % 1000 + 1) "/" $1 ($1 % 2 ? ".txt" : ".dat") }' |
        xargs touch)
    openssl genrsa -out "$scratch/private.pem" 2048 2>/dev/null
    openssl rsa -in "$scratch/private.pem" -pubout -out "$scratch/key.pem" 2>/dev/null
    openssl dgst -sha256 -sign "$scratch/private.pem" -out "$scratch/data.sig" "$scratch/data"
}

measure_peaks() {
    local peaks=$build/benchmarks/peaks/quarn-peaks data=$scratch/data peak=0 what by
    declare -A names=([quarn]=Quarn [qt]="Qt" [std]="standard library")
    say "Measuring memory"
    make_peak_input
    echo 'what,program,KiB' >"$output/peaks.csv"
    peak_of 'nothing' 'Quarn and Qt, loaded' "$peaks" nothing

    what='1 GiB verified and saved'
    peak_of "$what" 'relay, which keeps it for late readers' "$build/tools/relay/quarn-relay" \
        --signature "$data.sig" --key "$scratch/key.pem" --save "$scratch/copy" "$data"
    # What the programs of a pipeline take together.
    add_peak cat "$data"
    add_peak tee "$scratch/copy" <"$data"
    add_peak openssl dgst -sha256 -verify "$scratch/key.pem" -signature "$data.sig" "$data"
    printf '"%s","cat, tee and openssl",%d\n' "$what" "$peak" >>"$output/peaks.csv"

    for by in quarn qt std; do
        rm -f "$scratch/copy"
        peak_of '1 GiB copied' "${names[$by]}" "$peaks" copy "$by" "$data" "$scratch/copy"
    done
    for by in quarn qt; do
        peak_of 'SHA-1 of 1 GiB' "${names[$by]}" "$peaks" digest "$by" "$data"
    done
    peak_of 'SHA-1 of 1 GiB' openssl openssl dgst -sha1 "$data"
    for by in quarn qt std; do
        peak_of 'half of 200,000 files found' "${names[$by]}" "$peaks" find "$by" "$scratch/tree"
    done
    peak_of 'half of 200,000 files found' 'find, which keeps none' find "$scratch/tree" -name '*.txt'
    rm -rf "${scratch:?}"/*
}

install_missing_packages library benchmarks
configure_and_build release -DQUARN_BUILD_BENCHMARKS=ON -- quarn-benchmarks quarn-peaks quarn-relay
mkdir -p "$output"
place=${TMPDIR:-/tmp}
[ -w /dev/shm ] && [ "$(df --output=avail -BG /dev/shm | tr -dc 0-9)" -ge 4 ] && place=/dev/shm
scratch=$(mktemp -d -p "$place")
trap 'rm -rf "$scratch"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

arguments=("$output/times.json")
if [ -z "$filter" ]; then
    measure_peaks
    arguments+=(--peaks "$output/peaks.csv")
fi
measure_times
if [ -n "$record" ]; then
    mkdir -p "${page%.md}"
    arguments+=(--plots "${page%.md}" --record "$page")
elif [ -z "$filter" ]; then
    arguments+=(--plots "$output")
fi
python3 -B "$project_dir/benchmarks/report" "${arguments[@]}"
