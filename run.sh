#!/usr/bin/env bash
# ./run.sh [ARGUMENTS]: builds Korvane (Release) and runs it with the given arguments.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
"$here/scripts/build.sh" release korvane >&2
exec "$here/build/release/src/app/korvane" "$@"
