#!/usr/bin/env bash
# Installs the Debian packages into a new root of Debian (bookworm, or what QUARN_SUITE says), builds
# and runs foreign programs there for each Qt and for both, and removes the packages again. Makes the
# packages first; with FOLDER it takes what scripts/packages.sh has made there. Needs root, and the
# net for Debian's packages, which are kept in ~/.cache/quarn-packages.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

suite=${QUARN_SUITE:-bookworm}
cache=${XDG_CACHE_HOME:-$HOME/.cache}/quarn-packages
base=$cache/$suite.tar

[ "$(id -u)" -eq 0 ] || fail "needs root, to make a root of Debian and to install packages there"
install_missing_packages packages
folder=${1:-$project_dir/build/packages}
[ $# -gt 0 ] || "$project_dir/scripts/packages.sh" "$folder"

work=$(mktemp -d)
trap 'rm -rf --one-file-system "$work"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
root=$work/root

mkdir -p "$cache/archives-$suite/partial"
if [ ! -e "$base" ]; then
    say "Making a root of Debian $suite"
    quietly debootstrap --variant=minbase --include=ca-certificates,cmake,g++,ninja-build,pkg-config \
        "$suite" "$root" || fail "debootstrap failed"
    tar --create --file "$base.new" -C "$root" --exclude './var/cache/apt/archives/*.deb' .
    mv "$base.new" "$base"
else
    mkdir "$root"
    tar --extract --file "$base" -C "$root"
fi

mkdir "$root/quarn"
cp -r "$folder" "$root/quarn/packages"
cp -r "$project_dir/tests/consumer" "$root/quarn/consumer"
cp "$project_dir/README.md" "$project_dir/docs/using.md" "$root/quarn/"
cp /etc/resolv.conf /etc/hosts "$root/etc/"
(cd "$root/quarn/packages" && dpkg-scanpackages --multiversion . >Packages 2>/dev/null)
echo "deb [trusted=yes] file:/quarn/packages ./" >"$root/etc/apt/sources.list.d/quarn.list"
echo force-unsafe-io >"$root/etc/dpkg/dpkg.cfg.d/fast" # the root is thrown away
printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d" # nothing is started
chmod +x "$root/usr/sbin/policy-rc.d"

say "Installing, using and removing the packages on Debian $suite"
# Mounts and processes are gone with the shell that this starts.
ROOT=$root ARCHIVES=$cache/archives-$suite \
    unshare --mount --pid --fork --kill-child bash -euo pipefail -c '
        mount --bind "$ARCHIVES" "$ROOT/var/cache/apt/archives"
        mount --rbind /dev "$ROOT/dev"
        mount -t proc proc "$ROOT/proc"
        exec env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
            DEBIAN_FRONTEND=noninteractive chroot "$ROOT" bash /quarn/consumer/checkPackages.sh' </dev/null
