#!/usr/bin/env bash
# Searches a core image for passwords and a passphrase after 1,000 look-ups and changes of tokens,
# 1,000 passwords for KelFileAccess and 50 attempts with the passphrase, half of them wrong, in UTF-8,
# UTF-16 and UTF-32. Fails when one is left, or when one that is kept on purpose isn't found.
#
# Usage: scripts/core-image.sh
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_missing_packages library tests
command -v gcore >/dev/null || fail "gcore is missing; it comes with gdb"
configure_and_build ci -- secrets
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# copies [planted]: how many words there are in the image of the program.
copies() {
    coproc program { exec "$project_dir/build/ci/tests/soak/secrets" "$@" 2>/dev/null; }
    local pid=$program_PID
    read -r -u "${program[0]}"
    quietly gcore -o "$work/core" "$pid"
    echo >&"${program[1]}"
    wait "$pid"
    python3 - "$work/core.$pid" <<'END'
import mmap, os, sys
found = 0
with open(sys.argv[1], "rb") as file, mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as image:
    for number in range(90): # then they repeat
        word = "".join(chr(33 + (i * i * 7 + i * 3 + number * 11) % 90) for i in range(16, 40))
        for encoding in "utf-8", "utf-16-le", "utf-32-le": # without what the heap overwrites
            if image.find(word.encode(encoding)) >= 0:
                found += 1
                print("word", number, "in", encoding, file=sys.stderr)
print(found, "copies in", os.path.getsize(sys.argv[1]) >> 20, "MiB")
END
}

left=$(copies)
control=$(copies planted)
printf 'left: %s\nwith one planted: %s\n' "$left" "$control"
[[ $left == "0 "* && $control == "1 "* ]] || exit 1
