#!/usr/bin/env bash
# bench/layout.sh [FOLDER...]: median time of the city and tree layouts over 21 builds each, on
# synthetic trees of 10,000 to 80,000 files (20 to a folder) and on the folders given.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/scripts/build.sh" release layout_bench >&2
echo "Layout benchmark, $(date -u +%Y-%m-%d), $(nproc) cores, $(git -C "$here" rev-parse --short HEAD)"
echo
"$here/build/release/bench/layout_bench" "$@"
