#!/usr/bin/env bash
# bench/flow.sh [FUNCTIONS | FILE]: the flow of calls of one generated script of FUNCTIONS functions
# (1,500 by default), each calling two later ones and every tenth calling back, or of a real source
# FILE, on a Release build: `korvane flow FILE` (read and arranged) beside `korvane outline FILE` (read
# alone), so that the difference is the arrangement.
set -euo pipefail
source "$(dirname "$0")/common.sh" time # (with no words of its own, it would be handed this script's)
functions=${1:-1500}
file="$work/calls.js"
if [ -f "$functions" ]; then
    file=$(realpath "$functions")
else
    perl -e '
    my $n = shift;
    for my $i (0 .. $n - 1) {
        my @calls = grep { $_ < $n } ($i * 2 + 1, $i * 2 + 2);
        push @calls, int($i / 2) if $i % 10 == 9;
        print "function step$i(value) {\n";
        print "    step$_(value);\n" for @calls;
        print "    return value + $i;\n}\n\n";
    }' "$functions" > "$file"
fi
hyperfine --style none --warmup 2 --runs "${RUNS:-10}" --export-json "$work/times.json" \
    -n "korvane outline" "$korvane outline $file" -n "korvane flow" "$korvane flow $file" >/dev/null 2>&1

echo "Flow arrangement, $(date -u +%Y-%m-%d), $(nproc) cores, $(git -C "$here" rev-parse --short HEAD)"
echo "File: $([ -f "$functions" ] && echo "$file" || echo "$functions generated functions"), $(wc -l < "$file") lines; $("$korvane" flow "$file" --json | jq '"\(.boxes | length) boxes, \(.edges | length) calls, \(.boxes | map(.layer) | max + 1) layers"' -r)"
echo
echo "| command | mean (ms) | ± (ms) |"
echo "|---|---|---|"
jq -r '.results[] | "| \(.command) | \(.mean * 1000 | round) | \(.stddev * 1000 | round) |"' "$work/times.json"
echo
echo "Arrangement alone: $(jq '(.results[1].mean - .results[0].mean) * 1000 | round' "$work/times.json") ms"
