#!/usr/bin/env bash
# bench/board.sh [FILE] [-- BENCH ARGUMENTS]: reads a board or schematic into its flat drawing and
# paints the whole of it into a 1400×900 image, the median of 11 runs each, on a Release build. With
# no FILE, a generated board of about 10 MiB (bench/make-board.sh). Painting needs no display: Qt's
# offscreen platform stands in for one. The load average is printed before and after: other work on
# the machine shows in every figure.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
file=${1:-}
shift || true
[ "${1:-}" = "--" ] && shift
"$here/scripts/build.sh" release board_bench >&2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [ -z "$file" ]; then
    file="$work/board.kicad_pcb"
    "$here/bench/make-board.sh" "$file" 10
fi
echo "Board benchmark, $(date -u +%Y-%m-%d), $(nproc) cores ($(lscpu | sed -n 's/^Model name: *//p')), $(git -C "$here" rev-parse --short HEAD)"
echo "Load average before: $(cut -d' ' -f1-3 /proc/loadavg)"
echo
QT_QPA_PLATFORM=offscreen "$here/build/release/bench/board_bench" "$file" "$@"
echo
echo "Load average after: $(cut -d' ' -f1-3 /proc/loadavg)"
