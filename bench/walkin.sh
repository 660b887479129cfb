#!/usr/bin/env bash
# bench/walkin.sh [FILE...]: walking into files, on a Release build under Xvfb with Mesa's software
# renderer, warm cache. Generates the 4 MB minified bundle and the 20,000-line C++ file of
# bench/make-sources.sh, or takes the real files given, then:
#   - in the window: Return on the file, from the key to the first window on the screen with its city
#     (read, stood up as a city, scene built, drawn), printed by --timings; median of RUNS windows;
#   - offscreen (bench/scenebench.cpp): the same walk in process without the window, median of 15,
#     and a frame of the file's city while orbiting, against an empty frame on the same driver.
# Goals: the bundle under 300 ms, the C++ file under 150 ms, a frame while orbiting under 16 ms.
set -euo pipefail
source "$(dirname "$0")/common.sh" xvfb xauth
"$here/scripts/build.sh" release scene_bench >&2
folder="$work/files"
mkdir -p "$folder"
files=()
if [ $# -gt 0 ]; then
    for given in "$@"; do
        cp "$given" "$folder/"
        files+=("$(basename "$given")")
    done
else
    "$here/bench/make-sources.sh" "$work/made" >&2
    cp "$work/made/bundle.js" "$work/made/big.cpp" "$folder/"
    files=(bundle.js big.cpp)
fi
runs=${RUNS:-9}
median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
# Types the file's name into the search, takes it (Return) and walks into it (Return).
walk() {
    local keys
    keys="/ $(sed 's/./& /g' <<<"${1%%.*}")Return Return"
    KORVANE_KEYS="$keys" KORVANE_STATE="$work/state.json" KORVANE_SIZE=1400x880 XDG_CONFIG_HOME="$work/config" \
        xvfb-run -a -s "-screen 0 1600x1000x24" "$korvane" "$folder" --timings 2>&1 >/dev/null |
        sed -n 's/^walked into .*: \([0-9]*\) ms to its city on the screen/\1/p'
}

echo "Walking into files, $(date -u +%Y-%m-%d), $(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg), $(git -C "$here" rev-parse --short HEAD)"
echo
echo "| file | size (KiB) | Return to its city on the screen, window, median of $runs (ms) | slowest (ms) |"
echo "|---|---|---|---|"
for file in "${files[@]}"; do
    walk "$file" >/dev/null # warm the cache
    : >"$work/walk.ms"
    for _ in $(seq "$runs"); do walk "$file" >>"$work/walk.ms"; done
    [ -s "$work/walk.ms" ] || { echo "the window did not walk into $file" >&2; exit 1; }
    echo "| $file | $(($(stat -c %s "$folder/$file") / 1024)) | $(median <"$work/walk.ms") | $(sort -n "$work/walk.ms" | tail -n 1) |"
done
for file in "${files[@]}"; do
    echo
    xvfb-run -a -s "-screen 0 1920x1200x24" "$here/build/release/bench/scene_bench" "$folder/$file" \
        --size 1400x880 --samples 0 --frames 120 | grep -v '^Driver'
done
echo
echo "Load average after: $(cut -d' ' -f1-3 /proc/loadavg)"
