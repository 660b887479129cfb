#!/usr/bin/env bash
# bench/treebomb.sh [LEVELS...]: peak memory and time of `scan` and `history` on a tiny repository
# whose one commit adds 10^LEVELS paths built from LEVELS shared trees and whose next commit takes
# them away (default levels 5 6 7), beside the git log the scan runs. Peak memory counts the git
# processes Korvane waited for; git's own log of the bomb is the floor.
source "$(dirname "$0")/common.sh"
levels=("$@")
[ $# -eq 0 ] && levels=(5 6 7)
printf '%-8s %-8s %10s %12s\n' paths command seconds "peak MiB"
for level in "${levels[@]}"; do
    repo="$work/bomb-$level"
    git init -q -b main "$repo"
    git -C "$repo" -c user.name=b -c user.email=b@b commit -q --allow-empty -m start
    echo keep > "$repo/keep.txt"
    git -C "$repo" add keep.txt
    git -C "$repo" -c user.name=b -c user.email=b@b commit -q -m keep
    tree=$(echo x | git -C "$repo" hash-object -w --stdin)
    kind="100644 blob"
    for ((l = 0; l < level; l++)); do
        name=$([ $l -eq 0 ] && echo f || echo d)
        tree=$(for i in 0 1 2 3 4 5 6 7 8 9; do printf '%s %s\t%s%s\n' "$kind" "$tree" "$name" "$i"; done \
            | git -C "$repo" mktree)
        kind="040000 tree"
    done
    head=$(git -C "$repo" rev-parse HEAD)
    top=$( (git -C "$repo" ls-tree HEAD; printf '040000 tree %s\tbomb\n' "$tree") | git -C "$repo" mktree)
    bomb=$(git -C "$repo" -c user.name=b -c user.email=b@b commit-tree "$top" -p "$head" -m bomb)
    gone=$(git -C "$repo" -c user.name=b -c user.email=b@b commit-tree "HEAD^{tree}" -p "$bomb" -m gone)
    git -C "$repo" update-ref HEAD "$gone"
    measure() {
        /usr/bin/time -f '%e %M' -o "$work/time" "$@" > /dev/null 2>&1 || true
        read -r seconds kib < <(tail -n 1 "$work/time")
        printf '%-8s %-8s %10s %12d\n' "1e$level" "$label" "$seconds" $((kib / 1024))
    }
    label="git log" measure git -C "$repo" log --relative --no-renames --format=%x01%ct --name-only -n 5000 -- .
    label=scan measure "$korvane" scan "$repo"
    label=history measure "$korvane" history "$repo" --no-cache
done
