#!/usr/bin/env bash
# Runs the tests of all families, and the examples, under the thread sanitizer: not one report is
# accepted, and nothing is suppressed. Then plants a race, to see that it would be reported.
#
# Left out is what runs no program, or none that was built with the sanitizer (format, headers, docs,
# windows, installation, packages; faults, which stands in front of the same functions as the
# sanitizer), or none that has a second thread (fuzz), and besides
#   filemanager, filedialogs, and the example file-jobs: there Qt has threads of its own, the one of
#       QDBusConnection and the one of QFileSystemModel, in libraries that were built without the
#       sanitizer. It doesn't see their locks, and so reports programs that use no more than these, too.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

left_out='format|headers|docs|windows|installation|packages|faults|fuzz|filemanager|filedialogs'
left_out="^($left_out)(\.|\$)|^examples\.file-jobs\$"
started=$SECONDS

install_missing_packages library tests
qt=$("$project_dir/scripts/tsan-qt.sh")
configure_and_build tsan

QT_PLUGIN_PATH=$(qtpaths6 --query QT_INSTALL_PLUGINS) # the other QtCore was built to look elsewhere
export QT_PLUGIN_PATH
export LD_LIBRARY_PATH=$qt
export QT_NO_GLIB=1 # nobody sees what GLib's event loop does either
# The tests look at this, too, where the sanitizer makes a difference.
export TSAN_OPTIONS="halt_on_error=1 die_after_fork=0" # QProcess forks, and harmlessly so
launch=()
# The sanitizer of GCC 12 can't place its memory where addresses vary by more bits than that.
[ "$(cat /proc/sys/vm/mmap_rnd_bits)" -le 28 ] || launch=(setarch --addr-no-randomize)

[[ $(ldd "$project_dir/build/tsan/tests/multiuser/MultiUserStressTest") == *"$qt/libQt6Core"* ]] \
    || fail "the tests don't run with the QtCore in $qt"

say "Testing"
"${launch[@]}" ctest --test-dir "$project_dir/build/tsan" --output-on-failure \
    --exclude-regex "$left_out" || fail "a test failed or a race was reported"
log=$project_dir/build/tsan/Testing/Temporary/LastTest.log
say "$(awk '
    /^Test Passed/ { ++programs }
    /^Totals: / { functions += $2 }
    END { print programs " programs, " functions " test functions, no report" }' "$log"), after" \
    "$(((SECONDS - started) / 60)) minutes, building included"

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
