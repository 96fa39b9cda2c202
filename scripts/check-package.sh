#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Checks the Debian packages that the build makes: their files, lintian's findings, the unit, the udev rule, and what
# clients get (check-kit.sh). The script installs nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

# In tenths, as systemd-analyze scores a unit: 0 is best.
most_exposed=25
outcome=0
complain() { say "$*"; outcome=1; }

build_packages
trees=$(mktemp -d)
trap 'rm -rf "$trees"' EXIT
tree=$trees/bivista
kit=$trees/kit
dpkg-deb -x "$package" "$tree"
for each in "${packages[@]}"; do dpkg-deb -x "$each" "$kit"; done

say "files"
programs=(bin/{bivistactl,bivista-emulator,bivista-vts} libexec/bivista/vendor.qmx.hardware.bivista@1.1-service)
for file in "${programs[@]}" share/man/man1/{bivistactl,bivista-emulator,bivista-vts}.1.gz share/man/man8/bivista-service.8.gz \
    share/{bash-completion/completions/,zsh/vendor-completions/_}{bivistactl,bivista-emulator} \
    lib/systemd/system/bivista.service lib/udev/rules.d/60-bivista.rules ../etc/bivista/host.prop \
    share/doc/bivista/{README.md,docs/linux.md,docs/page.png,scenarios/recovery.yaml,copyright,changelog.gz} \
    share/doc/bivista/examples/cpp-client/{Client.cpp,CMakeLists.txt,Makefile,Android.bp}; do
    [ -f "$tree/usr/$file" ] || complain "/usr/$file: missing"
done
triplet=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
version=$(dpkg-deb -f "$package" Version)
[ -f "$tree/usr/lib/$triplet/libbivista.so.1" ] || complain "the library is missing"
# One version, and each package with the programs of just this one.
for each in "${packages[@]}"; do
    name=$(dpkg-deb -f "$each" Package)
    [ "$(dpkg-deb -f "$each" Version)" = "$version" ] || complain "$name: its version is not $version"
    if [ "$name" = bivista ]; then continue; fi
    dpkg-deb -f "$each" Depends | grep -qF "bivista (= $version)" || complain "$name: does not depend on bivista $version"
    [ -f "$kit/usr/share/doc/$name/copyright" ] || complain "/usr/share/doc/$name: leads to no documents"
done
for file in include/bivista/{vendor/qmx/hardware/{bivista/1.1/IBivista,accessory/1.1/IAccessory},hidl/HidlTransportSupport}.h \
    share/bivista/interfaces/{vendor.qmx.hardware/bivista/1.1/IBivista,android.hidl/base/1.0/IBase}.hal \
    "lib/$triplet/"{libbivista.so,pkgconfig/bivista.pc,cmake/bivista/bivistaConfig{,Version}.cmake}; do
    [ -f "$kit/usr/$file" ] || complain "/usr/$file: missing"
    if [ -e "$tree/usr/$file" ]; then complain "/usr/$file: a client needs it not to run, only to be built"; fi
done
# The loader looks for Android's libraries where Debian has them, and nowhere else.
for program in "${programs[@]}"; do
    readelf -d "$tree/usr/$program" | grep -q "RUNPATH.*\[/usr/lib/$triplet/android\]" ||
        complain "/usr/$program: looks for libraries elsewhere"
done
zcat "$tree/usr/share/doc/bivista/changelog.gz" | grep -m1 -qF "bivista ($version) " ||
    complain "the changelog does not begin with the package's version"
python3 -B scripts/links.py "$tree/usr/share/doc/bivista" || outcome=1

say "versions"
version=$(project_version)
# agrees WHAT VERSION
agrees() { [ "$2" = "$version" ] || complain "$1: version '$2', and the project is $version"; }
agrees "the package" "$(dpkg-deb -f "$package" Version)"
for program in "$tree"/usr/bin/*; do agrees "$program" "$("$program" --version | awk '{ print $NF }')"; done
export HIDL_SOCKET_DIR=$tree/registry
mkdir -m 0700 "$HIDL_SOCKET_DIR"
"$tree/usr/bin/bivista-emulator" run >"$tree/phone.log" 2>&1 &
phone=$!
until "$tree/usr/bin/bivistactl" dump --json >"$tree/dump" 2>/dev/null || ! kill -0 $phone 2>/dev/null; do sleep 0.05; done
agrees "the dump" "$(jq -r .service.version "$tree/dump")"
kill $phone 2>/dev/null && wait $phone || true

say "lintian"
lintian --allow-root --fail-on error,warning "${packages[@]}" || outcome=1

say "the unit"
unit=$tree/usr/lib/systemd/system/bivista.service
for file in $(grep -o '/\(etc/bivista\|usr\)/[^ ]*' "$unit"); do
    [ -e "$tree$file" ] || complain "the unit names $file, which is not in the package"
done
# The unit's program is where the package is unpacked.
sed "s#^ExecStart=/#ExecStart=$tree/#" "$unit" >"$tree/bivista.service"
complaints=$(systemd-analyze verify "$tree/bivista.service" 2>&1) && [ -z "$complaints" ] || complain "$complaints"
systemd-analyze security --offline=true --threshold=$most_exposed "$tree/bivista.service" >"$tree/score" ||
    complain "$(cat "$tree/score")"
tail -n 1 "$tree/score"

say "the udev rule"
# marks VENDOR PRODUCT MARK: udev gives the USB device of these ids, its interface and its tty this mark.
marks() {
    local expected found
    expected=$(printf '%s\n' "1-1 $3" "1-1:1.0 $3" "ttyACM0 $3")
    found=$(scripts/udev-rule.sh "$tree/usr/lib/udev/rules.d/60-bivista.rules" "$1" "$2" 2>&1) && [ "$found" = "$expected" ] ||
        complain "device $1:$2 is marked:" "$found"
}
marks 3e91 6a2f 1
marks 3e91 6a20 ''
marks 0483 df11 ''

scripts/check-kit.sh "$kit" || outcome=1

exit $outcome
