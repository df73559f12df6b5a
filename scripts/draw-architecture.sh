#!/usr/bin/env bash
# Draws docs/pictures/architecture.svg from the link dependencies of the libraries. Arrows that follow from others are left
# out. Needs graphviz.
#   scripts/draw-architecture.sh [BUILD]
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build/release}
graph=$build/architecture.dot
cmake --graphviz="$graph" "$build" >/dev/null
# Removes the legend, which is a separate graph, and makes all boxes plain.
awk '/subgraph clusterLegend/ { skip = 1 } !skip { print } skip && /^}/ { skip = 0 }' "$graph" |
    sed -E 's/shape = [a-z]+/shape = box/; s/style = [a-z]+/style = solid/' |
    tred 2>/dev/null |
    dot -Tsvg -Gfontname=sans-serif -Nfontname=sans-serif -Nfontsize=11 -Gnodesep=0.2 -o docs/pictures/architecture.svg
echo "docs/pictures/architecture.svg"
