#!/usr/bin/env bash
# Runs scripts/check-layers.sh on small source trees: a clean one passes, and each wrong include
# fails with its file and line named.
set -euo pipefail
check=${1:?path of check-layers.sh}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

# tree NAME: a source tree whose lowest and highest layers include as they should.
tree() {
    rm -rf "$work/src"
    mkdir -p "$work/src/model" "$work/src/layout" "$work/src/document/native" "$work/src/ui"
    printf '#pragma once\n' >"$work/src/model/filenode.h"
    printf '#include "model/filenode.h"\n#include <QString>\n' >"$work/src/layout/treemap.cpp"
    printf '#pragma once\n' >"$work/src/document/native/tokenscan_p.h"
    printf '#include "document/native/tokenscan_p.h"\n' >"$work/src/document/native/creader.cpp"
    printf '#include "layout/treemap.h"\n#include "model/filenode.h"\n' >"$work/src/ui/view.cpp"
}

# expect NAME STATUS TEXT: the check exits with STATUS and, when failing, names TEXT.
expect() {
    local output status=0
    output=$("$check" "$work/src" 2>&1) || status=$?
    if [ "$status" -ne "$2" ] || [[ "$output" != *"$3"* ]]; then
        echo "FAIL $1: status $status, expected $2 with \"$3\"; said: $output"
        failures=$((failures + 1))
    else
        echo "ok   $1"
    fi
}

tree
expect clean 0 ""

tree
printf '\n#include "layout/treemap.h"\n' >>"$work/src/model/filenode.h"
expect "a lower layer includes a higher one" 1 "src/model/filenode.h:3: model may not include \"layout/treemap.h\""

tree
printf '#include "ui/view.h"\n' >>"$work/src/layout/treemap.cpp"
expect "a layer includes the window" 1 "src/layout/treemap.cpp:3"

tree
printf '#include "filenode.h"\n' >>"$work/src/layout/treemap.cpp"
expect "a bare include" 1 "\"filenode.h\" is not written from src/"

tree
printf '#include "document/native/tokenscan_p.h"\n' >>"$work/src/layout/treemap.cpp"
expect "another library's private header" 1 "belongs to document alone"

tree
mkdir "$work/src/extras"
expect "a folder that is no layer" 1 "a folder that is no layer"

[ "$failures" -eq 0 ]
