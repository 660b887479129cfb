#!/usr/bin/env bash
# scripts/check-package.sh DEB: installs the package on this machine with apt, runs the installed
# korvane (--version, a scan, a snapshot under xvfb-run), validates the desktop entry and the
# AppStream metadata it brought, and removes it again, also when a step fails.
set -euo pipefail
cd "$(dirname "$0")/.."
deb=$(realpath "$1")
scripts/setup.sh desktop-file-utils appstream xvfb xauth

sudo=""
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "Run as root, or install sudo, to install $deb" >&2; exit 1; }
    sudo=sudo
fi
export DEBIAN_FRONTEND=noninteractive
trap '$sudo apt-get remove -y -qq korvane >/dev/null 2>&1 || true' EXIT
$sudo apt-get install -y -qq --no-install-recommends "$deb" >&2

step() { echo "== $*" >&2; }
step "korvane --version"
version=$(/usr/bin/korvane --version)
echo "$version"
[[ $version =~ ^korvane\ [0-9]+\.[0-9]+\.[0-9]+(\ \([0-9a-f]{7,}\))?$ ]] || { echo "unexpected version: $version" >&2; exit 1; }

step "korvane scan"
/usr/bin/korvane scan tests/data/scan-basic

step "korvane snapshot under xvfb-run"
out=$(mktemp -d)
trap '$sudo apt-get remove -y -qq korvane >/dev/null 2>&1 || true; rm -rf "$out"' EXIT
xvfb-run -a /usr/bin/korvane snapshot tests/data/scan-basic --out "$out/city.png" --size 640x400
[ "$(head -c 8 "$out/city.png" | od -An -tx1 | tr -d ' \n')" = 89504e470d0a1a0a ] \
    || { echo "the snapshot is not a PNG" >&2; exit 1; }
echo "$(stat -c %s "$out/city.png") bytes of PNG"

step "the installed desktop entry and metadata"
desktop=$(dpkg -L korvane | grep '^/usr/share/applications/.*\.desktop$')
metainfo=$(dpkg -L korvane | grep '^/usr/share/metainfo/.*\.metainfo\.xml$')
desktop-file-validate "$desktop"
appstreamcli validate --no-net --strict "$metainfo"
if command -v man >/dev/null; then man -w korvane; fi
bash -c 'source /usr/share/bash-completion/completions/korvane && complete -p korvane'

step "removing the package"
$sudo apt-get remove -y -qq korvane >&2
[ ! -e /usr/bin/korvane ] || { echo "/usr/bin/korvane is still there" >&2; exit 1; }
echo "The package installs, runs and goes again." >&2
