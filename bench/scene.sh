#!/usr/bin/env bash
# bench/scene.sh [FILES | FOLDER] [-- BENCH ARGUMENTS]: builds the scene of a generated plain folder
# (bench/make-tree.sh, 80,000 files by default), or of a real FOLDER, and draws it offscreen while orbiting, under Xvfb
# with Mesa's software renderer. Reports the median of 21 builds beside the city layout alone, which
# the build runs, and the median frame over a full turn beside an empty frame on the same driver.
# The load average is printed before and after: other work on the machine shows in every figure.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
files=${1:-80000}
shift || true
[ "${1:-}" = "--" ] && shift
"$here/scripts/build.sh" release scene_bench >&2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree="$work/tree"
if [ -d "$files" ]; then
    tree=$(realpath "$files")
else
    "$here/bench/make-tree.sh" "$tree" "$files"
fi
echo "Scene benchmark, $(date -u +%Y-%m-%d), $(nproc) cores ($(lscpu | sed -n 's/^Model name: *//p')), $(git -C "$here" rev-parse --short HEAD)"
echo "Folder: $tree"
echo "Load average before: $(cut -d' ' -f1-3 /proc/loadavg)"
echo
xvfb-run -a -s "-screen 0 1920x1200x24" "$here/build/release/bench/scene_bench" "$tree" "$@"
echo
echo "Load average after: $(cut -d' ' -f1-3 /proc/loadavg)"
