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

is_installed() {
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null || true) == installed ]]
}

# A line names one package, or several separated by "|", of which releases of Debian have different ones.
missing=()
while IFS=' |' read -r -a names; do
    [[ ${#names[@]} == 0 || ${names[0]} == \#* ]] && continue
    for name in "${names[@]}"; do
        is_installed "$name" && continue 2
    done
    missing+=("${names[*]}")
done < <(cat "${lists[@]}")
((${#missing[@]})) || exit 0

as_root=()
if [[ $(id -u) != 0 ]]; then
    as_root=(sudo)
fi
"${as_root[@]}" apt-get update -qq
packages=()
for line in "${missing[@]}"; do
    read -r -a names <<<"$line"
    chosen=${names[0]}
    for name in "${names[@]}"; do
        if [[ $(apt-cache policy "$name") == *'Candidate: '[0-9]* ]]; then
            chosen=$name
            break
        fi
    done
    packages+=("$chosen")
done
echo "Installing: ${packages[*]}"
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${packages[@]}"
