#!/usr/bin/env bash
# Run by scripts/check-packages.sh in a root of Debian whose apt knows Quarn's packages: installs them
# as a user would, builds and runs the foreign project with them, and removes them without a trace.
set -euo pipefail
work=$(mktemp -d)
# shellcheck source=tests/consumer/consume.sh
source "$(dirname "${BASH_SOURCE[0]}")/consume.sh"

apt() {
    say "apt-get $*"
    apt-get --yes --no-install-recommends -o APT::AutoRemove::RecommendsImportant=false \
        -o APT::AutoRemove::SuggestsImportant=false "$@" >"$work/apt" 2>&1 || { cat "$work/apt"; return 1; }
}
pc_dir=/usr/lib/$(g++ -print-multiarch)/pkgconfig

apt update
dpkg-query -W >"$work/before"

apt install libquarn-qt6-dev
consume qt6 6
consume_by_pkg_config "$pc_dir/quarn-qt6.pc"

say "the program of the README, built as the manual says"
first_block() { awk -v "start=\`\`\`$2" 'on && /^```$/ { exit } on; $0 == start { on = 1 }' "$1"; }
mkdir "$work/program"
first_block /quarn/README.md cpp >"$work/program/main.cpp"
first_block /quarn/using.md cmake >"$work/program/CMakeLists.txt"
cmake -S "$work/program" -B "$work/program/build" -G Ninja >"$work/log" \
    && cmake --build "$work/program/build" >>"$work/log" || { cat "$work/log"; exit 1; }
[ "$("$work/program/build/program")" = "written while it is read" ]

apt install libquarn-qt5-dev
consume both-newest 6
consume both-for-the-qt-found 5 -DCONSUMER_QT=5 -DCONSUMER_REFUSES=6
consume both-asked-for 6 -DQUARN_QT_VERSION_MAJOR=6 -DCONSUMER_REFUSES=5
consume_by_pkg_config "$pc_dir/quarn-qt6.pc"
consume_by_pkg_config "$pc_dir/quarn-qt5.pc"

apt purge --autoremove libquarn-qt6-dev
consume qt5 5
consume_by_pkg_config "$pc_dir/quarn-qt5.pc"

say "every package together"
mapfile -t all < <(sed -n 's/^Package: //p' /quarn/packages/Packages)
apt install "${all[@]}"
for library in "${pc_dir%/*}"/libQuarn-qt?.so.1; do
    id=$(readelf -n "$library" | sed -n 's/.*Build ID: //p')
    say "debug symbols of $library"
    test -s "/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug"
done
if command -v quarn-relay; then
    quarn-relay --version
fi

apt purge "${all[@]}"
apt purge --autoremove
say "nothing is left"
dpkg-query -W | diff "$work/before" -
if find / -xdev -ipath '*quarn*' ! -path '/quarn*' ! -path '/etc/apt/*' ! -path '/var/lib/apt/*' | grep . \
    || ldconfig --print-cache | grep -i quarn; then
    exit 1
fi
