#!/usr/bin/env bash
# Checks that each file of src/ includes only its own layer and those below, and names each header by its path from src/.
# Fails and prints the offending lines otherwise.
#   App over Windows over Views over ViewModels over Services over Models, Utilities and Platform
set -euo pipefail
cd "$(dirname "$0")/.."

layers=(Platform Utilities Models Services ViewModels Views Windows App)
declare -A height
for i in "${!layers[@]}"; do
    height[${layers[i]}]=$i
done
# Records and pure functions may use each other; the platform knows nothing of the program.
height[Models]=${height[Utilities]}

wrong=0
while IFS=: read -r file line header; do
    own=${file#src/}
    own=${own%%/*}
    target=${header%%/*}
    if [[ -z ${height[$target]:-} || ! -f src/$header ]]; then
        echo "$file:$line: $header is not the path of a header from src/" >&2
        wrong=1
    elif ((${height[$target]} > ${height[$own]})); then
        echo "$file:$line: the layer $own includes $header" >&2
        wrong=1
    fi
done < <(git ls-files 'src/*/*.h' 'src/*/*.cpp' | xargs grep -noP '^#include "\K[^"]+(?<!\.moc)(?=")')

# The platform could serve another program; everything above it belongs to this program and is in its namespace.
while read -r file; do
    if ! grep -q '^namespace corvane {\|^using namespace corvane;' "$file" && [[ $file != src/App/open.cpp ]]; then
        echo "$file: not in the program's namespace" >&2
        wrong=1
    fi
done < <(git ls-files 'src/*/*.h' 'src/*/*.cpp' ':!src/Platform')
exit $wrong
