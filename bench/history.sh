#!/usr/bin/env bash
# bench/history.sh [REPOSITORY]: reads a long first-parent history four ways on a Release build:
# git's own log with the reader's arguments into /dev/null (the floor), the same log with the heap
# setting the reader gives git (MALLOC_TOP_PAD_), `korvane history --no-cache` (two git processes
# at once, from either end, on a history this long), and `korvane history` answering from a warm
# cache; with peak memory. Without a repository it makes one of 25,000 commits with
# bench/make-repo.sh.
set -euo pipefail
source "$(dirname "$0")/common.sh" time # (with no words of its own, it would be handed this script's)
repo=${1:-}
if [ -z "$repo" ]; then
    repo="$work/repo"
    "$here/bench/make-repo.sh" "$repo" 5000 25000 >&2
fi
repo=$(cd "$repo" && pwd)
commits=$(git -C "$repo" rev-list --count --first-parent HEAD)
limit=$((commits > 20000 ? 20000 : commits))
log="git -C $repo -c core.quotePath=false log --first-parent --reverse -M --raw --numstat -z --no-color --no-abbrev --no-textconv --no-ext-diff --format=%x01%H%x1f%ct%x1f%an%x1f%s -n $limit"
"$korvane" history "$repo" >/dev/null # warms the cache
hyperfine --style none --warmup 1 --runs "${RUNS:-5}" --export-json "$work/times.json" \
    -n git_log "$log" -n git_log_top_pad "MALLOC_TOP_PAD_=67108864 $log" -n korvane_no_cache "$korvane history $repo --no-cache" \
    -n korvane_cached "$korvane history $repo" >/dev/null 2>&1
peak() { /usr/bin/time -f %M bash -c "$1" 2>&1 >/dev/null | tail -n 1; }

echo "History reading, $(date -u +%Y-%m-%d), $(nproc) cores, $(git -C "$here" rev-parse --short HEAD)"
echo "Repository: $(git -C "$repo" ls-files | wc -l) files, $commits first-parent commits (the newest $limit read)"
echo
echo "| command | mean (s) | ± (s) | ÷ git log | peak memory (MiB) |"
echo "|---|---|---|---|---|"
base=$(jq '.results[0].mean' "$work/times.json")
for i in 0 1 2 3; do
    name=$(jq -r ".results[$i].command" "$work/times.json")
    case $name in
        git_log) command=$log ;;
        git_log_top_pad) command="MALLOC_TOP_PAD_=67108864 $log" ;;
        korvane_no_cache) command="$korvane history $repo --no-cache" ;;
        *) command="$korvane history $repo" ;;
    esac
    jq -r --arg base "$base" --arg peak "$(peak "$command")" ".results[$i] |
        \"| \(.command) | \(.mean * 1000 | round / 1000) | \(.stddev * 1000 | round / 1000) | \(.mean / (\$base | tonumber) * 100 | round / 100) | \((\$peak | tonumber) / 1024 | round) |\"" "$work/times.json"
done
