#!/usr/bin/env bash
# scripts/fuzz.sh [SECONDS]: builds the fuzz targets with clang and runs each for SECONDS (default 30).
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
scripts/setup.sh clang libclang-rt-14-dev
scripts/build.sh fuzz
for target in build/fuzz/fuzz/fuzz_*; do
    [ -x "$target" ] || continue
    corpus="build/fuzz/corpus/$(basename "$target")"
    mkdir -p "$corpus"
    echo "Fuzzing $(basename "$target") for $seconds s" >&2
    "$target" -max_total_time="$seconds" -print_final_stats=1 "$corpus" 2>&1 | tail -n 3 >&2
done
