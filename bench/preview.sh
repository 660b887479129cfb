#!/usr/bin/env bash
# bench/preview.sh [FILE]: the preview of a large text file on a Release build. Makes a 200 MB log
# unless a FILE is given, then:
#   - in process (bench/previewbench.cpp): from asking for the file to its first screen drawn, until
#     every line is counted, the peak memory above what the panel held, and one screen of scrolling;
#   - `korvane preview FILE --out IMAGE`, start to exit with every line counted, against `wc -l`
#     reading the same file, with hyperfine.
# Goals: the first screen under 150 ms, memory under 64 MB above the baseline, a screen under 8 ms.
set -euo pipefail
source "$(dirname "$0")/common.sh"
"$here/scripts/build.sh" release preview_bench >&2
file=${1:-}
if [ -z "$file" ]; then
    file="$work/big.log"
    perl -e 'my $n = 0; my $out = ""; while (length($out) < 200 * 1024 * 1024) {
        $out .= sprintf("2026-11-26 12:%02d:%02d INFO request %d served in %d ms from cache node %d\n",
            ($n / 60) % 60, $n % 60, $n, $n % 97, $n % 13); $n++ } print $out' > "$file"
fi
echo "Preview of a large file, $(date -u +%Y-%m-%d), $(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg), $(git -C "$here" rev-parse --short HEAD)"
echo "File: $file ($(du -h "$file" | cut -f1))"
echo
"$here/build/release/bench/preview_bench" "$file"
"$here/build/release/bench/preview_bench" "$file" --minimap | sed -n 's/^one screen down/with the minimap, one screen down/p'
echo
hyperfine --style basic --warmup 1 --runs "${RUNS:-5}" \
    -n "korvane preview" "$korvane preview $file --out $work/p.png" -n "wc -l" "wc -l $file"
