#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Makes a release. See --help.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

usage() {
    cat <<'HELP'
usage: scripts/release.sh --prepare [DATE]
       scripts/release.sh [--dry-run] [--tested] [--no-install]

--prepare makes the tree the release of its version, of today or of DATE (YYYY-MM-DD): it dates CHANGELOG.md and
package/changelog, and freezes our interfaces in interfaces/current.txt. Commit that. Without --prepare the command
makes, of a tree that is a release and has no other changes, build/release-VERSION/:

    bivista-VERSION.tar.gz               the sources
    *_amd64.deb, *_arm64.deb, *_all.deb  the Debian packages
    bivista-VERSION-documents.tar.gz     the documents as a site: index.html
    SHA256SUMS                           sha256sum --check SHA256SUMS

It installs the Debian packages that are missing, downloads Debian's libraries for arm64 once into build/, and runs
./test.sh --all first. The packages for this machine are made on amd64. Publish the folder, and tag the commit.

  --dry-run     check the tree, and say what would run and come out
  --tested      ./test.sh --all has passed for this commit: do not run it
  --no-install  install nothing; fail where something is missing
HELP
}

dry_run=no
tested=no
install=yes
while [ $# -gt 0 ]; do
    case $1 in
        --help | -h) usage; exit 0 ;;
        --prepare)
            [ $# -le 2 ] || fail "--prepare takes a date, and nothing else"
            python3 -B scripts/versions.py --release "${2:-$(date -u +%F)}" || fail "the tree stays as it is"
            say "commit these files; then run scripts/release.sh"
            exit 0 ;;
        --dry-run) dry_run=yes ;;
        --tested) tested=yes ;;
        --no-install) install=no ;;
        *) fail "unknown argument '$1'; see scripts/release.sh --help" ;;
    esac
    shift
done

version=$(project_version)
out=build/release-$version

check_tree() {
    [ -z "$(git status --porcelain)" ] || { git status --short >&2; fail "the tree has changes that are not committed"; }
    python3 -B scripts/versions.py || fail "the versions disagree"
    python3 -B scripts/versions.py --is-release ||
        fail "$version is not released: scripts/release.sh --prepare, and commit"
    [ "$(dpkg --print-architecture)" = amd64 ] || fail "releases are made on amd64, with which the packages for arm64 are cross-compiled"
}

# archive NAME FOLDER: the folder as NAME.tar.gz with one top folder NAME, the same each time.
archive() {
    tar -C "$2" --transform "s#^\.#$1#" --sort=name --owner=0 --group=0 --numeric-owner \
        --mtime="$(git log -1 --format=%cI)" -c . | gzip -9n >"$out/$1.tar.gz"
}

# keep_packages PRESET: into the release's folder. Those for all processors are the same for each preset.
keep_packages() {
    build_packages "$1"
    cp -n "${packages[@]}" "$out/"
}

# check_processor MACHINE PACKAGE...: the programs in the packages are for this processor.
check_processor() {
    local machine=$1 package tree other
    shift
    for package in "$@"; do
        tree=$(mktemp -d)
        dpkg-deb -x "$package" "$tree"
        other=$(find "$tree" -type f -exec readelf -h {} + 2>/dev/null | sed -n 's/^ *Machine: *//p' | grep -vxF "$machine" || true)
        rm -rf "$tree"
        [ -z "$other" ] || fail "$package has programs for $other"
    done
}

# The steps, by the names that --dry-run prints.
test_all() { ./test.sh --all; }
packages_amd64() {
    keep_packages release
    check_processor "Advanced Micro Devices X86-64" "$out"/*_amd64.deb
}
packages_arm64() {
    scripts/arm64-sysroot.sh --yes
    cmake --preset arm64 -DBIVISTA_NATIVE="$PWD/build/release" >build/arm64-configure.log || fail "see build/arm64-configure.log"
    PATH=$PWD/scripts/arm64:$PATH keep_packages arm64
    check_processor AArch64 "$out"/*_arm64.deb
}
documents() {
    scripts/site.sh
    archive "bivista-$version-documents" build/site
}
sources() { git archive --format=tar --prefix="bivista-$version/" HEAD | gzip -9n >"$out/bivista-$version.tar.gz"; }
sums() { (cd "$out" && sha256sum -- *.deb *.tar.gz >SHA256SUMS); }

steps=(test_all packages_amd64 packages_arm64 documents sources sums)
[ $tested = no ] || steps=("${steps[@]:1}")

check_tree
if [ $dry_run = yes ]; then
    say "would run, in this order: ${steps[*]}"
    say "would come out in $out: packages for amd64 and arm64, bivista-$version.tar.gz," \
        "bivista-$version-documents.tar.gz, SHA256SUMS"
    exit 0
fi
[ $install = no ] || install_packages build test all arm64-tools
rm -rf "$out"
mkdir -p "$out"
for step in "${steps[@]}"; do
    say "== $step"
    "$step"
done
say "$out:"
cat "$out/SHA256SUMS"
