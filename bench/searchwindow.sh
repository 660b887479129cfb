#!/usr/bin/env bash
# bench/searchwindow.sh [FOLDER]: the search as a user meets it in the window, on a Release build
# under Xvfb with Mesa's software renderer, warm cache.
# - Text: from the last key typed into the search field to the results drawn (the 0.22 s pause
#   after typing included), median of RUNS windows, beside `rg -c -F` on the same folder in the
#   same run; the goal is at most 0.22 s + 1.2 × rg. Without a folder, 40,000 generated files.
# - Names: every key typed into the field, on 80,000 generated files (or the folder given): its own
#   work (matching, the rail, the scene's colours) and the time until the window is drawn after it,
#   beside the same window drawn after a key that only moves the camera (the floor: a frame of the
#   whole window); medians of RUNS windows. The goal is under 50 ms.
set -euo pipefail
source "$(dirname "$0")/common.sh" ripgrep xvfb
runs=${RUNS:-5}
text_dir=${1:-}
names_dir=${1:-}
if [ -z "$text_dir" ]; then
    text_dir="$work/text"
    names_dir="$work/names"
    "$here/bench/make-tree.sh" "$text_dir" 40000 >&2
    "$here/bench/make-tree.sh" "$names_dir" 80000 >&2
fi
query='some words'
# The window as a user runs it (not the snapshot's offscreen one), played by its start-up variables.
window() {
    KORVANE_KEYS="$2" KORVANE_SNAPSHOT="$work/s.png" KORVANE_TIMINGS=1 KORVANE_SIZE=1400x880 \
        xvfb-run -a -s "-screen 0 1600x1000x24" "$korvane" "$1" 2>&1 >/dev/null
}
median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
window "$text_dir" "/ Tab s" >/dev/null # warm the cache
: >"$work/text.ms"
for _ in $(seq "$runs"); do
    window "$text_dir" "/ Tab s o m e Space w o r d s" |
        sed -n 's/^text search \([0-9]*\) ms from the last key to the results found, \([0-9]*\) ms.*/\1 \2/p' >>"$work/text.ms"
done
hyperfine --style none -i --warmup 2 --runs "$runs" --export-json "$work/rg.json" "rg -c -F '$query' $text_dir" >/dev/null 2>&1
rg_ms=$(jq '.results[0].median * 1000 | round' "$work/rg.json")
found_ms=$(cut -d' ' -f1 "$work/text.ms" | median)
text_ms=$(cut -d' ' -f2 "$work/text.ms" | median)
: >"$work/keys"
for _ in $(seq "$runs"); do
    window "$names_dir" "= - = - = / f i l e 1 2 3 Backspace m d" >"$work/run"
    echo "$(sed -n 's/^search keys: median \([0-9]*\) ms of their own work, \([0-9]*\) ms.*/\1 \2/p' "$work/run") $(sed -n 's/^other keys: median \([0-9]*\) ms.*/\1/p' "$work/run")" >>"$work/keys"
done
echo "Search in the window, $(date -u +%Y-%m-%d), $(nproc) cores, $(git -C "$here" rev-parse --short HEAD)"
echo "Text: $(find "$text_dir" -type f | wc -l) files in $text_dir; names: $(find "$names_dir" -type f | wc -l) files in $names_dir"
echo
echo "| measure | Korvane (median of $runs) | peer / goal |"
echo "|---|---|---|"
echo "| text search, last key to results found | $found_ms ms | rg -c -F: $rg_ms ms; goal ≤ $((220 + rg_ms * 12 / 10)) ms |"
echo "| text search, last key to results drawn | $text_ms ms | |"
echo "| name filter, a key's own work | $(cut -d' ' -f1 "$work/keys" | median) ms | goal < 50 ms |"
echo "| name filter, key to the window drawn | $(cut -d' ' -f2 "$work/keys" | median) ms | a camera key to the window drawn: $(cut -d' ' -f3 "$work/keys" | median) ms |"
