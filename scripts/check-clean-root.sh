#!/usr/bin/env bash
# Installs the Debian package in a bare Debian of this machine's release, in a folder below build/; runs
# the service there as its unit says and on the emulated phone, and calls both; removes the package,
# and compares what is left with what was. The machine itself stays as it is.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

build_package
if [ "$(id -u)" = 0 ]; then as_root=(); else
    command -v sudo >/dev/null || fail "not root, and there is no sudo: as root, run ./test.sh --package"
    say "Root is needed to make a bare Debian: using sudo"
    as_root=(sudo)
fi
# The folder stays the user's, who can then delete what root leaves there.
mkdir -p build/clean-root
"${as_root[@]}" scripts/clean-root.sh build/clean-root "$package"
