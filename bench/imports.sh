#!/usr/bin/env bash
# bench/imports.sh [PACKAGE...]: times `korvane imports` on a Release build against madge, on the
# published files of npm packages (lodash-es@4 and date-fns@4 by default), each unpacked into a
# work folder that goes away afterwards; then times the graph layout (bench/graphbench.cpp) on
# synthetic graphs and on those packages. Prints Markdown tables for BENCHMARKS.md: mean times, the
# ratio, and both tools' edge counts with the edges they share.
set -euo pipefail
source "$(dirname "$0")/common.sh" time # (with no words of its own, it would be handed this script's)
command -v npm >/dev/null || "$here/scripts/setup.sh" nodejs npm >&2
"$here/scripts/build.sh" release graph_bench >&2
runs=${RUNS:-3}
[ $# -gt 0 ] || set -- lodash-es@4 date-fns@4

npm install --silent --no-audit --no-fund --prefix "$work/madge" madge typescript >&2
madge="$work/madge/node_modules/.bin/madge"

echo "Imports benchmark, $(date -u +%Y-%m-%d), $(nproc) cores, $(git -C "$here" rev-parse --short HEAD)"
echo "$(uname -srm); node $(node --version); madge $("$madge" --version)"
echo
echo "| package | files | korvane (s) | madge (s) | madge ÷ korvane | korvane edges | madge edges | in both |"
echo "|---|---|---|---|---|---|---|---|"
folders=()
for package in "$@"; do
    tarball=$(cd "$work" && npm pack --silent "$package" | tail -n 1)
    name=${tarball%.tgz}
    mkdir -p "$work/$name"
    tar xzf "$work/$tarball" -C "$work/$name"
    folder="$work/$name/package"
    folders+=("$folder")
    # madge reads the script and TypeScript extensions the package holds, as korvane does.
    extensions=$(find "$folder" -type f | sed -n 's/.*\.\(js\|cjs\|mjs\|jsx\|ts\|cts\|mts\|tsx\)$/\1/p' | sort -u | paste -sd,)
    hyperfine --style none --warmup 1 --runs "$runs" --export-json "$work/$name.json" \
        -n korvane "$korvane imports $folder" \
        -n madge "$madge --json --extensions $extensions $folder" >/dev/null 2>&1
    "$korvane" imports "$folder" --json | jq -r '.files as $f | .edges[] | "\($f[.[0]]) -> \($f[.[1]])"' | sort >"$work/korvane.edges"
    # Into a file: node cuts a long output short when it leaves while a pipe is still draining.
    "$madge" --json --extensions "$extensions" "$folder" >"$work/madge.json" 2>/dev/null
    jq -r 'to_entries[] | .key as $k | .value[] | "\($k) -> \(.)"' "$work/madge.json" | sort >"$work/madge.edges"
    k=$(jq '.results[0].mean' "$work/$name.json")
    m=$(jq '.results[1].mean' "$work/$name.json")
    awk -v n="$name" -v f="$(find "$folder" -type f | wc -l)" -v k="$k" -v m="$m" \
        -v ke="$(wc -l <"$work/korvane.edges")" -v me="$(wc -l <"$work/madge.edges")" \
        -v both="$(comm -12 "$work/korvane.edges" "$work/madge.edges" | wc -l)" \
        'BEGIN { printf "| %s | %d | %.3f | %.3f | %.0f | %d | %d | %d |\n", n, f, k, m, m / k, ke, me, both }'
done
echo
"$here/build/release/bench/graph_bench" "${folders[@]}"
