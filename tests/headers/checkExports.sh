#!/usr/bin/env bash
# checkExports.sh SOURCE LIBRARY: the library exports what its public headers declare, and no more.
set -euo pipefail
declared=$(find "$1/src/Quarn" -name '*.h' ! -name '*_p.h' -exec grep -h QUARN_EXPORT {} + \
    | sed -E 's/.*QUARN_EXPORT //; s/( :| final|[({;]).*//; s/.*[ *&]//' | sort -u | paste -sd '|')
exported=$(nm --dynamic --demangle --defined-only --format=posix "$2" \
    | sed -E 's/^(vtable|VTT|typeinfo|typeinfo name) for |^(virtual|non-virtual) thunk to //')
if grep -vE "^(kel::)?($declared)(::|\(| )" <<<"$exported"; then
    echo "$2 exports these, which no public header declares" >&2
    exit 1
fi
