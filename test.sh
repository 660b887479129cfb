#!/usr/bin/env bash
# ./test.sh [dev|asan]: builds with warnings as errors and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")"
preset=${1:-dev}
scripts/build.sh "$preset"
exec ctest --preset "$preset" -j2
