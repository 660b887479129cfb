#!/usr/bin/env bash
# bench/sexpr.sh [MEGABYTES | FILE]: reads a generated board of about MEGABYTES (default 10), or a
# real board or schematic FILE, with `korvane sexpr FILE --summary` on a Release build: the whole command, start to exit, against the
# cost of reading the file once (cat), with peak memory against the file's size.
set -euo pipefail
source "$(dirname "$0")/common.sh" time # (with no words of its own, it would be handed this script's)
board="$work/board.kicad_pcb"
if [ -f "${1:-}" ]; then
    board=$(realpath "$1")
else
    "$here/bench/make-board.sh" "$board" "${1:-10}"
fi
bytes=$(stat -c %s "$board")

hyperfine --style none --warmup 2 --runs 20 --export-json "$work/times.json" \
    "$korvane sexpr $board --summary" "cat $board" >/dev/null 2>&1
peak=$(/usr/bin/time -f %M "$korvane" sexpr "$board" --summary 2>&1 >/dev/null | tail -n 1)

echo "S-expression reading, $(date -u +%Y-%m-%d), $(nproc) cores, $(git -C "$here" rev-parse --short HEAD)"
echo "Board: $([ -f "${1:-}" ] && echo "$board, ")$(awk -v b="$bytes" 'BEGIN { printf "%.1f MiB", b / 1048576 }'), $("$korvane" sexpr "$board" --summary | tr -d , | awk 'NR > 1 { n += $2 } END { print n }') top-level lists"
echo
echo "| command | mean (ms) | ± (ms) |"
echo "|---|---|---|"
jq -r '.results[] | "| \(.command | sub("/[^ ]*/"; ""; "g")) | \(.mean * 1000 | floor) | \(.stddev * 1000 | floor) |"' "$work/times.json"
awk -v p="$peak" -v b="$bytes" 'BEGIN { printf "\nPeak memory: %.1f MiB, %.2f times the file.\n", p / 1024, p * 1024 / b }'
