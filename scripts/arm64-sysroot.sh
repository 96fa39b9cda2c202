#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Makes build/arm64-sysroot: Debian's libraries for 64-bit Arm, unpacked and not installed, so that
# the packages of this machine stay as they are. Beside them is what dpkg would know of them, for scripts/arm64/. The script asks before it downloads them, unless --yes is given.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

mapfile -t packages < <(packages_for arm64)
sysroot=$PWD/build/arm64-sysroot
database=$sysroot/var/lib/dpkg
wanted="${packages[*]}, with their database"
[ "$(cat "$sysroot/.packages" 2>/dev/null)" != "$wanted" ] || exit 0

apt=$PWD/build/arm64-apt
rm -rf "$sysroot" "$apt"
mkdir -p "$sysroot" "$apt"/lists/partial "$apt"/cache/archives/partial
: >"$apt/status"
cat >"$apt/conf" <<CONF
APT::Architecture "arm64";
APT::Architectures { "arm64"; };
Dir::State "$apt";
Dir::State::lists "$apt/lists";
Dir::State::status "$apt/status";
Dir::Cache "$apt/cache";
CONF
apt_arm64() { apt-get -c "$apt/conf" -q -y --no-install-recommends "$@"; }
with_packages() { apt_arm64 "$@" install "${packages[@]}"; }

apt_arm64 update >"$apt/log" 2>&1 ||
    { tail -n 5 "$apt/log" >&2; fail "apt-get update for arm64 failed (whole output: $apt/log)"; }
size=$(with_packages --print-uris | awk '$1 ~ /^\x27/ { sum += $3 } END { printf "%d", sum / 1000000 }')
say "Libraries for 64-bit Arm come from Debian's packages for arm64: $size MB, unpacked into"
say "$sysroot and not installed."
if [ "${1:-}" != --yes ]; then
    [ -t 0 ] || fail "there is no terminal to ask on; use --yes"
    read -r -p "Download them? [y/N] " answer
    [ "$answer" = y ] || fail "without them there is no arm64 build"
fi
with_packages --download-only >>"$apt/log" 2>&1 ||
    { tail -n 5 "$apt/log" >&2; fail "apt-get could not download (whole output: $apt/log)"; }

# note PACKAGE: its files, as they lie here, and the versions of its libraries' symbols.
note() {
    local name
    name=$(dpkg-deb -f "$1" Package)
    rm -rf "$apt/control"
    dpkg-deb -e "$1" "$apt/control"
    for kind in symbols shlibs; do
        [ ! -f "$apt/control/$kind" ] || mv "$apt/control/$kind" "$database/info/$name.$kind"
    done
    dpkg-deb --fsys-tarfile "$1" | tar -t | sed -e 's#^\.##; s#/$##; /^$/d; s#^/lib\>#/usr/lib#' -e "s#^#$sysroot#" >"$database/info/$name.list"
    { dpkg-deb -f "$1" && printf 'Status: install ok installed\n\n'; } >>"$database/status"
}

mkdir -p "$database/info" "$database/updates"
for package in "$apt"/cache/archives/*.deb; do
    dpkg-deb -x "$package" "$sysroot"
    note "$package"
done
# Debian 12 has one folder for libraries, by two names. Links stay below this root.
cp -a "$sysroot/lib/." "$sysroot/usr/lib/"
rm -rf "${sysroot:?}/lib"
ln -s usr/lib "$sysroot/lib"
find "$sysroot" -type l -lname '/*' -printf '%p %l\n' | while read -r link target; do
    ln -sfn "$(realpath -ms --relative-to "$(dirname "$link")" "$sysroot$target")" "$link"
done
# Tools of the build run on this machine.
mkdir -p "$sysroot/usr/bin"
ln -sf /usr/bin/capnp /usr/bin/capnpc-c++ "$sysroot/usr/bin/"
rm -rf "$apt/cache"
echo "$wanted" >"$sysroot/.packages"
