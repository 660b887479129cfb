#!/usr/bin/env bash
# scripts/check-layers.sh [SRC]: checks that every folder under src/ includes only from itself and
# the layers beneath it, that includes are written from src/ ("model/filenode.h"), and that a
# header ending in _p.h is included only inside its own folder. Prints each offending line as
# FILE:LINE and exits 1 when there is one.
set -euo pipefail
src=${1:-"$(cd "$(dirname "$0")/.." && pwd)/src"}

# Each layer and the layers it links directly, lowest first; what those link is allowed too.
declare -A links=(
    [git]=""
    [model]="git"
    [scan]="model git"
    [history]="scan model git"
    [text]=""
    [document]="text"
    [imports]="scan model text"
    [search]="scan model text"
    [engineering]=""
    [layout]="model document imports"
    [preview]="model text document engineering"
    [state]="preview layout history search imports document engineering scan text model git"
    [scene]="state"
    [ui]="scene"
    [cli]="preview layout history search imports document engineering scan text model git"
    [app]="cli ui"
)

# The layers a folder may include from: itself and everything it reaches through its links.
allowed() {
    local -A seen=()
    local queue=("$1") layer next
    while [ ${#queue[@]} -gt 0 ]; do
        layer=${queue[0]}
        queue=("${queue[@]:1}")
        [ -n "${seen[$layer]:-}" ] && continue
        seen[$layer]=1
        for next in ${links[$layer]}; do queue+=("$next"); done
    done
    echo "${!seen[@]}"
}

status=0
complain() {
    echo "$1: $2" >&2
    status=1
}

for dir in "$src"/*/; do
    layer=$(basename "$dir")
    if [ -z "${links[$layer]+known}" ]; then
        complain "$dir" "a folder that is no layer; add it to scripts/check-layers.sh"
        continue
    fi
    reach=" $(allowed "$layer") "
    while IFS=: read -r file line text; do
        target=$(sed -E 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"([^"]*)".*/\1/' <<<"$text")
        from=${target%%/*}
        where=${file#"$src"/}
        if [ "$from" = "$target" ] || [ -z "${links[$from]+known}" ]; then
            complain "src/$where:$line" "\"$target\" is not written from src/ (such as \"model/filenode.h\")"
        elif [[ "$reach" != *" $from "* ]]; then
            complain "src/$where:$line" "$layer may not include \"$target\": $from is not beneath it"
        elif [[ "$target" == *_p.h ]] && [ "$from" != "$layer" ]; then
            complain "src/$where:$line" "\"$target\" belongs to $from alone"
        fi
    done < <(grep -rnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' "$dir" --include='*.h' --include='*.cpp' || true)
done
exit $status
