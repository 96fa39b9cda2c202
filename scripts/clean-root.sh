#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Installs the Debian package in a bare Debian of this machine's release, in a folder below build/; runs
# the service there as its unit says and on the emulated phone, and calls both; removes the package,
# and compares what is left with what was. The machine itself stays as it is.
#     scripts/clean-root.sh [PACKAGE.deb]     without a package: builds it, then becomes root
# build/clean-root keeps the bare Debian for the next time, as bare.tar; delete it to have it made anew.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

folder=build/clean-root
root=$PWD/$folder/root
# The user makes the folder, and can delete what root leaves there.
mkdir -p $folder
if [ $# = 0 ]; then
    build_package
    [ "$(id -u)" = 0 ] || say "Root is needed to make a bare Debian: using sudo"
    as_root scripts/clean-root.sh "$package"
    exit
fi
package=$1
# Only namespaces of the commands below have mounts there.
remove_root() { rm -rf --one-file-system "$root"; }
trap remove_root EXIT

# The mirror and the release are those of this machine.
make_bare() {
    local release mirror
    release=$(. /etc/os-release && echo "$VERSION_CODENAME")
    mirror=$(apt-get indextargets --format '$(CODENAME) $(REPO_URI)' 'Created-By: Packages' |
        awk -v release="$release" '$1 == release { print $2; exit }')
    [ -n "$mirror" ] || fail "apt knows no mirror of Debian $release; see /etc/apt/sources.list.d"
    say "making a bare Debian $release (output: $folder/bare.log)"
    remove_root
    debootstrap --variant=minbase --include=systemd,udev "$release" "$root" "$mirror" \
        >"$folder/bare.log" 2>&1 || { tail -n 5 "$folder/bare.log" >&2; fail "debootstrap failed"; }
    tar -C "$root" -cf "$folder/bare.tar.new" .
    mv "$folder/bare.tar.new" "$folder/bare.tar"
}

# inside COMMAND...: runs a command in the bare Debian, with processes, mounts and a /dev of its own. The folder
# becomes the root of a mount namespace: the emulator cannot make its world in a mere chroot.
inside() {
    # shellcheck disable=SC2016
    unshare --mount --pid --fork --kill-child --ipc --uts bash -euc '
        mount --bind "$0" "$0"
        cd "$0"
        mount -t proc proc proc
        mount -t sysfs -o ro sysfs sys
        mount -t tmpfs none run
        mount -t tmpfs none dev
        mkdir dev/pts dev/shm
        for node in full null random tty urandom zero; do
            touch dev/$node
            mount --bind /dev/$node dev/$node
        done
        pivot_root . mnt
        umount -l /mnt
        exec "$@"' "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin DEBIAN_FRONTEND=noninteractive \
        LC_ALL=C.UTF-8 "$@"
}

# inventory: prints every file and folder but those that dpkg and apt keep for themselves.
inventory() {
    (cd "$root" && find . -xdev \( -path ./var/cache -o -path ./var/log -o -path ./var/lib/apt \
        -o -path ./var/lib/dpkg/status -o -path ./var/lib/dpkg/status-old -o -path './var/lib/dpkg/lock*' \
        -o -path ./var/lib/dpkg/triggers -o -path ./var/lib/dpkg/available \) -prune \
        -o -type d -printf '%p %m %U %G\n' -o -printf '%p %m %U %G %l %s %T@\n') | sort
}

[ -f "$folder/bare.tar" ] || make_bare
remove_root
mkdir "$root"
tar -C "$root" -xf "$folder/bare.tar"
cp --remove-destination -L /etc/resolv.conf "$root/etc/resolv.conf"
cp "$package" "$root/root/bivista.deb"
cp scripts/clean-root-session.sh "$root/root/session.sh"

say "installing what the package depends on (output: $folder/depends.log)"
{ inside apt-get update -q &&
    inside apt-get satisfy -q -y --no-install-recommends "$(dpkg-deb -f "$package" Depends)"; } \
    >"$folder/depends.log" 2>&1 || { tail -n 5 "$folder/depends.log" >&2; fail "they cannot be installed"; }
inventory >"$folder/before"

say "installing the package"
inside apt-get install -q -y --no-install-recommends /root/bivista.deb >"$folder/dpkg.log" 2>&1 ||
    { cat "$folder/dpkg.log" >&2; fail "apt-get install failed"; }
inside systemctl --quiet enable bivista
[ -L "$root/etc/systemd/system/multi-user.target.wants/bivista.service" ] || fail "the unit was not enabled"

inside bash /root/session.sh

say "removing the package"
inside dpkg --purge bivista >"$folder/dpkg.log" 2>&1 || { cat "$folder/dpkg.log" >&2; fail "dpkg --purge failed"; }
inventory >"$folder/after"
diff "$folder/before" "$folder/after" || fail "removing the package has left these files"
say "nothing is left"
