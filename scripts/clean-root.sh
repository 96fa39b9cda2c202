#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Installs the Debian packages in a bare Debian of this machine's release, in a folder below build/: first an older
# version, then these. Runs the service there as its unit says and on the emulated phone, and calls both; builds and
# runs the examples of clients; removes the packages, and compares what is left with what was. The machine itself stays
# as it is.
#     scripts/clean-root.sh [PACKAGE.deb...]     without packages: builds them, then becomes root
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
    as_root scripts/clean-root.sh "${packages[@]}"
    exit
fi
packages=("$@")
source scripts/bare-debian.sh
trap remove_root EXIT

# done_in WHAT: prints how long it took since the last time.
done_in() {
    say "$1: $((SECONDS - since)) s"
    since=$SECONDS
}
# older PACKAGE.deb FOLDER: makes the same of a lower version.
older() {
    local version unpacked=$folder/older
    version=$(dpkg-deb -f "$1" Version)
    rm -rf $unpacked
    dpkg-deb -R "$1" $unpacked
    sed -i "s/^\(Version: \|Depends: .*bivista (= \)$version/\10.9.0/" $unpacked/DEBIAN/control
    dpkg-deb --root-owner-group -Zgzip -b $unpacked "$2" >/dev/null
    rm -r $unpacked
}
# apt_get WORD...: runs it inside, and shows its output where it fails.
apt_get() { inside apt-get "$@" >"$folder/apt.log" 2>&1 || { cat "$folder/apt.log" >&2; fail "apt-get $1 failed"; }; }
# has_version VERSION: all packages are installed, in this version.
has_version() {
    local name found
    for name in "${names[@]}"; do
        # shellcheck disable=SC2016
        found=$(inside dpkg-query -W -f '${Status} ${Version}' "$name")
        [ "$found" = "install ok installed $1" ] || fail "$name: $found, and not $1"
    done
}

since=$SECONDS
unpack_bare_debian
mkdir "$root/root/older" "$root/root/packages"
cp "${packages[@]}" "$root/root/packages"
cp scripts/clean-root-session.sh scripts/clean-root-clients.sh scripts/run-examples.sh "$root/root"
names=()
for each in "${packages[@]}"; do
    older "$each" "$root/root/older"
    names+=("$(dpkg-deb -f "$each" Package)")
done
install_what_they_need g++ cmake make pkgconf python3-pytest -- "${packages[@]}"
inventory "$root" >"$folder/before"
done_in "a bare Debian"

say "installing an older version"
# shellcheck disable=SC2046
apt_get install -q -y --no-install-recommends $(cd "$root" && printf '/%s ' root/older/*.deb)
has_version 0.9.0
inside systemctl --quiet enable bivista
echo 'ro.product.device=of-its-owner' >>"$root/etc/bivista/host.prop"

say "upgrading it"
# shellcheck disable=SC2046
apt_get install -q -y --no-install-recommends $(cd "$root" && printf '/%s ' root/packages/*.deb)
has_version "$(dpkg-deb -f "${packages[0]}" Version)"
[ -L "$root/etc/systemd/system/multi-user.target.wants/bivista.service" ] || fail "the unit is not enabled any more"
grep -qx 'ro.product.device=of-its-owner' "$root/etc/bivista/host.prop" || fail "the upgrade has taken the owner's properties"
sed -i '$d' "$root/etc/bivista/host.prop"
done_in "installed and upgraded"

inside bash /root/clean-root-session.sh
done_in "the service"
inside bash /root/clean-root-clients.sh
done_in "the clients"

say "removing the packages"
apt_get remove -q -y "${names[@]}"
[ -f "$root/etc/bivista/host.prop" ] || fail "removal has taken the owner's properties"
# shellcheck disable=SC2046
[ -z "$(cd "$root" && find usr -name '*bivista*' ! -path usr/share/doc/bivista)" ] || fail "removal has left: $(cd "$root" && find usr -name '*bivista*')"
inside dpkg --purge "${names[@]}" >"$folder/apt.log" 2>&1 || { cat "$folder/apt.log" >&2; fail "dpkg --purge failed"; }
inventory "$root" >"$folder/after"
if grep -q bivista "$root/etc/ld.so.cache"; then fail "the loader's cache still has the library"; fi
diff "$folder/before" "$folder/after" || fail "removing the packages has left these files"
say "nothing is left"
done_in "removed"
