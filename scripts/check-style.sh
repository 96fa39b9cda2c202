#!/usr/bin/env bash
# Layout (clang-format), the project's own rules (lint.py), tests of the scripts, static checks (clang-tidy).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

mapfile -t sources < <(git ls-files '*.cpp' '*.h')
outcome=0

say "clang-format: ${#sources[@]} files"
clang-format --dry-run --Werror "${sources[@]}" || outcome=1

(cd scripts && python3 -B -m unittest -q lint_test links_test counters_test picture_test) || outcome=1
(cd vts && python3 -B -m unittest -q mutate_test) || outcome=1
python3 scripts/lint.py || outcome=1

build_preset release
git ls-files '*.cpp' | python3 scripts/compiled_units.py build/release/compile_commands.json \
    build/tidy >build/units || outcome=1
mapfile -t units <build/units
say "clang-tidy: ${#units[@]} files"
# The units whose path has one of these folders in front, or has none of them: -v.
units_in() {
    local invert=()
    if [ "$1" = -v ]; then invert=(-v); shift; fi
    printf '%s\0' "${units[@]}" | grep -z "${invert[@]}" "${@/#/-e^}" || true
}
# One file a process: with several, the analyzer's check of va_list reports what is not there.
tidy() {
    xargs -0 -r -n 1 -P "$(nproc)" clang-tidy -p build/tidy --quiet "$@" 2>>build/clang-tidy.err
}
tests=(tests/ vts/)
on_the_phone=(kernel/ display/ sub_display/ service/)
# Tests go without the checks that spend their time in the macros of GoogleTest.
test_checks=-*,misc-unused-using-decls,misc-unused-alias-decls,misc-definitions-in-headers
test_checks+=,modernize-use-override,modernize-use-nullptr,readability-redundant-string-cstr
test_checks+=,bugprone-suspicious-*,bugprone-string-*,bugprone-sizeof-*
test_checks+=,performance-for-range-copy,performance-unnecessary-copy-initialization
# What stays on the host gets a third of the analyzer's usual patience with a function.
patience=(--extra-arg=-Xclang --extra-arg=-analyzer-config
    --extra-arg=-Xclang --extra-arg=max-nodes=75000)
units_in "${on_the_phone[@]}" | tidy || outcome=1
units_in -v "${on_the_phone[@]}" "${tests[@]}" | tidy "${patience[@]}" || outcome=1
units_in "${tests[@]}" | tidy --checks="$test_checks" || outcome=1

exit $outcome
