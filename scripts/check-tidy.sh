#!/usr/bin/env bash
# Static checks (clang-tidy) of all sources but tests. Those cost a third of the time, since each includes
# GoogleTest, and what is looked for there is found by the compiler and by lint.py.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

outcome=0

build_preset release
git ls-files '*.cpp' | python3 -B scripts/compiled_units.py build/release/compile_commands.json \
    build/tidy >build/units || outcome=1
on_the_phone='^(kernel|display|sub_display|service)/'
tests='^(tests|vts)/'
# What stays on the host gets a third of the analyzer's usual patience with a function.
patience=(--extra-arg=-Xclang --extra-arg=-analyzer-config
    --extra-arg=-Xclang --extra-arg=max-nodes=75000)

# tidy WHAT OPTION...: the files are on standard input. One a process: with several, the analyzer's check of
# va_list reports what is not there.
tidy() {
    local log=build/clang-tidy-$1.log files
    mapfile -t files
    with_progress "clang-tidy ($1)" "$log" \
        scripts/each.py clang-tidy -p build/tidy --quiet "${@:2}" -- "${files[@]}" && return
    grep -v '^\[' "$log"
    outcome=1
}
tidy host "${patience[@]}" < <(grep -vE "$on_the_phone|$tests" build/units)
tidy phone < <(grep -E "$on_the_phone" build/units)
exit $outcome
