#!/usr/bin/env bash
# bench/syntax.sh [FILE...]: syntax colouring in the preview on a Release build. Generates a
# 20,000-line C++ file (big.cpp of bench/make-sources.sh), or takes the files given, and times in
# process (bench/syntaxbench.cpp), as medians of many runs:
#   - a screen of 60 lines at the top, the middle and the end of the file: the carry it starts with
#     (through SyntaxCarries) and its spans, on a first visit and on a revisit;
#   - the whole file coloured line by line, and walked for its carries alone.
# Goal: a screen of a 20,000-line C++ file under 2 ms, wherever it is.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
"$here/scripts/build.sh" release syntax_bench >&2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
files=()
if [ $# -gt 0 ]; then
    for given in "$@"; do
        cp "$given" "$work/"
        files+=("$(basename "$given")")
    done
else
    "$here/bench/make-sources.sh" "$work"
    files=(big.cpp)
fi

echo "Syntax colouring, $(date -u +%Y-%m-%d), $(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg), $(git -C "$here" rev-parse --short HEAD)"
echo
(cd "$work" && "$here/build/release/bench/syntax_bench" "${files[@]}")
