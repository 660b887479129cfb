# Sourced by the benchmark scripts: installs the measuring tools that are missing, builds the
# Release binary, and makes a work folder that goes away on exit. Sets `here`, `korvane`, `work`.
here="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$here/scripts/setup.sh" hyperfine jq time "$@" >&2
"$here/scripts/build.sh" release korvane >&2
korvane="$here/build/release/src/app/korvane"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
