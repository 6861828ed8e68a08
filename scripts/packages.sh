#!/usr/bin/env bash
# Makes the Debian packages of both builds, with their debug symbols apart, in FOLDER (build/packages)
# and shows what lintian finds wrong with them. DEBFULLNAME and DEBEMAIL sign them.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

folder=$(realpath -m "${1:-$project_dir/build/packages}")

# CPack's packages of debug symbols have sums of files that they don't have, and no documents.
finish_symbols() {
    local package tree
    package=$(dpkg-deb --field "$1" Package)
    tree=$(mktemp -d)
    dpkg-deb --raw-extract "$1" "$tree"
    mkdir -p "$tree/usr/share/doc"
    ln -s "${package%-dbgsym}" "$tree/usr/share/doc/$package"
    sed -i '/^Package-Type:/d' "$tree/DEBIAN/control"
    find "$tree/usr" -type f -exec chmod 644 {} +
    (cd "$tree" && find usr -type f -exec md5sum {} + >DEBIAN/md5sums)
    chmod 755 "$tree"
    quietly dpkg-deb --root-owner-group -Zxz --build "$tree" "${1%.ddeb}.deb"
    rm -r "$1" "$tree"
}

install_missing_packages library packages
# How Debian builds its packages.
eval "$(dpkg-buildflags --export=sh)"
export CXXFLAGS="$CXXFLAGS $CPPFLAGS"
configure_and_build package -DCPACK_OUTPUT_FILE_PREFIX="$folder"
configure_and_build package -- docs
configure_and_build package-qt5 -DCPACK_OUTPUT_FILE_PREFIX="$folder"

say "Packing"
mkdir -p "$folder"
rm -f "$folder"/*.deb "$folder"/*.ddeb
(
    # Of Qt 5 without the headers, the manual and the tools, which are there already.
    cd "$project_dir/build" \
        && quietly cpack --config package/CPackConfig.cmake \
        && quietly cpack --config package-qt5/CPackConfig.cmake -D "CPACK_COMPONENTS_ALL=Runtime;Devel"
) || fail "the packages could not be made"
for symbols in "$folder"/*.ddeb; do
    finish_symbols "$symbols"
done

say "Checking with lintian"
lintian --allow-root --fail-on error,warning --display-level '>=warning' "$folder"/*.deb >&2 \
    || fail "the packages are not as Debian wants them"
ls "$folder"/*.deb
