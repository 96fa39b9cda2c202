#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Installs the Debian package in a bare Debian of this machine's release, in a folder below build/; runs
# the service there as its unit says and on the emulated phone, and calls both; removes the package,
# and compares what is left with what was. The machine itself stays as it is.
#     scripts/clean-root.sh [PACKAGE.deb]     without a package: builds it, then becomes root
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

folder=build/clean-root
root=$PWD/$folder/root
# The user makes the folder, and can delete what root leaves there.
mkdir -p $folder
if [ $# = 0 ]; then
    build_packages
    [ "$(id -u)" = 0 ] || say "Root is needed to make a bare Debian: using sudo"
    as_root scripts/clean-root.sh "$package"
    exit
fi
package=$1
source scripts/bare-debian.sh
trap remove_root EXIT

unpack_bare_debian
cp "$package" "$root/root/bivista.deb"
cp scripts/clean-root-session.sh "$root/root/session.sh"
install_what_it_needs "$package"
inventory "$root" >"$folder/before"

say "installing the package"
inside apt-get install -q -y --no-install-recommends /root/bivista.deb >"$folder/dpkg.log" 2>&1 ||
    { cat "$folder/dpkg.log" >&2; fail "apt-get install failed"; }
inside systemctl --quiet enable bivista
[ -L "$root/etc/systemd/system/multi-user.target.wants/bivista.service" ] || fail "the unit was not enabled"

inside bash /root/session.sh

say "removing the package"
inside dpkg --purge bivista >"$folder/dpkg.log" 2>&1 || { cat "$folder/dpkg.log" >&2; fail "dpkg --purge failed"; }
inventory "$root" >"$folder/after"
diff "$folder/before" "$folder/after" || fail "removing the package has left these files"
say "nothing is left"
