#!/usr/bin/env bash
# Builds and tests the library: Qt 6 with GCC, Qt 5 with Clang under the address, leak and undefined
# behaviour sanitizers, and an installation of both. Sets the machine up first where need be. The
# build for Windows is tested, too, where scripts/windows.sh has built its toolchain before; otherwise
# the test "windows" checks that the sources compile for it.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# What was compiled in another clone need not be compiled again, wherever that one lies.
export CCACHE_BASEDIR=$project_dir CCACHE_NOHASHDIR=1

install_missing_packages library benchmarks tests
status=0
"$project_dir/scripts/analyse.sh" || status=1
configure_and_build ci-qt5
configure_and_build ci -DQUARN_BUILD_BENCHMARKS=ON \
    "-DQUARN_QT5_BUILD=$project_dir/build/ci-qt5"
configure_and_build asan -DQUARN_BUILD_BENCHMARKS=ON

without=()
if "$project_dir/scripts/windows.sh" ready; then
    without=(--exclude-regex '^windows$')
    # Wine's own hiccups aren't to stop anybody; what fails once shows in the output all the same.
    "$project_dir/scripts/windows.sh" test --repeat until-pass:2 || status=1
else
    say "Windows: without a toolchain (scripts/windows.sh builds one) the sources are compiled only"
fi
for preset in asan ci; do
    say "Testing $preset"
    (cd "$project_dir" && ctest --preset "$preset" "${without[@]}") || status=1
done
exit $status
