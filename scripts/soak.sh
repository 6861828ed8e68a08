#!/usr/bin/env bash
# Has all families of the library work for 60 minutes, or as many as are given, and watches memory,
# descriptors and threads every ten seconds. Fails when memory is for a minute more than 1 MiB above
# the most of the first fifth of the time, or when descriptors or threads change after that.
#
# Usage: scripts/soak.sh [MINUTES]
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_missing_packages library tests
configure_and_build ci -- soak
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
TMPDIR=$work "$project_dir/build/ci/tests/soak/soak" "${1:-60}"
