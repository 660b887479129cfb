#!/usr/bin/env bash
# bench/timeline.sh REPOSITORY [-- BENCH ARGUMENTS]: the history view on a real repository (give
# the path of a clone; git's own is what BENCHMARKS.md reports) or, with a number instead of a path,
# on a generated repository of that many commits (bench/make-repo.sh). Reads the history twice
# (the second read is answered by the history cache, as when 3 is pressed in the window), moves the
# playhead from end to end, and plays one commit a frame under Xvfb's software renderer. Then the
# window itself: the time from pressing 3, with the cache warm, to the first history frame.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
repo=${1:?give a repository path or a commit count}
shift || true
[ "${1:-}" = "--" ] && shift
"$here/scripts/build.sh" release timeline_bench korvane >&2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [[ "$repo" =~ ^[0-9]+$ ]]; then
    "$here/bench/make-repo.sh" "$work/repo" 20000 "$repo" >&2
    repo="$work/repo"
fi
export XDG_CACHE_HOME="$work/cache"
echo "Timeline benchmark on $repo ($(git -C "$repo" rev-parse --short HEAD)), $(date -u +%Y-%m-%d), $(nproc) cores, $(git -C "$here" rev-parse --short HEAD)"
echo "Load average before: $(cut -d' ' -f1-3 /proc/loadavg)"
run() { xvfb-run -a -s "-screen 0 1920x1200x24" "$@"; }
echo "Cold cache:"
run "$here/build/release/bench/timeline_bench" "$repo" --frames 10 | head -1
echo
echo "Warm cache:"
run "$here/build/release/bench/timeline_bench" "$repo" "$@"
echo
echo "The window, 3 pressed with the cache warm (history: the wait for the read; then the build and the first frame):"
for i in 1 2 3; do
    run "$here/build/release/src/app/korvane" snapshot "$repo" --out "$work/h.png" --size 1600x1000 --keys 3 --timings 2>&1 | grep '^tree'
done
echo
echo "Load average after: $(cut -d' ' -f1-3 /proc/loadavg)"
