#!/usr/bin/env bash
# Compiles the device folders with g++ too. The generated headers come from the release build; the
# generated sources hold one construct that g++ refuses, so they are left to clang.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

build_preset release bivista-interfaces
mapfile -t sources < <(git ls-files 'diagnostics/*.cpp' 'kernel/*.cpp' 'display/*.cpp' 'sub_display/*.cpp' 'service/*.cpp')
includes=(-I. -isystem build/release/generated)
for folder in host/hidl/include host/cutils/include host/usbhost/include host/log/include; do
    if [ -d $folder ]; then includes+=(-isystem $folder); fi
done
includes+=(-isystem /usr/include/android)
with_progress "compiling (g++)" build/g++.log \
    scripts/each.py g++ -std=gnu++17 -fno-exceptions -fno-rtti -Wall -Wextra -Werror -O2 -fsyntax-only \
    "${includes[@]}" -- "${sources[@]}" || { grep -v '^\[' build/g++.log; exit 1; }
