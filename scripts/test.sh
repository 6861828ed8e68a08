#!/usr/bin/env bash
# Builds and tests the library: Qt 6 with GCC, Qt 5 with Clang under the address, leak and undefined
# behaviour sanitizers, and an installation of both. Sets the machine up first where need be.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_missing_packages library benchmarks tests
status=0
"$project_dir/scripts/analyse.sh" || status=1
configure_and_build ci-qt5
configure_and_build ci -DQUARN_BUILD_BENCHMARKS=ON \
    "-DQUARN_QT5_BUILD=$project_dir/build/ci-qt5"
configure_and_build asan -DQUARN_BUILD_BENCHMARKS=ON

for preset in asan ci; do
    say "Testing $preset"
    (cd "$project_dir" && ctest --preset "$preset") || status=1
done
exit $status
