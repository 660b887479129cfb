#!/usr/bin/env bash
# bench/structure.sh [FILE...]: walking into large files on a Release build. Generates a 4 MB
# minified script bundle, a 3 MB stylesheet, a page of 3,000 elements and a 20,000-line C++ file
# (bench/make-sources.sh), or takes the real files given, then:
#   - the median time of WebReader::read in process (bench/structurebench.cpp), the walk itself;
#   - `korvane outline FILE` from start to exit against universal-ctags on the same file and the
#     cost of reading it (cat), with hyperfine;
#   - peak memory of `korvane outline FILE` with GNU time, against the file's size, whole and above
#     what the process holds on an empty file.
# Goals: each read under 150 ms, memory under 10 times the file.
set -euo pipefail
source "$(dirname "$0")/common.sh" universal-ctags
"$here/scripts/build.sh" release structure_bench >&2
files=()
if [ $# -gt 0 ]; then
    for given in "$@"; do
        cp "$given" "$work/"
        files+=("$(basename "$given")")
    done
else
    "$here/bench/make-sources.sh" "$work"
    files=(bundle.js styles.css page.html big.cpp)
fi

echo "Walking into files, $(date -u +%Y-%m-%d), $(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg), $(git -C "$here" rev-parse --short HEAD)"
echo
(cd "$work" && "$here/build/release/bench/structure_bench" "${files[@]}")
echo
# The process alone, on an empty script: what every run holds before reading anything.
: > "$work/empty.js"
base=$(/usr/bin/time -f %M "$korvane" outline "$work/empty.js" 2>&1 >/dev/null | tail -n 1)
echo "Wall time, and in brackets CPU time (user + system), which a busy machine disturbs less:"
echo
echo "| file | korvane outline (ms) | ctags (ms) | cat (ms) | korvane ÷ ctags | peak memory (MiB) | × file | above an empty file, × file |"
echo "|---|---|---|---|---|---|---|---|"
for file in "${files[@]}"; do
    path="$work/$file"
    hyperfine --style none --warmup 2 --runs "${RUNS:-15}" --export-json "$work/times.json" \
        -n korvane "$korvane outline $path" -n ctags "ctags -f /dev/null $path" -n cat "cat $path" >/dev/null 2>&1
    peak=$(/usr/bin/time -f %M "$korvane" outline "$path" 2>&1 >/dev/null | tail -n 1)
    bytes=$(stat -c %s "$path")
    jq -r --arg file "$file" --arg peak "$peak" --arg base "$base" --arg bytes "$bytes" '
        [.results[].mean * 1000] as $ms | [.results[] | (.user + .system) * 1000] as $cpu |
        ($peak | tonumber) as $kib | ($bytes | tonumber) as $size |
        "| \($file) | \($ms[0] | round) (\($cpu[0] | round)) | \($ms[1] | round) (\($cpu[1] | round)) | \($ms[2] | round) (\($cpu[2] | round)) | \($ms[0] / $ms[1] * 100 | round / 100) | \($kib / 1024 | round) | \($kib * 1024 / $size * 10 | round / 10) | \(($kib - ($base | tonumber)) * 1024 / $size * 10 | round / 10) |"' "$work/times.json"
done
