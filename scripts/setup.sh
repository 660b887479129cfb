#!/usr/bin/env bash
# scripts/setup.sh [PACKAGE...]: installs the Debian packages Korvane builds and tests with, and
# any named, when one is missing. Quick when everything is there: dpkg queries, no network.
set -euo pipefail

packages=(build-essential cmake ninja-build git qt6-base-dev libqt6opengl6-dev libgl-dev libgtest-dev
          libqt6svg6 qt6-image-formats-plugins xvfb xauth libgl1-mesa-dri "$@")

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing ${missing[*]}" >&2
sudo=""
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "Run as root, or install sudo, to install: ${missing[*]}" >&2; exit 1; }
    sudo=sudo
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
