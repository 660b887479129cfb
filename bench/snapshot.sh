#!/usr/bin/env bash
# bench/snapshot.sh [REPOSITORY]: time from starting `korvane snapshot` to the image written, on a
# Release build under Xvfb's software renderer, split into scan, layout, scene build and first
# frame (korvane's own --timings), beside `korvane scan` alone and git's own listing and log, the
# floor the scan stands on. Without a repository it makes one of 40,000 files.
set -euo pipefail
source "$(dirname "$0")/common.sh" xvfb xauth
repo=${1:-}
if [ -z "$repo" ]; then
    repo="$work/repo"
    "$here/bench/make-repo.sh" "$repo" 40000 2000 >&2
fi
repo=$(cd "$repo" && pwd)
runs=${RUNS:-5}
snap="xvfb-run -a -s '-screen 0 1600x1000x24' $korvane snapshot $repo --out $work/city.png --size 1400x880"
hyperfine --style none --warmup 1 --runs "$runs" --export-json "$work/times.json" \
    -n git_ls_files_and_log "git -C $repo ls-files -z >/dev/null; git -C $repo log -n 5000 --name-only --format=%ct >/dev/null" \
    -n korvane_scan "$korvane scan $repo" \
    -n korvane_snapshot "$snap" >/dev/null 2>&1

echo "Snapshot of a repository, $(date -u +%Y-%m-%d), $(nproc) cores, $(git -C "$here" rev-parse --short HEAD)"
echo "Repository: $(git -C "$repo" ls-files | wc -l) files, $(git -C "$repo" rev-list --count HEAD) commits"
echo
echo "| command | mean (s) | ± (s) |"
echo "|---|---|---|"
for i in 0 1 2; do
    jq -r ".results[$i] | \"| \(.command) | \(.mean * 1000 | round / 1000) | \(.stddev * 1000 | round / 1000) |\"" "$work/times.json"
done
echo
echo "Stages of the snapshot ($runs runs):"
for _ in $(seq "$runs"); do
    bash -c "$snap --timings" 2>&1 | grep '^tree'
done
