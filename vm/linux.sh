#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Makes build/vm/linux: Debian's kernel and its drivers, unpacked and not installed, and the phone's module, built for
# it. Exit status: 2 wrong arguments, 120 a program or package cannot be had, 122 the module does not build.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh
# An ordinary user's programs do not include depmod.
PATH+=:/usr/sbin:/sbin

lacking() {
    printf 'error: %s\n' "$*" >&2
    exit 120
}

install=yes
case $#:${1:-} in
    0:) ;;
    1:--no-install) install=no ;;
    *) fail "usage: vm/linux.sh [--no-install]" ;;
esac
[ "$(uname -m)" = x86_64 ] || lacking "the machine is made for x86-64 only, and this is $(uname -m)"

work=$PWD/build/vm
linux=$work/linux
mkdir -p "$work"
# One at a time.
exec {lock}<"$work"
flock "$lock"

# What apt knows is old or nothing: asks the mirrors anew, into a folder of our own, as an ordinary user may.
fresh_lists() {
    rm -rf "$work/apt"
    mkdir -p "$work/apt/lists/partial" "$work/apt/cache/archives/partial"
    printf 'Dir::State::lists "%s";\nDir::Cache "%s";\n' "$work/apt/lists" "$work/apt/cache" >"$work/apt/conf"
    export APT_CONFIG=$work/apt/conf
    apt-get -q update >"$work/apt.log" 2>&1 || lacking "apt-get update: $(tail -n 1 "$work/apt.log")"
}

# depends PACKAGE PATTERN: the packages that a package needs and whose names match, each as NAME VERSION; "-" is any version.
depends() {
    apt-cache --no-all-versions show "$1" 2>/dev/null | sed -n 's/^Depends: //p' | tr , '\n' |
        awk -v pattern="$2" '$1 ~ pattern { print $1, ($2 == "(=" ? substr($3, 1, length($3) - 1) : "-") }'
}

# The kernel, and the headers of exactly its version: $release, and $packages for apt-get download.
choose_packages() {
    local image version name needed
    read -r image version < <(depends linux-image-amd64 '^linux-image-') || return 1
    release=${image#linux-image-}
    packages=("$image=$version" "linux-headers-$release=$version")
    while read -r name needed; do
        [ "$name" = "$image" ] || packages+=("$name$([ "$needed" = - ] || echo "=$needed")")
    done < <(depends "linux-headers-$release" '^linux-')
}

# sizes APT-GET-ARGUMENT...: what apt would download, each as PACKAGE BYTES.
sizes() { apt-get --print-uris -qq "$@" 2>/dev/null | awk '{ split($2, name, "_"); print name[1], $3 }'; }

purpose() {
    case $1 in
        linux-image-*) echo "the kernel and its drivers" ;;
        linux-headers-*-common) echo "the kernel's headers for every processor" ;;
        linux-headers-*) echo "the kernel's headers, for the phone's module" ;;
        linux-kbuild-*) echo "the kernel's build programs, for the phone's module" ;;
        linux-compiler-*) echo "names the compiler that the kernel was built with" ;;
        *) package_lines kernel | awk -v name="$1" '$1 == name { sub(/[^ ]+ +/, ""); found = $0 }
            END { print found ? found : "needed by those" }' ;;
    esac
}

list_downloads() {
    local name bytes tenths sum=0
    say "For the machine, from Debian (what is installed: $*; the rest is unpacked in build/vm and not installed):"
    while read -r name bytes; do
        sum=$((sum + bytes))
        tenths=$(((bytes + 50000) / 100000))
        printf '  %-32s %5d.%d MB  %s\n' "$name" $((tenths / 10)) $((tenths % 10)) "$(purpose "$name")"
    done < <(
        if [ "$*" != nothing ]; then sizes install --no-install-recommends "$@"; fi
        if ! unpacked; then sizes download "${packages[@]}"; fi)
    say "  together $(((sum + 500000) / 1000000)) MB"
}

download() {
    rm -rf "$work/debs"
    mkdir "$work/debs"
    (cd "$work/debs" && with_progress "downloading Linux $release" "$work/apt.log" apt-get -q download "${packages[@]}")
}

# The headers lead to the place where they would be installed.
unpack() {
    local package
    for package in "$work"/debs/*.deb; do dpkg -x "$package" "$1"; done
    # shellcheck disable=SC2016
    sed -i 's|^include /usr/src/|include $(dir $(lastword $(MAKEFILE_LIST)))../|' \
        "$1/usr/src/linux-headers-$release/Makefile"
    depmod -b "$1" "$release"
    printf '%s\n' "${packages[@]}" >"$1/packages"
}

# The list of packages is written last.
unpacked() { [ -f "$linux/packages" ]; }

get_linux() {
    download || { fresh_lists && choose_packages && download; } ||
        lacking "apt-get could not download Linux: $(tail -n 1 "$work/apt.log")"
    rm -rf "$linux" "$linux.new"
    with_progress "unpacking it" "$work/unpack.log" unpack "$linux.new" ||
        lacking "the packages of Linux cannot be unpacked: $(tail -n 1 "$work/unpack.log")"
    mv "$linux.new" "$linux"
    rm -rf "$work/debs" "$work/apt"
}

get_packages() {
    local missing
    mapfile -t missing < <(missing_packages kernel)
    if [ ${#missing[@]} = 0 ] && unpacked; then return; fi
    [ $install = yes ] ||
        lacking "there is no ${missing[*]:-kernel in build/vm/linux}; run without --no-install"
    command -v apt-get >/dev/null || lacking "this needs Debian's apt-get, to get ${missing[*]:-a kernel}"
    choose_packages || { fresh_lists && choose_packages; } || lacking "apt knows no package linux-image-amd64"
    list_downloads "${missing[@]:-nothing}"
    (unset APT_CONFIG && install_packages kernel) || exit 120
    unpacked || get_linux
}

make_module() {
    rm -rf "$work/module"
    cp -r vm/module "$work/module"
    make -C "$linux/usr/src/linux-headers-$release" M="$work/module" modules
    strip --strip-debug -o "$linux/bivista_phone.ko" "$work/module/bivista_phone.ko"
}

# The module is built anew after a change of its sources or of the kernel.
get_module() {
    local digest
    release=$(sed -n 's/^linux-image-\([^=]*\)=.*/\1/p' "$linux/packages")
    digest=$(cat vm/module/* "$linux/packages" | sha256sum)
    [ "$(cat "$linux/module.digest" 2>/dev/null)" != "$digest" ] || return 0
    with_progress "building the phone's module" "$work/module.log" make_module || {
        grep -E 'error|Error|\*\*\*' "$work/module.log" | head -n 15 >&2
        printf 'error: %s\n' "the phone's module does not build (whole output: $work/module.log)" >&2
        exit 122
    }
    echo "$digest" >"$linux/module.digest"
}

get_packages
get_module
