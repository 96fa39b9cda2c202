#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Makes the disk of a Debian machine with systemd, udev, a package in /root, and what that depends on. As root.
#     vm/debian/image.sh PACKAGE.deb FOLDER       makes FOLDER/disk.img
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
source scripts/common.sh

package=$1
folder=$2
root=$PWD/$folder/root
source scripts/bare-debian.sh
trap remove_root EXIT

unpack_bare_debian
# The unit has its drivers loaded by modprobe.
install_what_they_need kmod -- "$package"
rm -rf "$root"/var/cache/apt/archives/*.deb
echo bivista >"$root/etc/hostname"
cp "$package" "$root/root/bivista.deb"

say "making the disk"
rm -f "$folder/disk.img"
mkfs.ext4 -q -d "$root" "$folder/disk.img" "$(du -sm --one-file-system "$root" | awk '{ print int($1 * 1.2) + 128 }')M"
