#!/usr/bin/env bash
# bench/replay.sh REPOSITORY [FRAMES]: how fast `korvane replay` draws a repository's history at
# 1280x720 on a Release build under Xvfb's software renderer, one commit a frame from the middle of
# the history: into PNG frames, into an .mp4 through ffmpeg, and a one-frame replay (reading the
# history from its cache, laying the city out, making the GL context), which is taken off both to
# give frames a second. The floor: ffmpeg alone encoding the same PNG frames into the same .mp4.
set -euo pipefail
source "$(dirname "$0")/common.sh" xvfb xauth ffmpeg
repo=${1:?usage: bench/replay.sh REPOSITORY [FRAMES]}
repo=$(cd "$repo" && pwd)
frames=${2:-300}
runs=${RUNS:-3}
commits=$(git -C "$repo" rev-list --count --first-parent HEAD)
from=$(((commits - frames) / 2))
from=$((from < 0 ? 0 : from))
to=$((from + frames))
"$korvane" history "$repo" >/dev/null # the history cache is warm for every run
replay="xvfb-run -a -s '-screen 0 1600x1000x24' $korvane replay $repo --speed 30 --fps 30 --size 1280x720"
mkdir -p "$work/keep"
eval "$replay --out $work/keep/frames --from $from --to $to" >/dev/null 2>&1
hyperfine --style none --warmup 1 --runs "$runs" --export-json "$work/times.json" \
    --prepare "rm -rf $work/frames $work/out.mp4" \
    -n one_frame "$replay --out $work/frames --from $from --to $from" \
    -n png_frames "$replay --out $work/frames --from $from --to $to" \
    -n mp4 "$replay --out $work/out.mp4 --from $from --to $to" \
    -n ffmpeg_floor "ffmpeg -v error -y -framerate 30 -i $work/keep/frames/frame-%05d.png -c:v libx264 -preset veryfast -crf 20 -pix_fmt yuv420p $work/out.mp4" \
    >/dev/null 2>&1

count=$((to - from + 1))
echo "Replay, $(date -u +%Y-%m-%d), $(nproc) cores, $(git -C "$here" rev-parse --short HEAD)"
echo "Repository: $repo, $commits first-parent commits; commits $((from + 1)) to $((to + 1)), $count frames at 1280x720"
echo
echo "| run | mean (s) | ± (s) | frames a second, start-up taken off |"
echo "|---|---|---|---|"
startup=$(jq '.results[0].mean' "$work/times.json")
for i in 0 1 2 3; do
    jq -r --arg startup "$startup" --arg count "$count" ".results[$i] |
        (if .command == \"one_frame\" or .command == \"ffmpeg_floor\" then \"\" else
            (\$count | tonumber) / (.mean - (\$startup | tonumber)) | . * 10 | round / 10 | tostring end) as \$fps |
        \"| \(.command) | \(.mean * 1000 | round / 1000) | \(.stddev * 1000 | round / 1000) | \(\$fps) |\"" \
        "$work/times.json"
done
