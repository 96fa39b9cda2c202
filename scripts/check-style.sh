#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Layout (clang-format), mistakes in scripts (shellcheck), licences (reuse), the project's own rules (lint.py), versions that
# agree (versions.py), tests of the scripts.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

mapfile -t sources < <(git ls-files '*.c' '*.cpp' '*.h')
outcome=0

say "clang-format: ${#sources[@]} files"
clang-format --dry-run --Werror "${sources[@]}" || outcome=1

say "shellcheck"
# The completion is for zsh too.
git ls-files -z '*.sh' .ci/run ':!tools/pages/completion.sh' | xargs -0 shellcheck -x -s bash -S warning || outcome=1

say "licences"
reuse lint --quiet || { reuse lint; outcome=1; }

say "lint.py"
python3 -B scripts/lint.py || outcome=1

say "versions"
python3 -B scripts/versions.py || outcome=1

for folder in scripts vts vm/agreement vm/trials tests/recordings tests/phonelog; do
    say "tests of $folder/"
    python3 -B -m unittest discover -q -s $folder -p '*_test.py' || outcome=1
done
say "tests of vm/linux.sh"
python3 -B -m unittest -q vm/linux_test.py || outcome=1

exit $outcome
