#!/usr/bin/env bash
# Builds the relay and runs it: with the arguments given here, or on a signed file of its own, most
# of which goes through the disk.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

relay=$project_dir/build/release/tools/relay/quarn-relay
least_bytes=$((64 * 1024 * 1024))

# At least 64 MiB of real files of this system, packed into one.
collect_data() {
    find /usr/lib /usr/share -xdev -type f -size -4096k -readable -printf '%s %p\n' 2>/dev/null |
        awk -v least="$least_bytes" '
            bytes <= least { bytes += $1; sub(/^[0-9]+ /, ""); print }' >"$folder/files"
    # A file that vanishes meanwhile doesn't matter: the size decides.
    tar --create --absolute-names --files-from "$folder/files" --file "$1" 2>/dev/null || true
    [ "$(stat -c %s "$1")" -ge "$least_bytes" ] || fail "this system has less than 64 MiB of files"
}

# Runs the relay and insists on its exit status.
expect_status() {
    local expected=$1 status=0
    shift
    printf '$ quarn-relay %s\n' "$*"
    (cd "$folder" && "$relay" "$@") || status=$?
    [ "$status" -eq "$expected" ] || fail "exit status $status instead of $expected"
}

show() {
    folder=$(mktemp -d)
    trap 'rm -rf "$folder"' EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM

    say "Packing and signing real files of this system"
    collect_data "$folder/data.tar"
    {
        openssl genrsa -out "$folder/private.pem" 2048
        openssl rsa -in "$folder/private.pem" -pubout -out "$folder/key.pem"
        openssl dgst -sha256 -sign "$folder/private.pem" -out "$folder/data.sig" "$folder/data.tar"
    } 2>/dev/null || fail "openssl cannot sign"

    expect_status 0 --signature data.sig --key key.pem --save copy.tar --readers 4 --memory 16M \
        data.tar
    cmp "$folder/data.tar" "$folder/copy.tar" || fail "the copy differs"
    say "The copy is the same, byte for byte"

    say "Damaging one byte of the copy"
    damage "$folder/copy.tar"
    expect_status 1 --signature data.sig --key key.pem --save refused.tar copy.tar
    [ ! -e "$folder/refused.tar" ] || fail "a damaged file was saved"
    say "The damaged copy was refused, and nothing was saved"
}

# Turns the byte in the middle of a file into another one.
damage() {
    local middle byte
    middle=$(($(stat -c %s "$1") / 2))
    byte=$(od -An -tu1 -j "$middle" -N 1 "$1")
    printf '%b' "$(printf '\\x%x' $((byte ^ 1)))" |
        dd of="$1" bs=1 seek="$middle" conv=notrunc status=none
}

install_missing_packages library
configure_and_build release -- quarn-relay
if [ $# -gt 0 ]; then
    exec "$relay" "$@"
fi
show
