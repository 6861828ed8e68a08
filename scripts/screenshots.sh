#!/usr/bin/env bash
# Takes the pictures of the example programs that the pages in docs/ show, under a display of its own.
set -euo pipefail
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_missing_packages library screenshots
configure_and_build dev -- file-jobs inbox
home=/tmp/ann # its path is in the pictures
mkdir "$home" || fail "$home is in the way"
trap 'rm -rf "$home"' EXIT
export HOME=$home XDG_RUNTIME_DIR=$home LC_ALL=C.UTF-8

mkdir "$home/Photos" "$home/Inbox"
for name in beach dunes harbour lighthouse sunset; do
    head -c 96M /dev/urandom >"$home/Photos/$name.mov"
done
echo "sunglasses" >"$home/Photos/packing list.txt"
touch -d '2026-05-31 10:00' "$home"/Photos/*
echo "yesterday's" >"$home/Inbox/Harbour log.txt" # so that the name is taken

say "Taking the pictures"
picture() { xvfb-run --auto-servernum --server-args='-screen 0 1280x1024x24' "$@" 2>/dev/null; }
examples=$project_dir/build/dev/examples
picture "$examples/file-jobs/file-jobs" --demo "$home/file-jobs.png" "$home/Photos"
picture "$examples/inbox/inbox" --demo "$home/Inbox/genuine.png"
picture "$examples/inbox/inbox" --demo "$home/Inbox/damaged.png" --damaged

/usr/bin/python3 - "$home" "$project_dir/docs" <<'END'
import sys
from PIL import Image

home, docs = sys.argv[1:]

def store(image, name):
    image.quantize(64, dither=Image.Dither.NONE).save(f"{docs}/{name}", optimize=True)

store(Image.open(f"{home}/file-jobs.png").convert("RGB"), "file-jobs.png")
windows = [Image.open(f"{home}/Inbox/{name}.png") for name in ("genuine", "damaged")]
width, height = windows[0].size
both = Image.new("RGB", (2 * width + 16, height), "white")
for place, window in enumerate(windows):
    both.paste(window, (place * (width + 16), 0))
store(both, "inbox.png")
END
ls -l "$project_dir"/docs/{file-jobs,inbox}.png
