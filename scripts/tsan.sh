#!/usr/bin/env bash
# Runs the tests of everything with threads in it under the thread sanitizer: not one report is
# accepted, and nothing is suppressed. Then plants a race, to see that it would be reported.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

families='multiuser|companion|streams|access|signature|filejobs|fileoperations' # those that there are

install_missing_packages library tests
qt=$("$project_dir/scripts/tsan-qt.sh")
configure_and_build tsan

export LD_LIBRARY_PATH=$qt
export QT_NO_GLIB=1 # nobody sees what GLib's event loop does either
export TSAN_OPTIONS="halt_on_error=1 die_after_fork=0" # QProcess forks, and harmlessly so
launch=()
# The sanitizer of GCC 12 can't place its memory where addresses vary by more bits than that.
[ "$(cat /proc/sys/vm/mmap_rnd_bits)" -le 28 ] || launch=(setarch --addr-no-randomize)

[[ $(ldd "$project_dir/build/tsan/tests/multiuser/MultiUserStressTest") == *"$qt/libQt6Core"* ]] \
    || fail "the tests don't run with the QtCore in $qt"

say "Testing"
"${launch[@]}" ctest --test-dir "$project_dir/build/tsan" --output-on-failure \
    --tests-regex "^($families)\\." || fail "a test failed or a race was reported"

say "Planting a race: a buffer that is written without its lock"
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
tar -C "$project_dir" --exclude=./build* --exclude=./.git -c . | tar -C "$copy" -x
source=src/Quarn/multiuser/MultiUserBuffer.cpp
sed -i '/MultiUserBuffer::writeLocked(/,/^}/ { /QMutexLocker locker(&m_lock)/d }' "$copy/$source"
cmp -s "$project_dir/$source" "$copy/$source" && fail "there is no lock to remove in $source"
# The paths in the copy differ; ccache is not to mind.
(project_dir=$copy CCACHE_BASEDIR=$copy CCACHE_NOHASHDIR=1; export CCACHE_BASEDIR CCACHE_NOHASHDIR
    configure_and_build tsan -- MultiUserStressTest)
for run in {1..10}; do
    "${launch[@]}" "$copy/build/tsan/tests/multiuser/MultiUserStressTest" \
        >"$copy/log" 2>&1 || true
    if grep -q 'ThreadSanitizer: data race' "$copy/log" \
        && grep -qE 'kel::MultiUserBuffer::write(Locked|Data)' "$copy/log"; then
        say "Reported in run $run. No race in the library"
        exit 0
    fi
done
tail -n 50 "$copy/log" >&2
fail "the planted race was not reported in $run runs"
