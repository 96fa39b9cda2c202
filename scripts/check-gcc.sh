#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Compiles the device folders with g++ too. The generated headers come from the release build; the
# generated sources hold one construct that g++ refuses, so they are left to clang.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

build_preset release bivista-interfaces-objects
includes=(-I. -isystem build/release/generated)
# Where host/ has a header that Debian has too, the first one counts.
for folder in host/*/include /usr/include/android; do includes+=(-isystem "$folder"); done
device_sources '*.cpp' | with_progress "compiling (g++)" build/g++.log each g++ -std=gnu++17 -fno-exceptions \
    -fno-rtti -Wall -Wextra -Werror -O2 -fsyntax-only "${includes[@]}" || { grep -v '^\[' build/g++.log; exit 1; }
