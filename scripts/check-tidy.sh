#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Static checks: clang-tidy of all sources but tests, and g++ of the device folders. Tests would cost a third of the
# time, since each includes GoogleTest; the compiler and lint.py find what clang-tidy would find there.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

outcome=0
build_preset release
# clang-tidy checks a file once for each command that it finds.
mkdir -p build/tidy
jq 'unique_by(.file)' build/release/compile_commands.json >build/tidy/compile_commands.json
jq -r '.[].file' build/tidy/compile_commands.json | sed "s#^$(pwd -P)/##" | sort >build/tidy/compiled
# Only some builds compile these: a build for ThreadSanitizer, and that of clients outside of the project.
unbuilt=$(git ls-files '*.cpp' ':!host/hidl/TsanRefBase.cpp' ':!examples' | sort | comm -23 - build/tidy/compiled)
[ -z "$unbuilt" ] || { say "not part of any target: $unbuilt"; outcome=1; }

# tidy WHAT OPTION...: checks the files on standard input. Each has a process of its own: with several, the
# analyzer's check of va_list reports errors that do not exist.
tidy() {
    local log=build/clang-tidy-$1.log
    with_progress "clang-tidy ($1)" "$log" each clang-tidy -p build/tidy --quiet "${@:2}" && return
    grep -v '^\[' "$log"
    return 1
}
# The analyzer spends a third of its usual nodes on a function that stays on the host.
analyzer=(--extra-arg=-Xclang --extra-arg=-analyzer-config --extra-arg=-Xclang --extra-arg=max-nodes=75000)
device_sources '*.cpp' >build/tidy/phone
git ls-files '*.cpp' ':!tests' ':!vts' | sort | comm -12 - build/tidy/compiled | grep -vxFf build/tidy/phone |
    tidy host "${analyzer[@]}" || outcome=1
tidy phone <build/tidy/phone || outcome=1

# g++ refuses one construct of the generated sources, and gets their headers alone.
includes=(-I. -isystem build/release/generated)
# Where host/ has a header that Debian has too, the first one counts.
for folder in host/*/include /usr/include/android; do includes+=(-isystem "$folder"); done
with_progress "compiling (g++)" build/g++.log each g++ -std=gnu++17 -fno-exceptions -fno-rtti -Wall -Wextra -Werror \
    -O2 -fsyntax-only "${includes[@]}" <build/tidy/phone || { grep -v '^\[' build/g++.log; outcome=1; }
exit $outcome
