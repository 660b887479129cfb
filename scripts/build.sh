#!/usr/bin/env bash
# scripts/build.sh PRESET [TARGET...]: installs what is missing, configures once, builds.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=$1
shift
scripts/setup.sh
[ -f "build/$preset/CMakeCache.txt" ] || cmake --preset "$preset" >/dev/null
targets=()
for target in "$@"; do targets+=(--target "$target"); done
cmake --build --preset "$preset" "${targets[@]}"
