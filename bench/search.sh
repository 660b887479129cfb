#!/usr/bin/env bash
# bench/search.sh [FOLDER]: the folder-wide text search against ripgrep on the same folder, warm
# cache, on a Release build: a literal that keeps its case (`rg -c -F`) and a lower-case one that
# ignores it (`rg -c -F -i`), with both tools' file and line counts side by side. Without a folder
# it makes a plain one of 40,000 files with bench/make-tree.sh, with a few lines in upper case.
set -euo pipefail
source "$(dirname "$0")/common.sh" ripgrep
dir=${1:-}
if [ -z "$dir" ]; then
    dir="$work/tree"
    "$here/bench/make-tree.sh" "$dir" 40000 >&2
    # Some capitals, so that the case-keeping query has something to tell apart.
    find "$dir" -name 'file*7.md' -exec sed -i 's/some words/Some Words/' {} +
fi
dir=$(cd "$dir" && pwd)
exact='Some Words'
folded='some words'
cat "$(find "$dir" -type f | head -n 1)" >/dev/null
hyperfine --style none -i --warmup 2 --runs "${RUNS:-5}" --export-json "$work/times.json" \
    -n "korvane search '$exact'" "$korvane search $dir '$exact'" \
    -n "rg -c -F '$exact'" "rg -c -F '$exact' $dir" \
    -n "korvane search '$folded'" "$korvane search $dir '$folded'" \
    -n "rg -c -F -i '$folded'" "rg -c -F -i '$folded' $dir" >/dev/null 2>&1

total() { awk -F: '{ files += 1; lines += $NF } END { printf "%d files, %d lines", files, lines }'; }
echo "Folder-wide search, $(date -u +%Y-%m-%d), $(nproc) cores, $(git -C "$here" rev-parse --short HEAD)"
echo "Folder: $(find "$dir" -type f | wc -l) files"
echo
echo "| command | mean (s) | ± (s) | korvane ÷ rg | found |"
echo "|---|---|---|---|---|"
for i in 0 1 2 3; do
    name=$(jq -r ".results[$i].command" "$work/times.json")
    mean=$(jq ".results[$i].mean" "$work/times.json")
    pair=$((i / 2 * 2 + 1))
    ratio=$(jq -n "$(jq ".results[$((i / 2 * 2))].mean" "$work/times.json") / $(jq ".results[$pair].mean" "$work/times.json") * 100 | round / 100")
    case $i in
        0) found=$("$korvane" search "$dir" "$exact" --json | jq -r '"\(length) files, \(map(.count) | add // 0) lines"') ;;
        1) found=$({ rg -c -F "$exact" "$dir" || true; } | total) ;;
        2) found=$("$korvane" search "$dir" "$folded" --json | jq -r '"\(length) files, \(map(.count) | add // 0) lines"') ;;
        3) found=$({ rg -c -F -i "$folded" "$dir" || true; } | total) ;;
    esac
    printf '| %s | %.3f | %.3f | %s | %s |\n' "$name" "$mean" "$(jq ".results[$i].stddev" "$work/times.json")" \
        "$([ $((i % 2)) -eq 0 ] && echo "$ratio" || echo "")" "$found"
done
