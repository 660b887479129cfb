#!/usr/bin/env bash
# bench/scan.sh [REPOSITORY...]: times `korvane scan` on a Release build against its peers.
# On a generated plain tree of 80,000 files: cloc, and the read floor (find | xargs cat).
# On each repository given: every git command the scan runs, alone (git is the floor there).
# Prints a Markdown table for BENCHMARKS.md with mean times, ratios and peak memory.
set -euo pipefail
source "$(dirname "$0")/common.sh" cloc
runs=${RUNS:-5}

# bench NAME COMMAND (NAME without spaces): mean seconds over the runs (after a warm-up), and peak resident memory in MiB.
bench() {
    local name=$1 command=$2
    hyperfine --style none --warmup 1 --runs "$runs" --export-json "$work/$name.json" "$command" >/dev/null 2>&1
    local mean sd peak
    mean=$(jq '.results[0].mean' "$work/$name.json")
    sd=$(jq '.results[0].stddev // 0' "$work/$name.json")
    peak=$(/usr/bin/time -f %M bash -c "$command" 2>&1 >/dev/null | tail -n 1)
    echo "$name $mean $sd $peak"
}

# table BASE ROW...: one Markdown row a command, each with its ratio to BASE's time.
table() {
    local base=$1
    shift
    echo "| command | mean (s) | ± (s) | korvane ÷ this | peak memory (MiB) |"
    echo "|---|---|---|---|---|"
    for row in "$@"; do
        read -r name mean sd peak <<<"$row"
        awk -v n="$name" -v m="$mean" -v s="$sd" -v b="$base" -v p="$peak" \
            'BEGIN { printf "| %s | %.3f | %.3f | %.2f | %.0f |\n", n, m, s, b / m, p / 1024 }'
    done
}

echo "Korvane scan benchmark, $(date -u +%Y-%m-%d), $(nproc) cores, $(git -C "$here" rev-parse --short HEAD)"
echo "$(uname -srm); git $(git --version | cut -d' ' -f3); cloc $(cloc --version)"
echo

tree="$work/tree"
"$here/bench/make-tree.sh" "$tree" 80000
echo "Plain tree: $(find "$tree" -type f | wc -l) files, $(du -sh "$tree" | cut -f1)"
echo
rows=("$(bench korvane_scan "$korvane scan $tree")")
rows+=("$(bench cloc "cloc --quiet $tree")")
rows+=("$(bench read_floor "find $tree -type f -print0 | xargs -0 cat > /dev/null")")
table "$(cut -d' ' -f2 <<<"${rows[0]}")" "${rows[@]}"

for repo in "$@"; do
    repo=$(cd "$repo" && pwd)
    echo
    echo "Repository $repo: $(git -C "$repo" ls-files | wc -l) files, $(git -C "$repo" rev-list --count HEAD) commits"
    echo
    g="git -C $repo -c core.quotePath=false"
    rows=("$(bench korvane_scan "$korvane scan $repo")")
    rows+=("$(bench git_ls-files_tracked "$g ls-files -z --cached")")
    rows+=("$(bench git_ls-files_untracked "$g ls-files -z --others --exclude-standard")")
    rows+=("$(bench git_status "$g status --porcelain=v1 -z --untracked-files=all -- .")")
    rows+=("$(bench git_log "$g -c core.deltaBaseCacheLimit=8m log --relative --no-renames --format=%x01%ct --name-only -z -n 5000 -- .")")
    table "$(cut -d' ' -f2 <<<"${rows[0]}")" "${rows[@]}"
done
