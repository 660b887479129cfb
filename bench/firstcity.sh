#!/usr/bin/env bash
# bench/firstcity.sh [REPOSITORY]: how soon the window shows a repository's city. The window, on a
# Release build under Xvfb with Mesa's software renderer, warm cache, prints (--timings) when it
# first drew the city and when the commits arrived, counted from the window's start (Qt already
# running); medians of RUNS windows. Beside it, in the same run: `korvane scan`, which waits for the
# history, and the log git runs for it alone, the floor of a picture that waited for the history.
# The goal is the first city within 1.0 s. Without a repository it makes one of 40,000 files.
set -euo pipefail
source "$(dirname "$0")/common.sh" xvfb xauth
repo=${1:-}
if [ -z "$repo" ]; then
    repo="$work/repo"
    "$here/bench/make-repo.sh" "$repo" 40000 2000 >&2
fi
repo=$(cd "$repo" && pwd)
runs=${RUNS:-7}
median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
# Quits once the keys could run, which is once the commits have arrived.
window() {
    KORVANE_STATE="$work/state.json" KORVANE_SIZE=1400x880 XDG_CONFIG_HOME="$work/config" \
        xvfb-run -a -s "-screen 0 1600x1000x24" "$korvane" "$repo" --timings 2>&1 >/dev/null
}
window >/dev/null # warm the cache
: >"$work/city.ms"
: >"$work/commits.ms"
for _ in $(seq "$runs"); do
    out=$(window)
    sed -n 's/^first city drawn \([0-9]*\) ms.*/\1/p' <<<"$out" >>"$work/city.ms"
    sed -n 's/^commits read \([0-9]*\) ms.*/\1/p' <<<"$out" >>"$work/commits.ms"
done
hyperfine --style none --warmup 1 --runs "$runs" --export-json "$work/times.json" \
    -n git_log "git -C $repo -c core.deltaBaseCacheLimit=8m log --relative --no-renames -z --format=%x01%ct --name-only -n 5000 -- . >/dev/null" \
    -n korvane_scan "$korvane scan $repo" >/dev/null 2>&1

echo "First city of $repo, $(date -u +%Y-%m-%d), $(nproc) cores, $(git -C "$here" rev-parse --short HEAD)"
echo "Repository: $(git -C "$repo" ls-files | wc -l) files, $(git -C "$repo" rev-list --count HEAD) commits"
echo
echo "| measure | time (s) |"
echo "|---|---|"
echo "| window: first city drawn (median of $runs) | $(median <"$work/city.ms" | awk '{ printf "%.3f", $1 / 1000 }') |"
echo "| window: commits arrived (median of $runs) | $(median <"$work/commits.ms" | awk '{ printf "%.3f", $1 / 1000 }') |"
for i in 0 1; do
    jq -r ".results[$i] | \"| \(.command) (mean ± \(.stddev * 1000 | round / 1000)) | \(.mean * 1000 | round / 1000) |\"" "$work/times.json"
done
