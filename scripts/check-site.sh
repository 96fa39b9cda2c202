#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Tests what makes the documents' site, makes it, and checks its links. The script installs nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

python3 -B -m unittest discover -q -s scripts/site -p '*_test.py'
scripts/site.sh
