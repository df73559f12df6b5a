#!/usr/bin/env bash
# Installs the missing packages of scripts/packages-LIST.txt; does nothing if none is missing.
#   scripts/install-packages.sh run [check] [ci] [desktops]
set -euo pipefail
cd "$(dirname "$0")/.."

lists=()
for list in "${@:-run}"; do
    lists+=("scripts/packages-$list.txt")
done
if ! command -v dpkg-query >/dev/null; then
    echo "This script installs packages with apt-get, so it needs Debian or a derivative." >&2
    echo "On other systems, install what ${lists[*]} list and build with cmake --preset release." >&2
    exit 1
fi

missing=()
while read -r package; do
    [[ -z $package || $package == \#* ]] && continue
    status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [[ $status == installed ]] || missing+=("$package")
done < <(cat "${lists[@]}")
((${#missing[@]})) || exit 0

as_root=()
if [[ $(id -u) != 0 ]]; then
    as_root=(sudo)
fi
echo "Installing: ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
