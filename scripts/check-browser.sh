#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Tests the page of the emulated cover in Chromium; its screenshots are kept in build/browser/. The script installs
# nothing, and downloads the checker of accessibility once.
# Usage: scripts/check-browser.sh [TEST...] runs only these tests of tests/browser/, such as cover_test.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

axe="axe-core-4.14.1"
axe_sha512=1477dafa598d8d065f273d6af302aa203c02e83131707b7fa648cd41bd3d6b734f8c22a0dab86ee6a6f64b8afbe804b214d36db85a2826965edfb3a0b9d546b5

# Unpacks the checker of accessibility as build/axe-core-VERSION/package/axe.min.js: whole, or not there.
fetch_axe() {
    mkdir -p build/$axe &&
        (cd build/$axe && npm pack --silent "${axe%-*}@${axe##*-}") &&
        echo "$axe_sha512  build/$axe/$axe.tgz" | sha512sum --check --quiet &&
        tar -xzf build/$axe/$axe.tgz -C build/$axe --transform 's/$/.part/' package/axe.min.js &&
        mv build/$axe/package/axe.min.js{.part,}
}

build_preset release bivista-service bivista-emulator bivistactl
[ -f build/$axe/package/axe.min.js ] || with_progress "fetching $axe" build/axe.log fetch_axe ||
    { cat build/axe.log >&2; fail "no checker of accessibility"; }

rm -rf build/browser
tests=("$@")
[ ${#tests[@]} -gt 0 ] || tests=(discover -p '*_test.py')
# Debian's own Python, which has the client of the browser's driver.
(cd tests/browser && AXE=$PWD/../../build/$axe/package/axe.min.js \
    with_progress "the page in Chromium" ../../build/browser.log /usr/bin/python3 -B -m unittest "${tests[@]}" -v) ||
    { cat build/browser.log; exit 1; }
[ ! -f build/browser/figures.txt ] || cat build/browser/figures.txt
tail -n 3 build/browser.log
