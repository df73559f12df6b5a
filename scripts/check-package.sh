#!/usr/bin/env bash
# Builds the Debian package, inspects it, installs it in a minimal system, starts it there and removes it.
#   scripts/check-package.sh [BUILD]
# Needs root to create the minimal system, which comes from the mirrors that this system uses.
set -euo pipefail
cd "$(dirname "$0")/.."

build=$(realpath "${1:-build/release}")
work=$build/package
root=$work/root
display=:$((200 + $$ % 700))
link=corvane://interview/3f2b8c64-9d1e-4a57-b0c3-5e8f7a6d2c19
started=()

fail() {
    echo "check-package: $*" >&2
    exit 1
}

finish() {
    for process in "${started[@]}"; do
        { kill -KILL "$process" && wait "$process"; } 2>/dev/null || true
    done
    rm -rf --one-file-system "$root"
}
trap finish EXIT

[[ $(id -u) == 0 ]] || fail "creating a minimal system needs root: run this as root, or in a container."
rm -rf --one-file-system "$work"

echo "== The package"
(cd "$build" && cpack -G DEB) >"$build/package.log" 2>&1 || fail "cpack failed: see $build/package.log"
package=$(echo "$work"/corvane-lumetra_*.deb)
ls -l "$package"
lintian --allow-root --fail-on error,warning "$package"
scripts/check-hardening.sh "$build"/bin/corvane-lumetra "$build"/bin/corvane-lumetra-open "$build"/bin/corvane-lumetra-install
appstreamcli validate --no-net "$build"/packaging/com.corvane.Lumetra.metainfo.xml
mkdir -p "$work/man/man1" # one page includes the other by this path
cp "$build"/packaging/*.1 "$work/man/man1"
for page in "$work"/man/man1/*.1; do
    complaints=$(cd "$work/man" && MANROFFSEQ='' LC_ALL=C.UTF-8 groff -man -Tutf8 -ww "$page" 2>&1 >/dev/null)
    [[ -z $complaints ]] || fail "$page: $complaints"
done

echo "== A minimal system"
mirrors=()
for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources; do
    [[ -s $list ]] && mirrors+=("$list")
done
# The last three packages represent the desktop, which has an index of the programs for each kind of link, and a session bus.
mmdebstrap --quiet --mode=root --variant=minbase --skip=cleanup/apt/lists \
    --include=ca-certificates,desktop-file-utils,dbus-daemon,dbus-session-bus-common bookworm "$root" "${mirrors[@]}"
cp "$package" "$root/corvane.deb"
cp /etc/resolv.conf "$root/etc/resolv.conf"
cp --no-clobber /etc/apt/apt.conf.d/* "$root/etc/apt/apt.conf.d/" # settings that may be needed to reach the mirrors
# Runs in its own namespaces, so that nothing that it starts or mounts outlives it.
# shellcheck disable=SC2016
in_root=(unshare --mount --pid --fork --kill-child bash -c 'mount -t proc proc "$0/proc" && exec chroot "$0" "$@"' "$root")
"${in_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends /corvane.deb >"$build/package.log" 2>&1 ||
    fail "the package does not install: see $build/package.log"
du -sh "$root"

echo "== Installed"
for file in usr/share/applications/com.corvane.Lumetra.desktop usr/share/dbus-1/services/com.corvane.Lumetra.service; do
    grep -q '^Exec=/usr/bin/corvane-lumetra' "$root/$file" || fail "$file does not name an installed program."
done
grep -q '^x-scheme-handler/corvane=com.corvane.Lumetra.desktop' "$root/usr/share/applications/mimeinfo.cache" ||
    fail "no program is registered for links."
installer=$(sed -n 's/.*exec.path">\(.*\)<.*/\1/p' "$root/usr/share/polkit-1/actions/com.corvane.Lumetra.policy")
[[ -x $root/$installer ]] || fail "the policy does not name an installed program: $installer."
[[ -s $root/usr/share/icons/hicolor/scalable/apps/com.corvane.Lumetra.svg ]] || fail "the icon is missing."
while read -r module; do
    compgen -G "$root/usr/lib/*/qt6/qml/${module//.//}/qmldir" >/dev/null || fail "the package does not bring $module."
done < <(grep -rhoP '^import \KQt[A-Za-z.]+' src/Views --include='*.qml' | sort -u)

echo "== Started"
Xvfb "$display" -screen 0 1280x900x24 >/dev/null 2>&1 &
started+=($!)
user=(env -i PATH=/usr/bin:/bin HOME=/root LANG=C.UTF-8 DISPLAY="$display" DBUS_SESSION_BUS_ADDRESS=unix:path=/tmp/bus)
"${in_root[@]}" "${user[@]}" dbus-daemon --session --nofork --address=unix:path=/tmp/bus >"$work/bus.log" 2>&1 &
started+=($!)
colours() {
    { xwd -root -silent -display "$display" 2>/dev/null || true; } | od -An -v -tx4 -w4 | sort -u | wc -l
}
soon() { # condition; fails if it does not hold within twenty seconds
    for ((i = 0; i < 100; i++)); do
        if "$@"; then return 0; fi
        sleep 0.2
    done
    return 1
}
display_there() { empty=$(colours) && ((empty > 0)); }
nothing_shown() { (($(colours) <= empty)); }
window_shown() { (($(colours) > empty + 20)); }
program_reached() {
    dbus-send --bus="unix:path=$root/tmp/bus" --dest=org.freedesktop.DBus --print-reply=literal / \
        org.freedesktop.DBus.GetNameOwner string:com.corvane.Lumetra 2>/dev/null
}
soon display_there || fail "no display could be started."
soon test -S "$root/tmp/bus" || fail "no session bus could be started."
"${in_root[@]}" "${user[@]}" corvane-lumetra >"$work/log" 2>&1 &
program=$!
started+=("$program")
soon window_shown || fail "the program shows no window: $(cat "$work/log")"
cat "$work/log"
! grep -qiE 'module .* is not installed|cannot load|qrc:.*error|is not a type' "$work/log" || fail "a view could not be loaded completely."
soon program_reached || fail "the program is not reachable for links."
kill -KILL "$program" # ends everything in the namespace; other signals do not get through
wait "$program" 2>/dev/null || true

echo "== Started by a link"
soon nothing_shown || fail "the window did not disappear."
"${in_root[@]}" "${user[@]}" corvane-lumetra-open "$link" || fail "the link was not accepted."
soon window_shown || fail "no window appeared after the session bus started the program: $(cat "$work/bus.log")"
soon grep -q "\[DeepLink\] Received interview ID: ${link##*/}" "$work/bus.log" || fail "the link did not arrive: $(cat "$work/bus.log")"
program_reached || fail "the program was not started by the session bus."

echo "== Removed"
"${in_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq corvane-lumetra >"$build/package.log" 2>&1 ||
    fail "the package cannot be removed: see $build/package.log"
left=$(find "$root" -xdev \( -path "$root/proc" -o -path "$root/root" -o -path "$root/tmp" \) -prune -o -iname '*corvane*' -print |
    grep -v '/corvane.deb$' || true)
[[ -z $left ]] || fail "the package leaves files behind: $left"
! grep -q corvane "$root/usr/share/applications/mimeinfo.cache" 2>/dev/null || fail "the program is still registered for links."
echo "The package can be installed, started and removed."
