#!/usr/bin/env bash
# data/icons/render.sh: draws the PNG sizes of the icon from its SVG with rsvg-convert (librsvg2-bin).
# Run it after changing the SVG and commit the PNGs with it; the build only installs them.
set -euo pipefail
cd "$(dirname "$0")/hicolor"
for svg in scalable/apps/*.svg; do
    name=$(basename "$svg" .svg)
    for size in 16 32 48 64 128 256; do
        mkdir -p "${size}x${size}/apps"
        rsvg-convert -w "$size" -h "$size" "$svg" -o "${size}x${size}/apps/$name.png"
    done
done
