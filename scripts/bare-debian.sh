# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# A bare Debian of this machine's release, in a folder. Sourced after scripts/common.sh, by root, who has set
# $root: the folder, and $folder: the place of the logs. The bare Debian is kept for the next time, as
# $bare_debian; delete that to have it made anew.
# shellcheck shell=bash disable=SC2154
bare_debian=build/clean-root/bare.tar

# Only namespaces of the commands below have mounts there.
remove_root() { rm -rf --one-file-system "$root"; }

# unpack_bare_debian: makes the folder anew, with nothing but that in it.
unpack_bare_debian() {
    [ -f $bare_debian ] || make_bare_debian
    remove_root
    mkdir "$root"
    tar -C "$root" -xf $bare_debian
    cp --remove-destination -L /etc/resolv.conf "$root/etc/resolv.conf"
}

# The mirror and the release are those of this machine.
make_bare_debian() {
    local release mirror
    release=$(. /etc/os-release && echo "$VERSION_CODENAME")
    mirror=$(apt-get indextargets --format '$(CODENAME) $(REPO_URI)' 'Created-By: Packages' |
        awk -v release="$release" '$1 == release { print $2; exit }')
    [ -n "$mirror" ] || fail "apt knows no mirror of Debian $release; see /etc/apt/sources.list.d"
    say "making a bare Debian $release (output: $folder/bare.log)"
    remove_root
    debootstrap --variant=minbase --include=systemd,udev "$release" "$root" "$mirror" \
        >"$folder/bare.log" 2>&1 || { tail -n 5 "$folder/bare.log" >&2; fail "debootstrap failed"; }
    say "downloaded: $(du -cm "$root"/var/cache/apt/archives/*.deb | tail -n 1 | cut -f 1) MB"
    mkdir -p "${bare_debian%/*}"
    tar -C "$root" -cf $bare_debian.new .
    mv $bare_debian.new $bare_debian
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

# install_what_they_need NAME... -- PACKAGE.deb...: installs in the bare Debian what packages depend on beside each other,
# and these.
install_what_they_need() {
    local depends names=()
    while [ "$1" != -- ]; do names+=("$1"); shift; done
    shift
    depends=$(for package in "$@"; do dpkg-deb -f "$package" Depends; done | tr ',' '\n' | sed 's/^ *//' |
        grep -v '^bivista ' | sort -u | paste -sd ,)
    say "installing what they depend on (output: $folder/depends.log)"
    { inside apt-get update -q &&
        inside apt-get satisfy -q -y --no-install-recommends "$depends" "${names[@]}"; } \
        >"$folder/depends.log" 2>&1 || { tail -n 5 "$folder/depends.log" >&2; fail "they cannot be installed"; }
    sed -n 's/^Need to get \(.*\) of archives.*/downloaded: \1/p' "$folder/depends.log"
}

# inventory FOLDER: prints every file and folder below it but those that dpkg, apt and ldconfig keep for
# themselves.
inventory() {
    (cd "$1" && find . -xdev \( -path ./var/cache -o -path ./var/log -o -path ./var/lib/apt \
        -o -path ./var/lib/dpkg/status -o -path ./var/lib/dpkg/status-old -o -path './var/lib/dpkg/lock*' \
        -o -path ./etc/ld.so.cache \
        -o -path ./var/lib/dpkg/triggers -o -path ./var/lib/dpkg/available \) -prune \
        -o -type d -printf '%p %m %U %G\n' -o -printf '%p %m %U %G %l %s %T@\n') | sort
}
