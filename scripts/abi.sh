#!/usr/bin/env bash
# Compares what applications were compiled against with a description of it that was stored: the
# exported symbols, the sizes of the public classes, the order of their virtual functions, the places of
# their fields and the values of their enumerators.
# Additions are welcome. What changed or has gone fails, unless abi/allowed.txt names it.
#
# Usage: scripts/abi.sh                                 the library, for both Qts
#        scripts/abi.sh BUILD_FOLDER                    the one that was built in this folder
#        scripts/abi.sh --describe BUILD_FOLDER         prints a description, to store after a release
set -euo pipefail
export LC_ALL=C # one order of lines everywhere
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Prints the fields that applications can use, and the enumerators, from the compiler's debug
# information as readelf shows it: a line for each entry, with its depth, and one for each attribute.
fields_and_enumerators() {
    awk '
        function scope(name, i) {
            for (i = 1; i < depth; ++i)
                if (names[i] != "")
                    name = name (name == "" ? "" : "::") names[i]
            return name
        }
        function finish(within) {
            within = scope()
            if (tag == "member" && place != "" && name !~ /^_vptr/ \
                && (access == "" ? tags[depth - 1] != "class_type" : access < 3))
                print "field", within "::" name, "at", place
            if (tag == "enumerator")
                print "enumerator", within "::" name, value
        }
        / \(DW_TAG_[a-zA-Z_]*\)$/ {
            finish()
            split($1, opened, /[<>]/)
            depth = opened[2]
            gsub(/.*DW_TAG_|\)$/, "")
            tags[depth] = tag = $0
            name = names[depth] = place = access = value = ""
            next
        }
        { attribute = $2; sub(/:$/, "", attribute) }
        attribute == "DW_AT_name" { sub(/.*: /, ""); name = names[depth] = $0 }
        attribute == "DW_AT_data_member_location" { place = $NF }
        attribute == "DW_AT_accessibility" { sub(/.*: */, ""); access = $1 }
        attribute == "DW_AT_const_value" { value = $NF }
        END { finish() }' | grep -E '^[a-z]+ (kel::|kelm)'
}

# describe BUILD_FOLDER QT: the symbols, and GCC's own account of each class in the public headers.
describe() {
    local build=$1 qt=$2 header includes
    read -ra includes <<<"$(pkg-config --cflags-only-I "Qt${qt}Core")"
    # Debug builds also show what the compiler makes of templates of others.
    nm --dynamic --defined-only --format=posix "$build/src/Quarn/libQuarn-qt$qt.so" \
        | sed -nE 's/^(_Z(T[a-z]*([^N]*_)?)?(T[ISTV])?N?K?(3kel|1[0-9]kelm)[^ ]*).*/symbol \1/p'
    (
        cd "$project_dir/src"
        find Quarn -name '*.h' ! -name '*_p.h' ! -path '*/platform/*' | sort | while read -r header; do
            echo "#include <$header>"
        done
    ) >"$work/all.cpp"
    g++ -std=c++17 -fPIC -c -g -fno-eliminate-unused-debug-types -fdump-lang-class="$work/classes" \
        -I"$project_dir/src" -I"$build/include" "${includes[@]}" "$work/all.cpp" -o "$work/all.o"
    awk '
        /QPrivateSignal$/ { next }
        /^Class (kel::|kelm)/ { class = $2 }
        class != "" && /^ +size=/ { print "class", class, $1, $2; class = "" }
        /^Vtable for (kel::|kelm)/ { table = $3; entry = -1; next }
        table != "" && /^$/ { table = "" }
        table != "" {
            sub(/^[0-9]+ +|.*: /, "")
            gsub(/\(int \(\*\)\(\.\.\.\)\)/, "")
            if ($0 !~ /^-?[0-9]+$/) # an offset, which follows from the sizes
                print "vtable", table, entry++ < 0 ? "has" : entry - 1, $0
        }' "$work/classes"
    readelf --debug-dump=info "$work/all.o" | fields_and_enumerators
}

# check BUILD_FOLDER QT
check() {
    local stored=$project_dir/abi/quarn-qt$2.txt
    describe "$@" | sort -u >"$work/present"
    sed 's/ *#.*//; /^$/d' "$project_dir/abi/allowed.txt" >"$work/allowed"
    comm -23 "$stored" "$work/present" | grep -vwFf "$work/allowed" >"$work/missing" || true
    if [ -s "$work/missing" ]; then
        say "$(wc -l <"$work/missing") lines of abi/$(basename "$stored") no longer hold of $1, such as"
        head -n 40 "$work/missing" | c++filt >&2
        return 1
    fi
    say "All $(wc -l <"$stored") lines of abi/$(basename "$stored") hold of $1"
}

# qt_of BUILD_FOLDER
qt_of() {
    local library
    library=$(echo "$1"/src/Quarn/libQuarn-qt?.so)
    [ -e "$library" ] || fail "no library was built in $1"
    sed 's/.*-qt\(.\).so/\1/' <<<"$library"
}

if [ "${1:-}" = --describe ]; then
    describe "$2" "$(qt_of "$2")" | sort -u
elif [ $# -gt 0 ]; then
    check "$1" "$(qt_of "$1")"
else
    install_missing_packages library tests
    for preset in dev dev-qt5; do
        configure_and_build "$preset" -- Quarn
        "$0" "$project_dir/build/$preset"
    done
fi
