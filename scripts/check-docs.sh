#!/usr/bin/env bash
# check-docs.sh [PICTURE_FOLDER]: makes the manual and looks at each of its pages: no warning, no broken
# link, no error in a browser's console, fit for a phone, readable in light and dark, and a search that
# finds. Installs what is missing, Chromium included. PICTURE_FOLDER gets pictures of some pages.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_missing_packages library manual
html=$project_dir/build/release/docs/html
rm -rf "$html" # pages that have gone
configure_and_build release -DQUARN_BUILD_DOCS=ON -- docs
say "Looking for broken links"
python3 "$project_dir/docs/doxygen/checkLinks.py" "$html" "$project_dir"
say "Opening the pages in Chromium"
python3 "$project_dir/docs/doxygen/checkInBrowser.py" "$html" "$@"
say "The manual is fine: $html/index.html"
