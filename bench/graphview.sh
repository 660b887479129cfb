#!/usr/bin/env bash
# bench/graphview.sh [FOLDER]: the imports graph in the window, on a Release build under Xvfb's
# software renderer. Without a folder it unpacks the published files of date-fns@4 (5,136 files,
# the package of bench/imports.sh) into a work folder that goes away afterwards. Times
# `korvane snapshot --mode graph` beside `--mode city` on the same folder (the difference is what
# key 4 costs), prints the graph snapshot's own stages, then draws the graph offscreen while the
# camera orbits (bench/scenebench.cpp --mode graph).
set -euo pipefail
source "$(dirname "$0")/common.sh" xvfb xauth
"$here/scripts/build.sh" release scene_bench >&2
folder=${1:-}
if [ -z "$folder" ]; then
    command -v npm >/dev/null || "$here/scripts/setup.sh" nodejs npm >&2
    tarball=$(cd "$work" && npm pack --silent date-fns@4 | tail -n 1)
    mkdir -p "$work/package"
    tar xzf "$work/$tarball" -C "$work/package"
    folder="$work/package/package"
    label=${tarball%.tgz}
else
    label=$folder
fi
folder=$(cd "$folder" && pwd)
runs=${RUNS:-5}
snap="xvfb-run -a -s '-screen 0 1600x1000x24' $korvane snapshot $folder --size 1400x880"
hyperfine --style none --warmup 1 --runs "$runs" --export-json "$work/times.json" \
    -n city "$snap --out $work/city.png --mode city" \
    -n graph "$snap --out $work/graph.png --mode graph" >/dev/null 2>&1

echo "Imports graph in the window, $(date -u +%Y-%m-%d), $(nproc) cores, $(git -C "$here" rev-parse --short HEAD)"
echo "Folder: $label, $(find "$folder" -type f | wc -l) files"
echo
echo "| snapshot | mean (s) | ± (s) |"
echo "|---|---|---|"
for i in 0 1; do
    jq -r ".results[$i] | \"| --mode \(.command) | \(.mean * 1000 | round / 1000) | \(.stddev * 1000 | round / 1000) |\"" "$work/times.json"
done
echo
echo "Stages of the graph snapshot ($runs runs; imports: read, linked and settled):"
for _ in $(seq "$runs"); do
    bash -c "$snap --out $work/graph.png --mode graph --timings" 2>&1 | grep '^scan'
done
echo
xvfb-run -a -s "-screen 0 1920x1200x24" "$here/build/release/bench/scene_bench" "$folder" --mode graph
