#!/usr/bin/env bash
# Whether each file of src/ includes only its own layer and those below. Fails and names the lines otherwise.
#   App over Windows over Views over ViewModels over Services over Models, Utilities and Platform
set -euo pipefail
cd "$(dirname "$0")/.."

layers=(Platform Utilities Models Services ViewModels Views Windows App)
declare -A height home
for i in "${!layers[@]}"; do
    height[${layers[i]}]=$i
done
# Records and pure functions may use each other; the platform knows nothing of the program.
height[Models]=${height[Utilities]}

layer_of() {
    local path=${1#src/}
    echo "${path%%/*}"
}
while read -r header; do
    home[${header##*/}]=$(layer_of "$header")
done < <(git ls-files 'src/*.h')

wrong=0
while IFS=: read -r file line header; do
    target=${home[$header]:-}
    if [[ -n $target && ${height[$target]} -gt ${height[$(layer_of "$file")]} ]]; then
        echo "$file:$line: includes $header of the layer $target" >&2
        wrong=1
    fi
done < <(git ls-files 'src/*.h' 'src/*.cpp' | xargs grep -noP '^#include "\K[^"]+')
exit $wrong
