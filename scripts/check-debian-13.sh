#!/usr/bin/env bash
# Builds the program and the unit tests in a bare Debian 13, and runs the tests there.
#   scripts/check-debian-13.sh
# Needs root for the bare system.
set -euo pipefail
cd "$(dirname "$0")/.."

[[ $(id -u) == 0 ]] || { echo "check-debian-13: only root can make a bare system: run it as root, or in a container." >&2; exit 1; }
root=$PWD/build/debian-13
log=$PWD/build/debian-13.log
trap 'rm -rf --one-file-system "$root"' EXIT
rm -rf --one-file-system "$root"
mkdir -p build

echo "== Debian 13"
mmdebstrap --quiet --mode=root --variant=minbase --skip=cleanup/apt/lists --include=ca-certificates trixie "$root" \
    "deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] http://deb.debian.org/debian trixie main"
cp /etc/resolv.conf "$root/etc/resolv.conf"
cp --no-clobber /etc/apt/apt.conf.d/* "$root/etc/apt/apt.conf.d/" # settings that may be needed to reach the mirrors
mkdir "$root/source"
git ls-files -z | xargs -0 cp --parents -t "$root/source"

# Runs in its own namespaces, so that nothing that it starts or mounts outlives it.
# shellcheck disable=SC2016
in_root=(unshare --mount --pid --fork --kill-child bash -c 'mount -t proc proc "$0/proc" && mount -t tmpfs tmpfs "$0/dev/shm" &&
    exec chroot "$0" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 "$@"' "$root")
step() {
    echo "== $1"
    "${in_root[@]}" bash -c "cd /source && $2" >"$log" 2>&1 || { tail -n 40 "$log"; exit 1; }
}
step "Packages" "scripts/install-packages.sh run check"
step "Build" "cmake --preset release -DCORVANE_TESTS=ON && cmake --build build/release --target corvane-lumetra corvane-sandbox corvane-tour unit-tests"
step "Unit tests" "ctest --test-dir build/release -L unit --output-on-failure"
tail -n 5 "$log"
