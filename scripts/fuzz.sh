#!/usr/bin/env bash
# scripts/fuzz.sh [SECONDS] [TARGET...]: builds the fuzz targets with clang and runs each (or those
# named, such as fuzz_sexpr) for SECONDS (default 30), printing how many inputs it ran and any
# fault. With RUNS=N in the environment a target also stops after N inputs, whichever comes first
# (RUNS=10000000 scripts/fuzz.sh 86400 runs ten million inputs a target). An input that crashes a
# target is left in the project folder as crash-<hash>.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
shift || true
scripts/setup.sh clang libclang-rt-14-dev
scripts/build.sh fuzz
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=($(cd build/fuzz/fuzz && ls fuzz_*))
# Without the allocation stacks that AddressSanitizer keeps for every block, a long run stays flat in
# memory and runs faster: Qt's frames carry no frame pointers, so each stack read
# through them is new and kept for good (fuzz_stylereader grew past 2 GB in 2.5 million inputs). A
# fault found is run again by hand, where the stacks are back.
export ASAN_OPTIONS=${ASAN_OPTIONS:-malloc_context_size=0}
for name in "${targets[@]}"; do
    target="build/fuzz/fuzz/$name"
    [ -x "$target" ] || continue
    corpus="build/fuzz/corpus/$(basename "$target")"
    mkdir -p "$corpus"
    echo "Fuzzing $(basename "$target") for $seconds s" >&2
    "$target" -max_total_time="$seconds" -runs="${RUNS:--1}" -print_final_stats=1 "$corpus" 2>&1 \
        | grep -E "^stat::(number_of_executed_units|average_exec_per_sec|peak_rss_mb)|ERROR|SUMMARY" >&2
done
